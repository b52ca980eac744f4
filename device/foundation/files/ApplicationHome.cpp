#include "device/foundation/files/ApplicationHome.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "device/foundation/files/Folders.h"

namespace vecamera::device::foundation {

namespace fs = std::filesystem;

std::unique_ptr<ApplicationHome> ApplicationHome::make(std::string path,
                                                       std::optional<TemporaryFolder> folder) {
  const auto home = openFolderAt(AT_FDCWD, path, LastLink::follow);
  if (!home) return nullptr;
  mkdirat(home->number(), "tmp", 0700);
  const auto temporary = openFolderAt(home->number(), "tmp", LastLink::refuse);
  if (!temporary || fchmod(temporary->number(), 0700) != 0) return nullptr;
  return std::unique_ptr<ApplicationHome>(new ApplicationHome(std::move(path), std::move(folder)));
}

std::unique_ptr<ApplicationHome> ApplicationHome::open(std::string_view path) {
  if (!makePrivateFolder(path) || isSharedFolder(path)) return nullptr;
  std::error_code failure;
  const fs::path resolved = fs::canonical(path, failure);
  return failure ? nullptr : make(resolved.string(), std::nullopt);
}

std::unique_ptr<ApplicationHome> ApplicationHome::makePrivate() {
  std::error_code failure;
  const fs::path system = fs::canonical(fs::temp_directory_path(failure), failure);
  if (failure) return nullptr;
  auto folder = TemporaryFolder::create(system, "vecamera-");
  if (!folder) return nullptr;
  std::string path = folder->path().string();
  return make(std::move(path), *std::move(folder));
}

}  // namespace vecamera::device::foundation
