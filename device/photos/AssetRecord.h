#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"

namespace vecamera::device::photos {

/// What an asset's bytes say about it.
struct AssetFormat {
  /// Lower case, without a dot, as in `PictureFormat` and `MovieFormat`.
  std::string fileExtension;
  /// The uniform type identifier, for example "public.jpeg".
  std::string typeIdentifier;
  /// In pixels, as displayed: with the orientation applied.
  int width = 0;
  int height = 0;
  CGImagePropertyOrientation orientation = 1;
  /// Of a movie, where its file has one.
  std::optional<double> durationSeconds;
};

/// One asset as the library lists it.
struct AssetRecord : AssetFormat {
  std::string identifier;
  /// What it is; the values are those of its one resource.
  PHAssetResourceType type = PHAssetResourceType::photo;
  std::uint64_t byteCount = 0;
  Date created;
  /// Grows from asset to asset; never used again, also not after a removal.
  std::int64_t sequence = 0;
};

/// The format's everyday name: "jpeg" for "jpg", otherwise the file extension.
inline std::string formatName(const AssetRecord& record) {
  return record.fileExtension == "jpg" ? "jpeg" : record.fileExtension;
}

}  // namespace vecamera::device::photos
