#include "simulator/server/http/ConfinedOpen.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vecamera::simulator {
namespace {

// Opening must neither wait for a pipe's other end nor take a terminal.
constexpr int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY;

/// One name at a time, without following any link, for systems without `openat2`.
FileResult<foundation::Descriptor> openStepwise(FileResult<foundation::Descriptor> folder,
                                                std::span<const std::string> names) {
  for (std::size_t i = 0; i < names.size() && folder; ++i) {
    const int kind = i + 1 < names.size() ? O_DIRECTORY : 0;
    folder = foundation::openAt(folder->number(), names[i], flags | O_NOFOLLOW | kind);
  }
  return folder;
}

FileResult<foundation::Descriptor> openNames(const std::filesystem::path& path,
                                             std::span<const std::string> names) {
  auto folder = foundation::openFolderAt(AT_FDCWD, path, foundation::LastLink::follow);
  if (!folder || names.empty()) return folder;
  std::string relative;
  for (const auto& name : names) {
    if (name.find('\0') != std::string::npos) return foundation::fileFailure(ENOENT);
    relative += (relative.empty() ? "" : "/") + name;
  }
  open_how how{};
  how.flags = flags | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  foundation::Descriptor found(
      static_cast<int>(syscall(SYS_openat2, folder->number(), relative.c_str(), &how, sizeof how)));
  if (found) return found;
  if (errno == ENOSYS || errno == EPERM) return openStepwise(std::move(folder), names);
  return foundation::fileFailure();
}

}  // namespace

FileResult<ConfinedFile> openConfined(const std::filesystem::path& folder,
                                      std::span<const std::string> names) {
  auto found = openNames(folder, names);
  if (!found) return std::move(found).failure();
  struct stat seen {};
  if (fstat(found->number(), &seen) != 0) return foundation::fileFailure();
  if (!S_ISREG(seen.st_mode)) return foundation::fileFailure(EINVAL);
  return ConfinedFile{*std::move(found), static_cast<std::uint64_t>(seen.st_size),
                      std::int64_t{seen.st_mtim.tv_sec} * 1'000'000'000 + seen.st_mtim.tv_nsec};
}

bool isFolderConfined(const std::filesystem::path& folder, std::span<const std::string> names) {
  const auto found = openNames(folder, names);
  struct stat seen {};
  return found && fstat(found->number(), &seen) == 0 && S_ISDIR(seen.st_mode);
}

}  // namespace vecamera::simulator
