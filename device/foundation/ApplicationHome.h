#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace vecamera::device::foundation {

/// The folder in which the application keeps its files, with its private temporary directory "tmp".
/// Both belong to the user alone (mode 0700). Immutable; any thread.
class ApplicationHome {
 public:
  /// The home at the path, made with the folders above it where it is missing; it stays when the
  /// object ends. Null where it cannot be had or `isSharedFolder` holds for the path.
  static std::unique_ptr<ApplicationHome> open(std::string_view path);
  /// A fresh home below the system's temporary directory, removed when the object ends. Null where
  /// it cannot be made.
  static std::unique_ptr<ApplicationHome> makePrivate();

  ApplicationHome(const ApplicationHome&) = delete;
  ApplicationHome& operator=(const ApplicationHome&) = delete;
  ~ApplicationHome();

  /// Absolute, without a trailing slash.
  const std::string& path() const { return path_; }
  std::string temporaryDirectory() const { return path_ + "/tmp"; }

 private:
  enum class AtEnd { keep, remove };
  ApplicationHome(std::string path, AtEnd atEnd);

  std::string path_;
  AtEnd atEnd_;
};

/// Makes the folder, with those above it, where it is missing; new folders have mode 0700. Whether
/// it is there.
bool makePrivateFolder(std::string_view path);

/// Whether the existing folder holds, or is, the system's temporary directory or the user's home:
/// one that an application must not be given to empty.
bool isSharedFolder(std::string_view path);

}  // namespace vecamera::device::foundation
