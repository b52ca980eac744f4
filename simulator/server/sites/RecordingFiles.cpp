#include "simulator/server/sites/RecordingFiles.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "device/foundation/files/PartialFile.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
  std::error_code failed;
  return fs::weakly_canonical(fs::absolute(path, failed).parent_path(), failed);
}

}  // namespace

RecordingFiles::RecordingFiles(std::optional<fs::path> first) : first_(std::move(first)) {
  if (!first_) return;
  folder_ = folderOf(*first_);
  device::foundation::removeAbandonedFiles(folder_);
}

std::optional<fs::path> RecordingFiles::ofSession(std::size_t number) const {
  if (!first_ || number == 1) return first_;
  auto path = *first_;
  path.replace_filename(path.stem().string() + "-" + std::to_string(number) +
                        path.extension().string());
  return path;
}

bool RecordingFiles::has(const fs::path& path) const {
  if (!first_ || path.extension() != first_->extension()) return false;
  const auto stem = path.stem().string();
  const auto firstStem = first_->stem().string();
  if (!stem.starts_with(firstStem)) return false;
  auto rest = std::string_view(stem).substr(firstStem.size());
  if (!rest.empty()) {
    if (rest.front() != '-' || rest.size() == 1) return false;
    rest.remove_prefix(1);
  }
  const bool isNumber =
      std::all_of(rest.begin(), rest.end(), [](char c) { return c >= '0' && c <= '9'; });
  return isNumber && folderOf(path) == folder_;
}

}  // namespace vecamera::simulator
