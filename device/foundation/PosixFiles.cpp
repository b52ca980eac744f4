#include "device/foundation/PosixFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <random>

namespace vecamera::device::foundation {
namespace {

std::optional<struct stat> statusOf(const Descriptor& descriptor) {
  struct stat status;
  if (fstat(descriptor.number(), &status) != 0) return std::nullopt;
  return status;
}

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

int writeAll(const Descriptor& file, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file.number(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

int synchronize(const Descriptor& file) {
  while (fsync(file.number()) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

std::string randomName() {
  std::random_device random;
  std::array<char, 32> name;
  std::snprintf(name.data(), name.size(), ".%08x%08x.tmp", random(), random());
  return name.data();
}

struct NewFile {
  Descriptor descriptor;
  std::string name;
};

/// A fresh file of mode 0600 in the folder; no descriptor on failure, with `errno` set.
NewFile createNewFile(const Descriptor& folder) {
  NewFile file;
  do {
    file.name = randomName();
    file.descriptor = openAt(folder.number(), file.name, O_WRONLY | O_CREAT | O_EXCL, 0600);
  } while (!file.descriptor && errno == EEXIST);
  return file;
}

int replaceFileAt(const Descriptor& folder, const std::string& name, const Data& contents) {
  const NewFile file = createNewFile(folder);
  if (!file.descriptor) return errno;
  int failure = fchmod(file.descriptor.number(), 0600) == 0 ? 0 : errno;
  if (failure == 0) failure = writeAll(file.descriptor, contents.bytes());
  if (failure == 0) failure = synchronize(file.descriptor);
  if (failure == 0 &&
      renameat(folder.number(), file.name.c_str(), folder.number(), name.c_str()) != 0) {
    failure = errno;
  }
  if (failure != 0) {
    unlinkat(folder.number(), file.name.c_str(), 0);
    return failure;
  }
  // The file is in its place, so that a file system that cannot synchronize folders is no failure.
  synchronize(folder);
  return 0;
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

Descriptor openAt(int folder, std::string_view path, int flags, unsigned mode) {
  if (path.find('\0') != std::string_view::npos) {
    errno = ENOENT;
    return Descriptor();
  }
  const std::string text(path);
  int number = -1;
  do {
    number = openat(folder, text.c_str(), flags | O_CLOEXEC, mode);
  } while (number < 0 && errno == EINTR);
  return Descriptor(number);
}

Descriptor openFolderAt(int folder, std::string_view path, LastLink lastLink) {
  return openAt(folder, path,
                O_RDONLY | O_DIRECTORY | (lastLink == LastLink::refuse ? O_NOFOLLOW : 0));
}

std::optional<std::vector<std::string>> entryNames(const Descriptor& folder) {
  // The stream takes a descriptor of its own, with a position of its own.
  const int number = openat(folder.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (number < 0) return std::nullopt;
  DIR* const stream = fdopendir(number);
  if (!stream) {
    const int failure = errno;
    close(number);
    errno = failure;
    return std::nullopt;
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  const int failure = errno;
  closedir(stream);
  errno = failure;
  if (failure != 0) return std::nullopt;
  std::sort(names.begin(), names.end());
  return names;
}

bool isWithin(const Descriptor& folder, const Descriptor& ancestor) {
  const auto sought = statusOf(ancestor);
  auto status = statusOf(folder);
  Descriptor above;
  while (sought && status) {
    if (isSameFile(*status, *sought)) return true;
    Descriptor next = openAt(above ? above.number() : folder.number(), "..", O_PATH | O_DIRECTORY);
    const auto nextStatus = next ? statusOf(next) : std::nullopt;
    // The root is its own parent.
    if (!nextStatus || isSameFile(*nextStatus, *status)) return false;
    status = nextStatus;
    above = std::move(next);
  }
  return false;
}

int removeTreeAt(const Descriptor& folder, const std::string& name) {
  if (unlinkat(folder.number(), name.c_str(), 0) == 0) return 0;
  // What stands for a folder is either of these, by the kind of file system.
  if (errno != EISDIR && errno != EPERM) return errno;
  const int unlinkFailure = errno;
  const Descriptor inner = openFolderAt(folder.number(), name, LastLink::refuse);
  if (!inner) return errno == ENOTDIR || errno == ELOOP ? unlinkFailure : errno;
  const auto names = entryNames(inner);
  if (!names) return errno;
  for (const std::string& entry : *names) {
    const int failure = removeTreeAt(inner, entry);
    // An entry that went away meanwhile is as good as removed.
    if (failure != 0 && failure != ENOENT) return failure;
  }
  return unlinkat(folder.number(), name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

int replaceFile(std::string_view path, const Data& contents) {
  const auto slash = path.rfind('/');
  const auto nameStart = slash == std::string_view::npos ? 0 : slash + 1;
  const std::string name(path.substr(nameStart));
  if (path.empty() || name.find('\0') != std::string::npos) return ENOENT;
  if (name.empty() || name == "." || name == "..") return EISDIR;
  const auto parent = nameStart == 0 ? std::string_view(".") : path.substr(0, nameStart);
  const Descriptor folder = openFolderAt(AT_FDCWD, parent, LastLink::follow);
  if (!folder) return errno;
  return replaceFileAt(folder, name, contents);
}

std::optional<OpenedFile> openFileForReading(std::string_view path) {
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  Descriptor file = openAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK);
  const auto status = file ? statusOf(file) : std::nullopt;
  if (!status || !S_ISREG(status->st_mode)) return std::nullopt;
  return OpenedFile{std::move(file), static_cast<std::uint64_t>(status->st_size)};
}

std::optional<Data> readUpTo(const Descriptor& file, std::size_t length) {
  std::vector<std::uint8_t> bytes(length);
  std::size_t size = 0;
  while (size < length) {
    const ssize_t got = read(file.number(), bytes.data() + size, length - size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return Data(std::move(bytes));
}

std::optional<Data> readFile(std::string_view path, std::size_t maxBytes) {
  const auto file = openFileForReading(path);
  if (!file || file->size > maxBytes) return std::nullopt;
  // One byte more than the limit, so that a file that has grown is seen.
  const auto atMost = std::min<std::uint64_t>(maxBytes, file->size + (1U << 16));
  auto data = readUpTo(file->descriptor, static_cast<std::size_t>(atMost) + 1);
  if (!data || data->size() > atMost) return std::nullopt;
  return data;
}

bool writeFile0600(std::string_view path, const Data& contents) {
  return replaceFile(path, contents) == 0;
}

}  // namespace vecamera::device::foundation
