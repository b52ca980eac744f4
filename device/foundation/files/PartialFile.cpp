#include "device/foundation/files/PartialFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <random>
#include <utility>

#include "device/foundation/files/Folders.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view partialStart = ".vecamera-";
constexpr std::string_view partialEnd = ".part";
/// A network file system may give `ESTALE` for reasons of its own, again and again.
constexpr int maxAttempts = 100;

std::string partialName() {
  std::random_device random;
  std::array<char, 17> digits;
  std::snprintf(digits.data(), digits.size(), "%08x%08x", random(), random());
  return std::string(partialStart) + digits.data() + std::string(partialEnd);
}

}  // namespace

FileResult<Descriptor> createLocked(const fs::path& file) {
  auto made = openAt(AT_FDCWD, file, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!made) return made;
  // Whatever the process or the folder takes from a new file's mode.
  if (fchmod(made->number(), 0600) != 0) {
    const auto failure = fileFailure();
    unlink(file.c_str());
    return failure;
  }
  // Only somebody who removes it has the lock of a new file. A file system without locks has no use
  // for them here either.
  const auto locked = lock(*made, IfLocked::fail);
  if (!locked && locked.error().code == EWOULDBLOCK) return fileFailure(ESTALE);
  struct stat status;
  if (fstat(made->number(), &status) != 0) return fileFailure();
  if (status.st_nlink == 0) return fileFailure(ESTALE);
  return made;
}

void removeAbandoned(const fs::path& folder,
                     const std::function<bool(const std::string& name)>& condition,
                     std::string_view lockFile) {
  const auto opened = openFolderAt(AT_FDCWD, folder, LastLink::follow);
  const auto names = opened ? entryNames(*opened) : opened.failure();
  if (!names) return;
  for (const std::string& name : *names) {
    if (!condition(name)) continue;
    const auto file =
        openAt(opened->number(), lockFile.empty() ? fs::path(name) : fs::path(name) / lockFile,
               O_RDWR | O_NONBLOCK | O_NOFOLLOW);
    // The lock is kept until the entry is gone, so that nobody takes it up meanwhile.
    if (file && lock(*file, IfLocked::fail))
      static_cast<void>(removeTreeAt(*opened, name, lockFile));
    // Where a folder has no such file yet, or no more, this fails unless it is empty.
    if (!file && file.error().code == ENOENT)
      unlinkat(opened->number(), name.c_str(), AT_REMOVEDIR);
  }
}

PartialFile::PartialFile(Descriptor descriptor, fs::path path)
    : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

PartialFile::PartialFile(PartialFile&& other) noexcept
    : descriptor_(std::move(other.descriptor_)), path_(std::exchange(other.path_, {})) {}

PartialFile::~PartialFile() {
  if (!path_.empty()) unlink(path_.c_str());
}

FileResult<PartialFile> PartialFile::createBeside(const fs::path& target) {
  for (int attempt = 1;; ++attempt) {
    auto path = target.parent_path() / partialName();
    auto made = createLocked(path);
    if (made) return PartialFile(*std::move(made), std::move(path));
    const bool isTaken = made.error().code == EEXIST || made.error().code == ESTALE;
    if (!isTaken || attempt == maxAttempts) return made.failure();
  }
}

FileResult<void> PartialFile::moveTo(const fs::path& target, IfTaken ifTaken) {
  bool isMoved = false;
  if (ifTaken == IfTaken::fail) {
    isMoved = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0;
    // Some file systems cannot do that; then what is there now counts.
    if (!isMoved && errno != EINVAL && errno != ENOSYS) return fileFailure();
    struct stat status;
    if (!isMoved && lstat(target.c_str(), &status) == 0) return fileFailure(EEXIST);
  }
  if (!isMoved && rename(path_.c_str(), target.c_str()) != 0) return fileFailure();
  path_.clear();
  return {};
}

void removeAbandonedFiles(const fs::path& folder) {
  removeAbandoned(folder, [](const std::string& name) {
    return name.starts_with(partialStart) && name.ends_with(partialEnd);
  });
}

}  // namespace vecamera::device::foundation
