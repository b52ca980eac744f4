#pragma once

#include <filesystem>
#include <string_view>

#include "device/foundation/files/Descriptor.h"

namespace vecamera::device::foundation {

/// A folder of mode 0700 for the files of one process, removed with all it holds when the object
/// ends. It is locked (see PartialFile.h), so that what a process left behind that died is known.
/// Any thread.
class TemporaryFolder {
 public:
  /// Makes a folder in `parent` whose name is `prefix` and some letters more, and removes the
  /// abandoned ones of the same prefix before. `parent` is absolute.
  static FileResult<TemporaryFolder> create(const std::filesystem::path& parent,
                                            std::string_view prefix);
  /// Removes the temporary folders of the prefix whose process died.
  static void removeAbandoned(const std::filesystem::path& parent, std::string_view prefix);
  TemporaryFolder(TemporaryFolder&& other) noexcept;
  TemporaryFolder& operator=(TemporaryFolder&& other) noexcept;
  ~TemporaryFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  explicit TemporaryFolder(std::filesystem::path path) : path_(std::move(path)) {}

  /// Empty when it has moved.
  std::filesystem::path path_;
  Descriptor lock_;
};

}  // namespace vecamera::device::foundation
