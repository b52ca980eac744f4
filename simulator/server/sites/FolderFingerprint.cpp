#include "simulator/server/sites/FolderFingerprint.h"

#include <functional>
#include <string>
#include <system_error>

namespace vecamera::simulator {

namespace fs = std::filesystem;

FolderFingerprint folderFingerprint(const fs::path& folder, const RecordingFiles& recordings,
                                    std::size_t maxFiles) {
  FolderFingerprint print;
  std::error_code failed;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                         failed);
  std::size_t seen = 0;
  for (; !failed && entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
    const auto name = entry->path().filename().string();
    std::error_code gone;
    if (name.starts_with('.') || name == "node_modules") {
      if (entry->is_directory(gone)) entry.disable_recursion_pending();
      continue;
    }
    if (!entry->is_regular_file(gone)) continue;
    if (recordings.has(entry->path())) continue;
    if (++seen > maxFiles) {
      print.isWhole = false;
      break;
    }
    const auto written = entry->last_write_time(gone).time_since_epoch().count();
    // A sum, because the order of entries is the file system's.
    print.sum += std::hash<std::string>()(entry->path().string() + "\n" + std::to_string(written) +
                                          "\n" + std::to_string(entry->file_size(gone)));
  }
  return print;
}

}  // namespace vecamera::simulator
