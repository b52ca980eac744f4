#include "device/foundation/files/FileManager.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <vector>

#include "device/foundation/Urls.h"
#include "device/foundation/files/CocoaErrors.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

std::string absolutePath(std::string_view path) {
  if (path.starts_with('/')) return std::string(path);
  std::error_code ignored;
  return (std::filesystem::current_path(ignored) / path).string();
}

std::string asTemporaryDirectory(std::string_view path) {
  if (path.empty()) return "";
  std::string directory = absolutePath(path);
  if (!directory.ends_with('/')) directory += '/';
  return directory;
}

class DirectoryEnumerator : public NSDirectoryEnumerator {
 public:
  DirectoryEnumerator(Descriptor root, std::vector<std::string> names) : root_(std::move(root)) {
    push("", std::move(names));
  }

  std::optional<Value> nextObject() override {
    while (!levels_.empty() && levels_.back().names.empty()) levels_.pop_back();
    if (levels_.empty()) return std::nullopt;
    Level& level = levels_.back();
    std::string path = level.prefix + level.names.back();
    level.names.pop_back();
    if (const auto folder = openFolderAt(root_.number(), path, LastLink::refuse)) {
      if (auto names = entryNames(*folder)) push(path + "/", std::move(*names));
    }
    return Value(std::move(path));
  }

 private:
  struct Level {
    /// What leads from the root to the folder, empty or with a trailing slash.
    std::string prefix;
    /// The entries still to come, last one first.
    std::vector<std::string> names;
  };

  void push(std::string prefix, std::vector<std::string> names) {
    std::reverse(names.begin(), names.end());
    levels_.push_back({std::move(prefix), std::move(names)});
  }

  Descriptor root_;
  std::vector<Level> levels_;
};

class FileHandle : public NSFileHandle {
 public:
  FileHandle(Descriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}
  std::uint64_t size() const override { return size_; }
  std::optional<Data> readDataUpToLength(std::size_t length) override {
    return readUpTo(file_, length).value();
  }

 private:
  const Descriptor file_;
  const std::uint64_t size_;
};

/// Works on the folder that was found to lie within the temporary directory, not on its path, so
/// that no link put there meanwhile leads elsewhere.
FileResult<void> removeWithin(const std::string& temporaryDirectory, std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  const auto slash = path.rfind('/');
  const std::string name(path.substr(slash == std::string_view::npos ? 0 : slash + 1));
  if (path.empty() || name.find('\0') != std::string::npos) return fileFailure(ENOENT);
  const auto parentPath =
      slash == std::string_view::npos ? std::string_view(".") : path.substr(0, slash + 1);
  const auto parent = openFolderAt(AT_FDCWD, parentPath, LastLink::follow);
  if (!parent) return parent.failure();
  const auto root = openFolderAt(AT_FDCWD, temporaryDirectory, LastLink::follow);
  if (!root || !isWithin(*parent, *root) || name.empty() || name == "." || name == "..") {
    return fileFailure(EPERM);
  }
  return removeTreeAt(*parent, name);
}

}  // namespace

FileManager::FileManager(std::string_view temporaryDirectory)
    : temporaryDirectory_(asTemporaryDirectory(temporaryDirectory)) {}

std::optional<std::string> FileManager::temporaryDirectory() {
  if (temporaryDirectory_.empty()) return std::nullopt;
  return temporaryDirectory_;
}

std::string FileManager::stringByStandardizingPath(std::string_view path) {
  namespace fs = std::filesystem;
  if (!path.starts_with('/')) {
    fs::path standard;
    for (const fs::path& step : fs::path(path))
      if (!step.empty() && step != ".") standard /= step;
    return standard.empty() && !path.empty() ? "." : standard.string();
  }
  std::string standard = fs::path(path).lexically_normal().string();
  while (standard.size() > 1 && standard.ends_with('/')) standard.pop_back();
  return standard;
}

bool FileManager::fileExistsAtPath(std::string_view path) {
  struct stat status;
  const std::string text(path);
  return text.find('\0') == std::string::npos && ::stat(text.c_str(), &status) == 0;
}

void FileManager::waitForChangeAtPath(std::string_view) {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

bool FileManager::createFileAtPath(std::string_view path, const Data& contents) {
  return static_cast<bool>(replaceFile(path, contents));
}

std::unique_ptr<NSDirectoryEnumerator> FileManager::enumeratorAtPath(std::string_view path) {
  auto root = openFolderAt(AT_FDCWD, path, LastLink::follow);
  if (!root) return nullptr;
  auto names = entryNames(*root);
  if (!names) return nullptr;
  return std::make_unique<DirectoryEnumerator>(*std::move(root), *std::move(names));
}

std::unique_ptr<NSFileHandle> FileManager::fileHandleForReadingAtPath(std::string_view path) {
  auto file = openFileForReading(path);
  if (!file) return nullptr;
  return std::make_unique<FileHandle>(std::move(file->descriptor), file->size);
}

std::optional<NSError> FileManager::removeItemAtPath(std::string_view path) {
  const auto removed = removeWithin(temporaryDirectory_, path);
  if (removed) return std::nullopt;
  return removalError(path, removed.error().code);
}

std::optional<NSError> FileManager::writeAtomically(const Data& contents, const URL& url) {
  const auto path = filePathOf(url);
  if (!path) return unsupportedSchemeError();
  const auto written = replaceFile(*path, contents);
  if (written) return std::nullopt;
  return writingError(absolutePath(*path), written.error().code);
}

}  // namespace vecamera::device::foundation
