#include "device/script/assembly/Samples.h"

#include <filesystem>

namespace vecamera::device::script {

std::string samplesFolder() {
  std::error_code ignored;
  const std::filesystem::path source = VECAMERA_SOURCE_SAMPLES;
  if (std::filesystem::is_directory(source, ignored)) return source.string();
  return VECAMERA_INSTALLED_SAMPLES;
}

}  // namespace vecamera::device::script
