#include "device/foundation/files/WholeFiles.h"

#include "device/foundation/files/Folders.h"
#include "device/foundation/files/PartialFile.h"

namespace vecamera::device::foundation {

namespace fs = std::filesystem;

FileResult<Data> readFile(const fs::path& path, std::size_t maxBytes) {
  const auto file = openFileForReading(path);
  if (!file) return file.failure();
  return readAll(file->descriptor, maxBytes);
}

FileResult<void> replaceFile(const fs::path& path, const Data& contents) {
  const auto name = path.filename().native();
  if (path.empty() || name.find('\0') != std::string::npos) return fileFailure(ENOENT);
  if (name.empty() || name == "." || name == "..") return fileFailure(EISDIR);
  auto file = PartialFile::createBeside(path);
  if (!file) return file.failure();
  auto written = writeAll(file->descriptor(), std::as_bytes(contents.bytes()));
  if (written) written = synchronize(file->descriptor());
  if (written) written = file->moveTo(path);
  if (!written) return written;
  // The file is in its place, so that a file system that cannot synchronize folders is no failure.
  const auto folder = path.parent_path();
  static_cast<void>(synchronizeFolder(folder.empty() ? "." : folder));
  return {};
}

}  // namespace vecamera::device::foundation
