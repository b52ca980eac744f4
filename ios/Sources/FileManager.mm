#include <algorithm>
#include <utility>
#include <vector>

#include "ios/Sources/Foundation.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {
namespace {

::NSFileManager* files() {
  return [::NSFileManager defaultManager];
}

/// Nil for an empty path, or one with a zero byte.
NSString* _Nullable nativePath(std::string_view path) {
  if (path.empty() || path.find('\0') != path.npos) return nil;
  return toNSString(path);
}

vecamera::NSError failure(NSError* _Nullable error, NSInteger codeWithoutError) {
  if (!error)
    error = [NSError errorWithDomain:NSCocoaErrorDomain code:codeWithoutError userInfo:nil];
  return *toError(error);
}

bool isFolderAt(NSString* path) {
  NSDictionary* attributes = [files() attributesOfItemAtPath:path error:nil];  // a link's own
  return [attributes[NSFileType] isEqual:NSFileTypeDirectory];
}

/// The platform's enumerator would read a folder only when it goes down into it.
class DirectoryEnumerator : public vecamera::NSDirectoryEnumerator {
 public:
  DirectoryEnumerator(std::string root, NSArray<NSString*>* entries) : root_(std::move(root)) {
    add("", entries);
  }

  std::optional<vecamera::Value> nextObject() override {
    if (pending_.empty()) return std::nullopt;
    @autoreleasepool {
      const std::string entry = std::move(pending_.back());
      pending_.pop_back();
      NSString* path = toNSString(root_ + "/" + entry);
      if (isFolderAt(path)) add(entry + "/", [files() contentsOfDirectoryAtPath:path error:nil]);
      return entry;
    }
  }

 private:
  void add(const std::string& folder, NSArray<NSString*>* _Nullable names) {
    const auto count = static_cast<std::ptrdiff_t>(names.count);
    for (NSString* name in names) pending_.push_back(folder + toText(name));
    std::reverse(pending_.end() - count, pending_.end());
  }

  const std::string root_;
  /// The next one last.
  std::vector<std::string> pending_;
};

class FileHandle : public vecamera::NSFileHandle {
 public:
  FileHandle(::NSFileHandle* file, std::uint64_t size) : file_(file), size_(size) {}
  std::uint64_t size() const override { return size_; }
  std::optional<vecamera::Data> readDataUpToLength(std::size_t length) override {
    @autoreleasepool {
      NSError* error = nil;
      NSData* data = [file_ readDataUpToLength:length error:&error];
      if (data) return toData(data);
      if (error) return std::nullopt;
      return vecamera::Data();
    }
  }

 private:
  ::NSFileHandle* const file_;
  const std::uint64_t size_;
};

}  // namespace

std::optional<std::string> FileManager::temporaryDirectory() {
  if (temporaryDirectory_) return temporaryDirectory_;
  @autoreleasepool {
    std::string path = toText(NSTemporaryDirectory());
    if (path.empty()) return std::nullopt;
    if (!path.ends_with('/')) path += '/';
    return path;
  }
}

std::string FileManager::stringByStandardizingPath(std::string_view path) {
  if (path.empty()) return "";
  const bool isAbsolute = path.starts_with('/');
  std::vector<std::string_view> steps;
  while (!path.empty()) {
    const std::string_view step = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(step.size() + 1, path.size()));
    if (step.empty() || step == ".") continue;
    if (step != ".." || !isAbsolute)
      steps.push_back(step);
    else if (!steps.empty())
      steps.pop_back();
  }
  std::string standard(isAbsolute ? "/" : "");
  for (const std::string_view step : steps) {
    if (!standard.empty() && standard != "/") standard += '/';
    standard += step;
  }
  return standard.empty() ? "." : standard;
}

bool FileManager::fileExistsAtPath(std::string_view path) {
  @autoreleasepool {
    NSString* native = nativePath(path);
    return native && [files() fileExistsAtPath:native];
  }
}

void FileManager::waitForChangeAtPath(std::string_view) {
  constexpr NSTimeInterval seconds = 0.01;
  [NSThread sleepForTimeInterval:seconds];
}

bool FileManager::createFileAtPath(std::string_view path, const vecamera::Data& contents) {
  @autoreleasepool {
    NSString* native = nativePath(path);
    return native && [files() createFileAtPath:native contents:toNSData(contents) attributes:nil];
  }
}

std::unique_ptr<vecamera::NSDirectoryEnumerator> FileManager::enumeratorAtPath(
    std::string_view path) {
  @autoreleasepool {
    NSString* native = nativePath(path);
    NSArray* entries = native ? [files() contentsOfDirectoryAtPath:native error:nil] : nil;
    if (!entries) return nullptr;
    return std::make_unique<DirectoryEnumerator>(std::string(path), entries);
  }
}

std::unique_ptr<vecamera::NSFileHandle> FileManager::fileHandleForReadingAtPath(
    std::string_view path) {
  @autoreleasepool {
    NSString* native = nativePath(path);
    // A folder can be opened, and cannot be read.
    BOOL isFolder = NO;
    if (!native || ![files() fileExistsAtPath:native isDirectory:&isFolder] || isFolder)
      return nullptr;
    ::NSFileHandle* file = [::NSFileHandle fileHandleForReadingAtPath:native];
    unsigned long long size = 0;
    if (![file seekToEndReturningOffset:&size error:nil] || ![file seekToOffset:0 error:nil])
      return nullptr;
    return std::make_unique<FileHandle>(file, size);
  }
}

std::optional<vecamera::NSError> FileManager::removeItemAtPath(std::string_view path) {
  @autoreleasepool {
    // A slash at the end would lead through a link.
    while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    NSString* native = nativePath(path);
    NSError* error = nil;
    if (native && [files() removeItemAtPath:native error:&error]) return std::nullopt;
    return failure(error, NSFileNoSuchFileError);
  }
}

std::optional<vecamera::NSError> FileManager::writeAtomically(const vecamera::Data& contents,
                                                              const vecamera::URL& url) {
  @autoreleasepool {
    NSURL* native = toNSURL(url);
    // By path, because writing to a URL fails where that has no scheme.
    NSString* path = nil;
    if (!native.scheme)
      path = nativePath(url.absoluteString());
    else if (native.isFileURL)
      path = native.path;
    if (!path) return failure(nil, NSFileWriteUnsupportedSchemeError);
    NSError* error = nil;
    if ([toNSData(contents) writeToFile:path options:NSDataWritingAtomic error:&error])
      return std::nullopt;
    return failure(error, NSFileWriteUnknownError);
  }
}

}  // namespace vecamera_ios
