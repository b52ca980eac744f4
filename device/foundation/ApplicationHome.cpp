#include "device/foundation/ApplicationHome.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "device/foundation/PosixFiles.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> systemTemporaryDirectory() {
  std::error_code failure;
  const fs::path path = fs::canonical(fs::temp_directory_path(failure), failure);
  if (failure) return std::nullopt;
  return path.string();
}

/// Makes the home's "tmp", or takes back the rights that others have on it. A link is refused,
/// because the folder that it leads to may be anyone's.
bool makeTemporaryDirectory(const std::string& home) {
  const Descriptor folder = openFolderAt(AT_FDCWD, home, LastLink::follow);
  if (!folder) return false;
  mkdirat(folder.number(), "tmp", 0700);
  const Descriptor temporary = openFolderAt(folder.number(), "tmp", LastLink::refuse);
  return temporary && fchmod(temporary.number(), 0700) == 0;
}

}  // namespace

ApplicationHome::ApplicationHome(std::string path, AtEnd atEnd)
    : path_(std::move(path)), atEnd_(atEnd) {}

ApplicationHome::~ApplicationHome() {
  if (atEnd_ == AtEnd::keep) return;
  const fs::path path(path_);
  const Descriptor parent = openFolderAt(AT_FDCWD, path.parent_path().string(), LastLink::follow);
  if (parent) removeTreeAt(parent, path.filename().string());
}

std::unique_ptr<ApplicationHome> ApplicationHome::open(std::string_view path) {
  if (!makePrivateFolder(path) || isSharedFolder(path)) return nullptr;
  std::error_code failure;
  const fs::path resolved = fs::canonical(path, failure);
  if (failure || !makeTemporaryDirectory(resolved.string())) return nullptr;
  return std::unique_ptr<ApplicationHome>(new ApplicationHome(resolved.string(), AtEnd::keep));
}

std::unique_ptr<ApplicationHome> ApplicationHome::makePrivate() {
  const auto system = systemTemporaryDirectory();
  if (!system) return nullptr;
  std::string path = (fs::path(*system) / "vecamera-XXXXXX").string();
  if (!mkdtemp(path.data())) return nullptr;
  std::unique_ptr<ApplicationHome> home(new ApplicationHome(std::move(path), AtEnd::remove));
  if (!makeTemporaryDirectory(home->path())) return nullptr;
  return home;
}

bool makePrivateFolder(std::string_view path) {
  if (path.find('\0') != std::string_view::npos) return false;
  fs::path made;
  for (const fs::path& step : fs::path(path)) {
    made /= step;
    mkdir(made.c_str(), 0700);
  }
  std::error_code failure;
  return fs::is_directory(made, failure);
}

bool isSharedFolder(std::string_view path) {
  const Descriptor folder = openFolderAt(AT_FDCWD, path, LastLink::follow);
  if (!folder) return false;
  const char* const home = std::getenv("HOME");
  for (const std::string& shared :
       {systemTemporaryDirectory().value_or("/"), std::string(home && *home ? home : "/")}) {
    const Descriptor taken = openFolderAt(AT_FDCWD, shared, LastLink::follow);
    if (taken && isWithin(taken, folder)) return true;
  }
  return false;
}

}  // namespace vecamera::device::foundation
