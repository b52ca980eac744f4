#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VECamera/platform/Value.h"

/// File-system calls that neither follow a link by accident nor stop halfway at a signal. Functions
/// that give a number give 0 on success and an `errno` value otherwise. Any thread.
namespace vecamera::device::foundation {

/// Owns an open file descriptor, or none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor();

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }

 private:
  int number_ = -1;
};

enum class LastLink { follow, refuse };

/// `openat` with close-on-exec; `folder` may be `AT_FDCWD`. No descriptor on failure, with `errno`
/// set, also for a path that holds a zero byte.
Descriptor openAt(int folder, std::string_view path, int flags, unsigned mode = 0);
Descriptor openFolderAt(int folder, std::string_view path, LastLink lastLink);

/// The folder's entries without "." and "..", sorted by their bytes; nothing where they cannot be
/// read, with `errno` set.
std::optional<std::vector<std::string>> entryNames(const Descriptor& folder);

/// Whether the folder is `ancestor` or lies below it, as the file system itself tells.
bool isWithin(const Descriptor& folder, const Descriptor& ancestor);

/// Removes the file, link or folder with all it holds. Stops at the first thing that cannot be
/// removed.
int removeTreeAt(const Descriptor& folder, const std::string& name);

/// Puts a file of mode 0600 with the contents in the place of the path, on the disk before this
/// returns. Nobody sees it half-written, and a failed write leaves nothing behind. A link at the
/// path is replaced, not followed.
int replaceFile(std::string_view path, const Data& contents);

struct OpenedFile {
  Descriptor descriptor;
  /// In bytes, when it was opened.
  std::uint64_t size = 0;
};
/// The regular file, open for reading; nothing for anything else.
std::optional<OpenedFile> openFileForReading(std::string_view path);
/// The next bytes: fewer than asked for only at the end of the file; nothing where it cannot be
/// read.
std::optional<Data> readUpTo(const Descriptor& file, std::size_t length);

/// The contents of the regular file; nothing where it cannot be read or holds more bytes.
std::optional<Data> readFile(std::string_view path, std::size_t maxBytes);
bool writeFile0600(std::string_view path, const Data& contents);

}  // namespace vecamera::device::foundation
