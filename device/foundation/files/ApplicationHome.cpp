#include "device/foundation/files/ApplicationHome.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "device/foundation/files/Folders.h"

namespace vecamera::device::foundation {

namespace fs = std::filesystem;

FileResult<ApplicationHome> ApplicationHome::make(std::string path,
                                                  std::optional<TemporaryFolder> folder) {
  const auto home = openFolderAt(AT_FDCWD, path, LastLink::follow);
  if (!home) return home.failure();
  if (const auto made = makePrivateFolderAt(home->number(), "tmp");
      !made && made.error().code != EEXIST)
    return made.failure();
  const auto temporary = openFolderAt(home->number(), "tmp", LastLink::refuse);
  if (!temporary) return temporary.failure();
  if (fchmod(temporary->number(), 0700) != 0) return fileFailure();
  return ApplicationHome(std::move(path), std::move(folder));
}

FileResult<ApplicationHome> ApplicationHome::open(std::string_view path) {
  if (auto made = makePrivateFolder(path); !made) return std::move(made).failure();
  if (isSharedFolder(path)) return fileFailure(EPERM);
  std::error_code error;
  const fs::path resolved = fs::canonical(path, error);
  return error ? fileFailure(error.value()) : make(resolved.string(), std::nullopt);
}

FileResult<ApplicationHome> ApplicationHome::makePrivate() {
  std::error_code error;
  const fs::path system = fs::canonical(fs::temp_directory_path(error), error);
  if (error) return fileFailure(error.value());
  auto folder = TemporaryFolder::create(system, "vecamera-");
  if (!folder) return std::move(folder).failure();
  std::string path = folder->path().string();
  return make(std::move(path), *std::move(folder));
}

}  // namespace vecamera::device::foundation
