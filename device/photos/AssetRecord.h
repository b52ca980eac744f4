#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"

namespace vecamera::device::photos {

/// One asset as the library lists it.
struct AssetRecord {
  std::string identifier;
  /// What it is; the values are those of its one resource.
  PHAssetResourceType type = PHAssetResourceType::photo;
  std::string uti;
  std::string extension;
  std::uint64_t byteCount = 0;
  /// In pixels, as displayed.
  int width = 0;
  int height = 0;
  CGImagePropertyOrientation orientation = 1;
  Date created;
  std::optional<double> durationSeconds;
  /// Grows from asset to asset; never used again, also not after a removal.
  std::int64_t sequence = 0;
};

/// The format's everyday name: "jpeg" for "jpg", otherwise the extension.
inline std::string formatName(const AssetRecord& record) {
  return record.extension == "jpg" ? "jpeg" : record.extension;
}

}  // namespace vecamera::device::photos
