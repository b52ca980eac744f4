#include "apps/vecamera/commands/Files.h"

#include <unistd.h>

#include <fstream>

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

}  // namespace vecamera::app
