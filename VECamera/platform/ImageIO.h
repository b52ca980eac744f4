#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/CoreGraphics.h"
#include "VECamera/platform/Value.h"

namespace vecamera {

// Keys of image properties, with the platform's own values.
inline constexpr std::string_view kCGImagePropertyExifDictionary = "{Exif}";
inline constexpr std::string_view kCGImagePropertyTIFFDictionary = "{TIFF}";
inline constexpr std::string_view kCGImagePropertyGPSDictionary = "{GPS}";
inline constexpr std::string_view kCGImagePropertyOrientation = "Orientation";
inline constexpr std::string_view kCGImagePropertyPixelWidth = "PixelWidth";
inline constexpr std::string_view kCGImagePropertyPixelHeight = "PixelHeight";
inline constexpr std::string_view kCGImagePropertyGPSLatitudeRef = "LatitudeRef";
inline constexpr std::string_view kCGImagePropertyGPSLatitude = "Latitude";
inline constexpr std::string_view kCGImagePropertyGPSLongitudeRef = "LongitudeRef";
inline constexpr std::string_view kCGImagePropertyGPSLongitude = "Longitude";
inline constexpr std::string_view kCGImagePropertyGPSAltitudeRef = "AltitudeRef";
inline constexpr std::string_view kCGImagePropertyGPSAltitude = "Altitude";
inline constexpr std::string_view kCGImagePropertyGPSTimeStamp = "TimeStamp";
inline constexpr std::string_view kCGImagePropertyGPSDateStamp = "DateStamp";

/// Encoded picture bytes, opened for reading. Used on one executor at a time.
class CGImageSource {
 public:
  virtual ~CGImageSource() = default;
  /// The uniform type identifier of the bytes, for example "public.jpeg", or nothing where they are
  /// no known picture.
  virtual std::optional<std::string> type() const = 0;
};

/// Encodes pictures with properties into a buffer. Used on one executor at a time.
class CGImageDestination {
 public:
  virtual ~CGImageDestination() = default;
  virtual void addImage(const std::shared_ptr<const CGImage>& image,
                        const Dictionary& properties) = 0;
  /// Encodes what was added and replaces the buffer by it. False where it cannot; once only. The
  /// encoding may be put off until `data` asks for it, because the module drops what it merges.
  virtual bool finalize() = 0;
  /// The buffer: the bytes given at the start until `finalize` has replaced them, and also where
  /// an encoding that was put off fails.
  virtual Data data() const = 0;
};

/// Reading and writing of pictures with their metadata. Any executor.
class ImageIO {
 public:
  virtual ~ImageIO() = default;
  /// Null where no source can be made of the bytes.
  virtual std::unique_ptr<CGImageSource> CGImageSourceCreateWithData(const Data& data) = 0;
  /// A destination for `count` pictures of the type, over a mutable copy of `data`; null where the
  /// type cannot be written.
  virtual std::unique_ptr<CGImageDestination> CGImageDestinationCreateWithData(
      const Data& data, std::string_view type, std::size_t count) = 0;
  /// The properties of a `CIImage` made of the bytes: all metadata that they carry. Nothing where
  /// they are no picture.
  virtual std::optional<Dictionary> CIImageProperties(const Data& data) = 0;
};

}  // namespace vecamera
