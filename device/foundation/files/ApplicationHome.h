#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "device/foundation/files/TemporaryFolder.h"

namespace vecamera::device::foundation {

/// The folder in which the application keeps its files, with its private temporary directory "tmp".
/// Both belong to the user alone (mode 0700). Any thread.
class ApplicationHome {
 public:
  /// The home at the path, made with the folders above it where it is missing; it stays when the
  /// object ends. The error is `EPERM` where `isSharedFolder` holds for the path.
  static FileResult<ApplicationHome> open(std::string_view path);
  /// A fresh home below the system's temporary directory, removed when the object ends.
  static FileResult<ApplicationHome> makePrivate();

  /// Absolute, without a trailing slash.
  const std::string& path() const { return path_; }
  std::string temporaryDirectory() const { return path_ + "/tmp"; }

 private:
  /// Makes the home's "tmp", or takes back the rights that others have on it. A link is refused,
  /// because the folder that it leads to may be anyone's.
  static FileResult<ApplicationHome> make(std::string path, std::optional<TemporaryFolder> folder);
  ApplicationHome(std::string path, std::optional<TemporaryFolder> folder)
      : path_(std::move(path)), folder_(std::move(folder)) {}

  std::string path_;
  /// That of a private home.
  std::optional<TemporaryFolder> folder_;
};

}  // namespace vecamera::device::foundation
