#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Foundation.h"

namespace host {

namespace vc = vecamera;

class FileHandle : public vc::NSFileHandle {
 public:
  explicit FileHandle(const std::filesystem::path& path)
      : file_(path, std::ios::binary), size_(std::filesystem::file_size(path, ignored_)) {}
  bool isOpen() const { return file_.is_open(); }
  std::uint64_t size() const override { return size_; }
  std::optional<vc::Data> readDataUpToLength(std::size_t length) override {
    std::vector<std::uint8_t> bytes(length);
    file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(length));
    if (file_.bad()) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(file_.gcount()));
    return vc::Data(std::move(bytes));
  }

 private:
  std::error_code ignored_;
  std::ifstream file_;
  std::uint64_t size_;
};

/// Walks by itself: the standard library's iterator would read a folder only after it was handed
/// out, when it may be gone.
class DirectoryEnumerator : public vc::NSDirectoryEnumerator {
 public:
  explicit DirectoryEnumerator(std::filesystem::path root) : root_(std::move(root)) { open({}); }
  std::optional<vc::Value> nextObject() override {
    if (pending_.empty()) return std::nullopt;
    const auto entry = std::move(pending_.back());
    pending_.pop_back();
    open(entry);
    return vc::Value(entry.string());
  }

 private:
  /// Puts the folder's entries in front of the others; does nothing for a file or a link.
  void open(const std::filesystem::path& entry) {
    std::error_code error;
    const auto path = entry.empty() ? root_ : root_ / entry;
    if (!entry.empty() && !is_directory(symlink_status(path, error))) return;
    std::filesystem::directory_iterator at(path, error);
    for (; !error && at != std::filesystem::directory_iterator(); at.increment(error))
      pending_.push_back(entry / at->path().filename());
  }

  const std::filesystem::path root_;
  std::vector<std::filesystem::path> pending_;
};

/// Files by the standard library, which throws nothing here. Any thread.
class FileManager : public vc::NSFileManager {
 public:
  /// Without a trailing slash.
  explicit FileManager(std::string temporaryDirectory)
      : temporaryDirectory_(std::move(temporaryDirectory)) {}

  std::optional<std::string> temporaryDirectory() override { return temporaryDirectory_ + "/"; }
  std::string stringByStandardizingPath(std::string_view path) override {
    const bool isAbsolute = path.starts_with('/');
    std::vector<std::string_view> steps;
    for (std::size_t start = 0; start < path.size();) {
      const auto end = std::min(path.find('/', start), path.size());
      const auto step = path.substr(start, end - start);
      start = end + 1;
      if (step.empty() || step == ".") continue;
      if (step != ".." || !isAbsolute)
        steps.push_back(step);
      else if (!steps.empty())
        steps.pop_back();
    }
    std::string standard;
    for (const auto step : steps)
      standard.append(isAbsolute || !standard.empty() ? "/" : "").append(step);
    if (!standard.empty() || path.empty()) return standard;
    return isAbsolute ? "/" : ".";
  }
  bool fileExistsAtPath(std::string_view path) override {
    std::error_code error;
    return isUsable(path) && std::filesystem::exists(path, error);
  }
  /// Asking again after a moment is enough, and it burns no core.
  void waitForChangeAtPath(std::string_view /*path*/) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  bool createFileAtPath(std::string_view path, const vc::Data& contents) override {
    if (!isUsable(path)) return false;
    // Beside its final place first, so that a file is there as a whole or not at all; under a name
    // that nobody else has.
    std::random_device random;
    const auto partial =
        std::filesystem::path(path).parent_path() /
        (".host-" + std::to_string(random()) + "-" + std::to_string(random()) + ".part");
    std::FILE* const file = std::fopen(partial.c_str(), "wbx");
    if (!file) return false;
    const auto bytes = contents.bytes();
    bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    isWritten = std::fclose(file) == 0 && isWritten;
    std::error_code error;
    if (isWritten) std::filesystem::rename(partial, path, error);
    if (isWritten && !error) return true;
    std::filesystem::remove(partial, error);
    return false;
  }
  std::unique_ptr<vc::NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override {
    std::error_code error;
    if (!isUsable(path) || !std::filesystem::is_directory(path, error)) return nullptr;
    return std::make_unique<DirectoryEnumerator>(path);
  }
  std::unique_ptr<vc::NSFileHandle> fileHandleForReadingAtPath(std::string_view path) override {
    std::error_code error;
    if (!isUsable(path) || !std::filesystem::is_regular_file(path, error)) return nullptr;
    auto file = std::make_unique<FileHandle>(path);
    return file->isOpen() ? std::move(file) : nullptr;
  }
  std::optional<vc::NSError> removeItemAtPath(std::string_view path) override {
    std::error_code error;
    // A trailing slash would lead through a link.
    const bool isRemoved =
        isUsable(path) && std::filesystem::remove_all(stringByStandardizingPath(path), error) > 0;
    if (isRemoved && !error) return std::nullopt;
    return failure("The item couldn't be removed.");
  }
  std::optional<vc::NSError> writeAtomically(const vc::Data& contents,
                                             const vc::URL& url) override {
    const auto path = pathOf(url);
    if (path && createFileAtPath(*path, contents)) return std::nullopt;
    return failure("The file couldn't be saved.");
  }

 private:
  static bool isUsable(std::string_view path) {
    return !path.empty() && path.find('\0') == path.npos;
  }
  /// The decoded path of a file URL, or the text that has no scheme as it is.
  static std::optional<std::string> pathOf(const vc::URL& url) {
    std::string_view text = url.absoluteString();
    if (!schemeOf(text)) return std::string(text);
    if (!text.starts_with("file://")) return std::nullopt;
    text.remove_prefix(std::string_view("file://").size());
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '%' || i + 2 >= text.size()) {
        path += text[i];
        continue;
      }
      path +=
          static_cast<char>(std::strtol(std::string(text.substr(i + 1, 2)).c_str(), nullptr, 16));
      i += 2;
    }
    return path;
  }
  /// The description always stands in the dictionary, as it ends up in answers and in the log.
  static vc::NSError failure(std::string description) {
    return {"HostErrorDomain",
            1,
            {{std::string(vc::NSLocalizedDescriptionKey), vc::Value(std::move(description))}}};
  }

  const std::string temporaryDirectory_;
};

}  // namespace host
