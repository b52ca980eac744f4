#include "apps/vecamera/commands/Files.h"

#include <unistd.h>

#include <fstream>

namespace vecamera::app {

namespace fs = std::filesystem;

std::optional<std::string> problemWithFile(const fs::path& path) {
  std::error_code ignored;
  const auto status = fs::status(path, ignored);
  if (fs::is_directory(status)) return path.string() + ": it is a folder; name a file in it";
  if (!fs::exists(status))
    return path.string() + ": there is no such file; check the name and the folder";
  if (access(path.c_str(), R_OK) != 0)
    return path.string() + ": it cannot be read; check its permissions";
  return std::nullopt;
}

bool writeFile(const fs::path& path, const Data& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.bytes().data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  return !file.fail();
}

}  // namespace vecamera::app
