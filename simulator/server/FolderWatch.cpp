#include "simulator/server/FolderWatch.h"

#include <functional>
#include <string>
#include <system_error>

namespace vecamera::simulator {

namespace fs = std::filesystem;

std::uint64_t folderFingerprint(const fs::path& folder) {
  constexpr int most = 10000;
  std::uint64_t sum = 0;
  std::error_code failed;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                         failed);
  int seen = 0;
  for (; !failed && entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
    const auto name = entry->path().filename().string();
    std::error_code gone;
    if (name.starts_with('.') || name == "node_modules") {
      if (entry->is_directory(gone)) entry.disable_recursion_pending();
      continue;
    }
    if (!entry->is_regular_file(gone)) continue;
    if (++seen > most) break;
    const auto written = entry->last_write_time(gone).time_since_epoch().count();
    // A sum, because the order of entries is the file system's.
    sum += std::hash<std::string>()(entry->path().string() + "\n" + std::to_string(written) + "\n" +
                                    std::to_string(entry->file_size(gone)));
  }
  return sum;
}

}  // namespace vecamera::simulator
