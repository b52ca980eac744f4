#include "apps/vecamera/commands/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "device/foundation/files/PartialFile.h"

namespace vecamera::app {

namespace fs = std::filesystem;
using device::Failure;

AppResult<void> requireFile(const fs::path& path) {
  std::error_code ignored;
  const auto status = fs::status(path, ignored);
  if (fs::is_directory(status))
    return Failure(path.string() + ": it is a folder; name a file in it");
  if (!fs::exists(status))
    return Failure(path.string() + ": there is no such file; check the name and the folder");
  if (access(path.c_str(), R_OK) != 0)
    return Failure(path.string() + ": it cannot be read; check its permissions");
  return {};
}

AppResult<void> writeFile(const fs::path& path, const Data& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.bytes().data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (file.fail()) return Failure(path.string() + ": it cannot be written");
  return {};
}

AppResult<void> replaceFile(const fs::path& path, const std::string& text) {
  constexpr mode_t forEverybody = 0644;
  const auto failure = [&path](const device::foundation::FileError& error) {
    return Failure(path.string() + ": it cannot be written: " + error.message);
  };
  auto file = device::foundation::PartialFile::createBeside(path);
  if (!file) return failure(file.error());
  const auto bytes = std::as_bytes(std::span(text));
  if (const auto written = device::foundation::writeAll(file->descriptor(), bytes); !written)
    return failure(written.error());
  fchmod(file->descriptor().number(), forEverybody);
  if (const auto moved = file->moveTo(path); !moved) return failure(moved.error());
  return {};
}

}  // namespace vecamera::app
