#include "device/foundation/files/TemporaryFolder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>
#include <utility>

#include "device/foundation/files/Folders.h"
#include "device/foundation/files/PartialFile.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

/// The locked file in the folder. A folder that holds others only is not removed, whatever its
/// name.
constexpr std::string_view lockName = ".in-use";
/// What `mkdtemp` puts letters and digits in place of. A folder whose name is longer or shorter is
/// somebody else's, and stays even where it is empty.
constexpr std::string_view uniquePart = "XXXXXX";
constexpr int maxAttempts = 100;

}  // namespace

FileResult<TemporaryFolder> TemporaryFolder::create(const fs::path& parent,
                                                    std::string_view prefix) {
  removeAbandoned(parent, prefix);
  for (int attempt = 1;; ++attempt) {
    std::string path = (parent / prefix).string().append(uniquePart);
    if (!mkdtemp(path.data())) return fileFailure();
    TemporaryFolder folder{fs::path(path)};
    // Whatever the process takes from a new folder's mode.
    if (chmod(path.c_str(), 0700) != 0 && errno != ENOENT) return fileFailure();
    auto lock = createLocked(folder.path_ / lockName);
    if (lock) {
      folder.lock_ = *std::move(lock);
      return folder;
    }
    // Somebody may have taken it for an abandoned one before it was locked.
    const bool isGone = lock.error().code == ESTALE || lock.error().code == ENOENT;
    if (!isGone || attempt == maxAttempts) return lock.failure();
  }
}

void TemporaryFolder::removeAbandoned(const fs::path& parent, std::string_view prefix) {
  const auto isOurs = [prefix](const std::string& name) {
    return name.starts_with(prefix) && name.size() == prefix.size() + uniquePart.size();
  };
  foundation::removeAbandoned(parent, isOurs, lockName);
}

TemporaryFolder::TemporaryFolder(TemporaryFolder&& other) noexcept
    : path_(std::exchange(other.path_, {})), lock_(std::move(other.lock_)) {}

TemporaryFolder& TemporaryFolder::operator=(TemporaryFolder&& other) noexcept {
  path_.swap(other.path_);
  lock_ = std::move(other.lock_);
  return *this;
}

TemporaryFolder::~TemporaryFolder() {
  if (path_.empty()) return;
  const auto parent = openFolderAt(AT_FDCWD, path_.parent_path(), LastLink::follow);
  if (parent) static_cast<void>(removeTreeAt(*parent, path_.filename().string(), lockName));
}

}  // namespace vecamera::device::foundation
