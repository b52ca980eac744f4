#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "device/foundation/files/ApplicationHome.h"

namespace vecamera::simulator {

/// A folder for one test, removed at its end.
class TestFolder {
 public:
  TestFolder() { std::filesystem::create_directory(path()); }
  std::filesystem::path path() const { return home_.path() + "/test"; }
  std::filesystem::path write(const std::string& name, std::string_view text) const {
    const auto file = path() / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

 private:
  const device::foundation::ApplicationHome home_ =
      *device::foundation::ApplicationHome::makePrivate();
};

}  // namespace vecamera::simulator
