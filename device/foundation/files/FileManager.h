#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// The real file system, with one limit: nothing but what the temporary directory holds can be
/// removed, wherever a path or a link leads. Any thread.
class FileManager : public NSFileManager {
 public:
  /// The directory should be there; a relative path is taken from the working directory. An empty
  /// path is no temporary directory, and then nothing can be removed.
  explicit FileManager(std::string_view temporaryDirectory);

  std::optional<std::string> temporaryDirectory() override;
  /// Lexical: neither links nor "~" are resolved. A relative path stays relative
  /// and keeps its ".." steps.
  std::string stringByStandardizingPath(std::string_view path) override;
  /// Links are followed, so a link to nothing does not exist.
  bool fileExistsAtPath(std::string_view path) override;
  /// Sleeps a little.
  void waitForChangeAtPath(std::string_view path) override;
  /// The file has mode 0600 and is there whole or not at all; a link at the path is replaced.
  bool createFileAtPath(std::string_view path, const Data& contents) override;
  /// Entries of one folder come in the order of their names' bytes.
  std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override;
  std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view path) override;
  /// A link is removed itself. What lies outside of the temporary directory, and the directory
  /// itself, may not be removed.
  std::optional<NSError> removeItemAtPath(std::string_view path) override;
  std::optional<NSError> writeAtomically(const Data& contents, const URL& url) override;

 private:
  /// Absolute, with a trailing slash; empty for none.
  const std::string temporaryDirectory_;
};

}  // namespace vecamera::device::foundation
