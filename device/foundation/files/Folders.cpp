#include "device/foundation/files/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

std::optional<struct stat> statusOf(const Descriptor& descriptor) {
  struct stat status;
  if (fstat(descriptor.number(), &status) != 0) return std::nullopt;
  return status;
}

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

FileResult<std::vector<std::string>> entryNames(const Descriptor& folder) {
  // The stream takes a descriptor of its own, with a position of its own.
  const int number = openat(folder.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (number < 0) return fileFailure();
  DIR* const stream = fdopendir(number);
  if (!stream) {
    const auto failure = fileFailure();
    close(number);
    return failure;
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  const int error = errno;
  closedir(stream);
  if (error != 0) return fileFailure(error);
  std::sort(names.begin(), names.end());
  return names;
}

bool isWithin(const Descriptor& folder, const Descriptor& ancestor) {
  const auto sought = statusOf(ancestor);
  auto status = statusOf(folder);
  Descriptor above;
  while (sought && status) {
    if (isSameFile(*status, *sought)) return true;
    auto next = openAt(above ? above.number() : folder.number(), "..", O_PATH | O_DIRECTORY);
    const auto nextStatus = next ? statusOf(*next) : std::nullopt;
    // The root is its own parent.
    if (!nextStatus || isSameFile(*nextStatus, *status)) return false;
    status = nextStatus;
    above = *std::move(next);
  }
  return false;
}

FileResult<void> removeTreeAt(const Descriptor& folder, const std::string& name,
                              std::string_view last) {
  if (unlinkat(folder.number(), name.c_str(), 0) == 0) return {};
  const auto unlinkFailure = fileFailure();
  const int unlinkError = unlinkFailure.error.code;
  // What stands for a folder is either of these, by the kind of file system.
  if (unlinkError != EISDIR && unlinkError != EPERM) return unlinkFailure;
  const auto inner = openFolderAt(folder.number(), name, LastLink::refuse);
  if (!inner) {
    const bool isNoFolder = inner.error().code == ENOTDIR || inner.error().code == ELOOP;
    return isNoFolder ? unlinkFailure : inner.failure();
  }
  auto names = entryNames(*inner);
  if (!names) return names.failure();
  std::stable_partition(names->begin(), names->end(),
                        [last](const std::string& entry) { return entry != last; });
  for (const std::string& entry : *names) {
    const auto removed = removeTreeAt(*inner, entry);
    // An entry that went away meanwhile is as good as removed.
    if (!removed && removed.error().code != ENOENT) return removed;
  }
  if (unlinkat(folder.number(), name.c_str(), AT_REMOVEDIR) != 0) return fileFailure();
  return {};
}

FileResult<void> makePrivateFolderAt(int parent, const fs::path& name) {
  if (mkdirat(parent, name.c_str(), S_IRWXU) != 0) return fileFailure();
  const auto grantOwner = [&]() -> FileResult<void> {
    // The mode may lack the right to open the folder, and its name may lead elsewhere by now.
    const auto made = openAt(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW);
    if (!made) return made.failure();
    struct stat status;
    if (fstat(made->number(), &status) != 0) return fileFailure();
    if ((status.st_mode & S_IRWXU) == S_IRWXU) return {};
    const std::string link = "/proc/self/fd/" + std::to_string(made->number());
    if (chmod(link.c_str(), (status.st_mode & 07777) | S_IRWXU) != 0) return fileFailure();
    return {};
  };
  auto granted = grantOwner();
  if (!granted) unlinkat(parent, name.c_str(), AT_REMOVEDIR);
  return granted;
}

FileResult<void> makePrivateFolder(const fs::path& folder) {
  if (folder.native().find('\0') != std::string::npos) return fileFailure(ENOENT);
  std::error_code ignored;
  if (fs::is_directory(folder, ignored)) return {};
  const auto parent = folder.parent_path();
  if (!parent.empty() && parent != folder) {
    if (auto made = makePrivateFolder(parent); !made) return made;
  }
  const auto made = makePrivateFolderAt(AT_FDCWD, folder);
  // Another process may have been quicker.
  if (!made && !fs::is_directory(folder, ignored)) return made;
  const auto synchronized = synchronizeFolder(parent.empty() ? "." : parent);
  // A parent that may be written and not read, or whose file system has no such call, is no reason
  // to do without the folder.
  const int error = synchronized ? 0 : synchronized.error().code;
  if (error == EACCES || error == EINVAL || error == ENOTSUP) return {};
  return synchronized;
}

bool isSharedFolder(const fs::path& path) {
  const auto folder = openFolderAt(AT_FDCWD, path, LastLink::follow);
  if (!folder) return false;
  std::error_code failed;
  const fs::path system = fs::temp_directory_path(failed);
  const char* const home = std::getenv("HOME");
  for (const fs::path& shared :
       {failed ? fs::path("/") : system, fs::path(home && *home ? home : "/")}) {
    const auto opened = openFolderAt(AT_FDCWD, shared, LastLink::follow);
    if (opened && isWithin(*opened, *folder)) return true;
  }
  return false;
}

FileResult<void> synchronizeFolder(const fs::path& folder) {
  const auto opened = openFolderAt(AT_FDCWD, folder, LastLink::follow);
  if (!opened) return opened.failure();
  return synchronize(*opened);
}

}  // namespace vecamera::device::foundation
