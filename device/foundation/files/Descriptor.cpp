#include "device/foundation/files/Descriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace vecamera::device::foundation {
namespace {

/// Reads until the buffer is full or the file ends; gives the number of bytes.
FileResult<std::size_t> fill(const Descriptor& file, std::span<std::uint8_t> buffer) {
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const ssize_t got = read(file.number(), buffer.data() + filled, buffer.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fileFailure();
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return filled;
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

FileResult<Descriptor> openAt(int folder, const std::filesystem::path& path, int flags,
                              unsigned mode) {
  if (path.native().find('\0') != std::string::npos) return fileFailure(ENOENT);
  int number = -1;
  do {
    number = openat(folder, path.c_str(), flags | O_CLOEXEC, mode);
  } while (number < 0 && errno == EINTR);
  if (number < 0) return fileFailure();
  return Descriptor(number);
}

FileResult<Descriptor> openFolderAt(int folder, const std::filesystem::path& path,
                                    LastLink lastLink) {
  return openAt(folder, path,
                O_RDONLY | O_DIRECTORY | (lastLink == LastLink::refuse ? O_NOFOLLOW : 0));
}

FileResult<OpenedFile> openFileForReading(const std::filesystem::path& path) {
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  auto file = openAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK);
  if (!file) return std::move(file).failure();
  struct stat status;
  if (fstat(file->number(), &status) != 0) return fileFailure();
  if (S_ISDIR(status.st_mode)) return fileFailure(EISDIR);
  if (!S_ISREG(status.st_mode)) return Failure(FileError{EINVAL, "It is no regular file"});
  return OpenedFile{*std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

FileResult<Data> readUpTo(const Descriptor& file, std::size_t length) {
  std::vector<std::uint8_t> bytes(length);
  const auto filled = fill(file, bytes);
  if (!filled) return filled.failure();
  bytes.resize(*filled);
  return Data(std::move(bytes));
}

FileResult<Data> readAll(const Descriptor& file, std::size_t maxBytes) {
  struct stat status;
  if (fstat(file.number(), &status) != 0) return fileFailure();
  const auto size = static_cast<std::size_t>(status.st_size);
  if (S_ISREG(status.st_mode) && size > maxBytes) return fileFailure(EFBIG);
  // One byte more than expected, so that the end is met without growing the buffer.
  std::vector<std::uint8_t> bytes(std::min(size, maxBytes) + 1);
  std::size_t filled = 0;
  while (true) {
    const auto got = fill(file, std::span(bytes).subspan(filled));
    if (!got) return got.failure();
    filled += *got;
    if (filled > maxBytes) return fileFailure(EFBIG);
    if (filled < bytes.size()) break;
    bytes.resize(std::min(filled * 2, maxBytes + 1));
  }
  bytes.resize(filled);
  return Data(std::move(bytes));
}

FileResult<void> writeAll(const Descriptor& file, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file.number(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return fileFailure();
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return {};
}

FileResult<void> copyAll(const Descriptor& from, const Descriptor& to) {
  std::vector<std::uint8_t> piece(1U << 20);
  while (true) {
    const auto got = fill(from, piece);
    if (!got) return got.failure();
    if (*got == 0) return {};
    if (auto written = writeAll(to, std::as_bytes(std::span(piece).first(*got))); !written)
      return written;
  }
}

FileResult<void> synchronize(const Descriptor& file) {
  while (fsync(file.number()) != 0) {
    if (errno != EINTR) return fileFailure();
  }
  return {};
}

FileResult<void> lock(const Descriptor& file, IfLocked ifLocked) {
  while (flock(file.number(), LOCK_EX | (ifLocked == IfLocked::fail ? LOCK_NB : 0)) != 0) {
    if (errno != EINTR) return fileFailure();
  }
  return {};
}

}  // namespace vecamera::device::foundation
