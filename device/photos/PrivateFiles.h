#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "VECamera/platform/Value.h"

/// Files that only their owner may read. Failure is the system's text for it.
namespace vecamera::device::photos {

/// Makes the folder, and those above it, where it does not exist. Nothing on success.
std::optional<std::string> makePrivateFolder(const std::filesystem::path& folder);

/// Makes the file, empty, where nothing of that name exists. An existing file is not even opened:
/// closing it again would drop the locks that SQLite holds on it in this process. Nothing on
/// success.
std::optional<std::string> makePrivateFile(const std::filesystem::path& file);

/// Writes a whole file so that its bytes survive a loss of power; its name may not. Nothing on
/// success.
std::optional<std::string> writePrivateFile(const std::filesystem::path& file, const Data& data);

/// The same with the bytes of another file.
std::optional<std::string> copyToPrivateFile(const std::filesystem::path& from,
                                             const std::filesystem::path& file);

/// Makes the names in a folder survive a loss of power. Nothing on success.
std::optional<std::string> syncFolder(const std::filesystem::path& folder);

/// The bytes of a file, or why it cannot be read.
std::variant<Data, std::string> readFile(const std::filesystem::path& file);

/// Why the path is no regular file that can be read; nothing where it is.
std::optional<std::string> problemWithReading(const std::filesystem::path& file);

/// A name beside the file for writing it, such as no other thread or process uses.
std::filesystem::path partialName(const std::filesystem::path& file);

/// Whether the file's name is one that `partialName` gave to a process that still runs.
bool isPartialInUse(const std::string& fileName);

/// Holds a folder against other holders, in this process and others, as long as it lives.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// Nothing where the folder is held.
  const std::optional<std::string>& error() const { return error_; }

 private:
  int descriptor_;
  std::optional<std::string> error_;
};

}  // namespace vecamera::device::photos
