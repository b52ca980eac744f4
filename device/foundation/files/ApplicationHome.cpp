#include "device/foundation/files/ApplicationHome.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "device/foundation/files/Folders.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

/// Makes the home's "tmp", or takes back the rights that others have on it. A link is refused,
/// because the folder that it leads to may be anyone's.
bool makeTemporaryDirectory(const std::string& home) {
  const auto folder = openFolderAt(AT_FDCWD, home, LastLink::follow);
  if (!folder) return false;
  mkdirat(folder->number(), "tmp", 0700);
  const auto temporary = openFolderAt(folder->number(), "tmp", LastLink::refuse);
  return temporary && fchmod(temporary->number(), 0700) == 0;
}

}  // namespace

std::unique_ptr<ApplicationHome> ApplicationHome::open(std::string_view path) {
  if (!makePrivateFolder(path) || isSharedFolder(path)) return nullptr;
  std::error_code failure;
  const fs::path resolved = fs::canonical(path, failure);
  if (failure || !makeTemporaryDirectory(resolved.string())) return nullptr;
  return std::unique_ptr<ApplicationHome>(new ApplicationHome(resolved.string()));
}

std::unique_ptr<ApplicationHome> ApplicationHome::makePrivate() {
  std::error_code failure;
  const fs::path system = fs::canonical(fs::temp_directory_path(failure), failure);
  if (failure) return nullptr;
  auto folder = TemporaryFolder::create(system, "vecamera-");
  if (!folder || !makeTemporaryDirectory(folder->path().string())) return nullptr;
  auto path = folder->path().string();
  return std::unique_ptr<ApplicationHome>(
      new ApplicationHome(std::move(path), std::optional(*std::move(folder))));
}

}  // namespace vecamera::device::foundation
