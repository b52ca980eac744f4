#include "device/camera/TestScene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "VECamera/platform/ImageIO.h"
#include "device/imaging/base/Bitmap.h"
#include "device/imaging/base/Orientation.h"
#include "device/imaging/jpeg/JpegCodec.h"
#include "device/imaging/metadata/Metadata.h"

namespace vecamera::device::camera {
namespace {

/// Components from 0 to 1, as they are stored.
struct Color {
  float red = 0;
  float green = 0;
  float blue = 0;
};

float lerp(float a, float b, float share) {
  return a + (b - a) * share;
}

Color lerp(const Color& a, const Color& b, float share) {
  return {lerp(a.red, b.red, share), lerp(a.green, b.green, share), lerp(a.blue, b.blue, share)};
}

float smooth(float t) {
  return t * t * (3 - 2 * t);
}

float smoothBetween(float low, float high, float at) {
  return smooth(std::clamp((at - low) / (high - low), 0.0f, 1.0f));
}

/// From 0 to 1, the same for the same lattice point on every machine.
float hashed(std::int32_t x, std::int32_t y, std::uint32_t seed) {
  std::uint32_t h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^
                    static_cast<std::uint32_t>(y) * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  h = (h ^ h >> 12) * 0x297A2D39u;
  h ^= h >> 15;
  constexpr float range = 1 << 24;
  return static_cast<float>(h >> 8) / range;
}

float noise(float x, float y, std::uint32_t seed) {
  const float left = std::floor(x);
  const float top = std::floor(y);
  const auto i = static_cast<std::int32_t>(left);
  const auto j = static_cast<std::int32_t>(top);
  const float across = smooth(x - left);
  const float down = smooth(y - top);
  return lerp(lerp(hashed(i, j, seed), hashed(i + 1, j, seed), across),
              lerp(hashed(i, j + 1, seed), hashed(i + 1, j + 1, seed), across), down);
}

float layeredNoise(float x, float y, std::uint32_t seed, int layers) {
  float sum = 0;
  float weight = 0.5f;
  for (int layer = 0; layer < layers; ++layer, weight *= 0.5f, x *= 2, y *= 2)
    sum += weight * noise(x, y, seed + static_cast<std::uint32_t>(layer));
  return sum;
}

struct Palette {
  Color zenith;
  Color horizon;
  Color sun;
  Color farHill;
  Color meadow;
};

constexpr std::array<Palette, 3> palettes{{
    {{0.16f, 0.42f, 0.78f},
     {0.80f, 0.90f, 0.97f},
     {1.00f, 0.97f, 0.84f},
     {0.56f, 0.68f, 0.80f},
     {0.24f, 0.44f, 0.16f}},
    {{0.16f, 0.18f, 0.42f},
     {0.98f, 0.66f, 0.42f},
     {1.00f, 0.86f, 0.56f},
     {0.54f, 0.42f, 0.54f},
     {0.16f, 0.22f, 0.16f}},
    {{0.36f, 0.52f, 0.76f},
     {0.98f, 0.86f, 0.80f},
     {1.00f, 0.94f, 0.78f},
     {0.66f, 0.68f, 0.78f},
     {0.30f, 0.42f, 0.22f}},
}};

constexpr std::size_t hillCount = 4;

/// The scene upright, in units of its shorter side: x runs right, y runs down, from 0.
class Scene {
 public:
  Scene(std::size_t width, std::size_t height, std::uint32_t seed)
      : seed_(seed),
        palette_(palettes[seed % palettes.size()]),
        unit_(static_cast<float>(std::min(width, height))),
        width_(static_cast<float>(width) / unit_),
        height_(static_cast<float>(height) / unit_),
        sunX_(width_ * lerp(0.55f, 0.8f, hashed(1, 1, seed))),
        sunY_(height_ * lerp(0.14f, 0.24f, hashed(2, 1, seed))) {
    for (std::size_t hill = 0; hill < hillCount; ++hill)
      for (std::size_t column = 0; column < width; ++column)
        ridges_[hill].push_back(ridge(hill, static_cast<float>(column) / unit_));
  }

  Color at(std::size_t column, std::size_t row) const {
    const float x = (static_cast<float>(column) + 0.5f) / unit_;
    const float y = (static_cast<float>(row) + 0.5f) / unit_;
    Color color = y < ridges_[0][column] + 1 / unit_ ? sky(x, y) : Color{};
    for (std::size_t hill = 0; hill < hillCount; ++hill) {
      const float inside = edge(y - ridges_[hill][column]);
      if (inside > 0) color = lerp(color, land(hill, x, y), inside);
    }
    return grained(arrow(chart(color, x, y), x, y), column, row);
  }

 private:
  /// From 0 to 1 across one pixel where the distance passes 0.
  float edge(float distance) const { return std::clamp(distance * unit_ + 0.5f, 0.0f, 1.0f); }

  float ridge(std::size_t hill, float x) const {
    const auto depth = static_cast<float>(hill);
    const float roughness = 1.6f + 1.1f * (static_cast<float>(hillCount) - depth);
    const float level = lerp(0.46f, 0.80f, depth / (hillCount - 1));
    const float swing = 0.22f - 0.035f * depth;
    const int layers = hill == 0 ? 6 : 4;
    return height_ *
           (level - swing * (layeredNoise(x * roughness + 7 * depth, depth, seed_, layers) - 0.5f));
  }

  Color sky(float x, float y) const {
    Color color = lerp(palette_.zenith, palette_.horizon, smoothBetween(0, 0.62f * height_, y));
    const float dx = x - sunX_;
    const float dy = y - sunY_;
    const float distance = std::sqrt(dx * dx + dy * dy);
    const float glow = 0.012f / (0.02f + distance * distance);
    color = lerp(color, palette_.sun, std::min(glow, 0.7f));
    const float cloud = layeredNoise(x * 2.2f, y * 6.0f, seed_ + 40, 5);
    const float cover = 0.75f * smoothBetween(0.50f, 0.72f, cloud);
    color = lerp(color, lerp(palette_.horizon, Color{1, 1, 1}, 0.6f), cover);
    constexpr float sunRadius = 0.055f;
    return lerp(color, lerp(palette_.sun, Color{1, 1, 1}, 0.5f), edge(sunRadius - distance));
  }

  Color land(std::size_t hill, float x, float y) const {
    const float nearness = static_cast<float>(hill) / (hillCount - 1);
    const Color base = lerp(palette_.farHill, palette_.meadow, nearness);
    const float grain = 10 + 60 * nearness;
    const float light = 0.82f + 0.36f * layeredNoise(x * grain, y * grain * 1.7f, seed_ + 90, 3);
    return {base.red * light, base.green * light, base.blue * light};
  }

  Color chart(const Color& under, float x, float y) const {
    constexpr std::size_t columns = 4;
    constexpr std::size_t rows = 2;
    constexpr float patch = 0.07f;
    constexpr float frame = 0.012f;
    constexpr float margin = 0.06f;
    constexpr Color patches[columns * rows] = {
        {0.86f, 0.12f, 0.14f}, {0.16f, 0.62f, 0.24f}, {0.14f, 0.28f, 0.78f}, {0.98f, 0.84f, 0.10f},
        {0.05f, 0.05f, 0.05f}, {0.35f, 0.35f, 0.35f}, {0.68f, 0.68f, 0.68f}, {0.97f, 0.97f, 0.97f}};
    const float left = x - (width_ - margin - columns * patch);
    const float top = y - (height_ - margin - rows * patch);
    if (left < -frame || top < -frame || left >= columns * patch + frame ||
        top >= rows * patch + frame)
      return under;
    const float column = std::floor(left / patch);
    const float row = std::floor(top / patch);
    if (column < 0 || row < 0 || column >= columns || row >= rows) return {0.09f, 0.09f, 0.10f};
    return patches[static_cast<std::size_t>(row) * columns + static_cast<std::size_t>(column)];
  }

  /// A white arrow that points up, on a dark disc.
  Color arrow(const Color& under, float x, float y) const {
    constexpr float radius = 0.10f;
    constexpr float margin = 0.05f;
    const float dx = std::abs(x - (margin + radius)) / radius;
    const float dy = (y - (height_ - margin - radius)) / radius;
    const float disc = edge((1 - std::sqrt(dx * dx + dy * dy)) * radius);
    if (disc <= 0) return under;
    const float head = std::min(0.75f * (dy + 0.75f) - dx, 0.05f - dy);
    const float stem = std::min(0.18f - dx, std::min(0.70f - dy, dy));
    const float sign = edge(std::max(head, stem) * radius);
    return lerp(lerp(under, Color{0.08f, 0.10f, 0.14f}, 0.8f * disc), Color{1, 1, 1}, sign);
  }

  /// The grain of a sensor, without which the picture would compress as no photograph does.
  Color grained(const Color& clean, std::size_t column, std::size_t row) const {
    constexpr float strength = 0.035f;
    const float grain = strength * (hashed(static_cast<std::int32_t>(column),
                                           static_cast<std::int32_t>(row), seed_ + 200) -
                                    0.5f);
    return {clean.red + grain, clean.green + grain, clean.blue + grain};
  }

  std::uint32_t seed_;
  const Palette& palette_;
  float unit_;
  float width_;
  float height_;
  float sunX_;
  float sunY_;
  /// The height of each hill's top above every column.
  std::array<std::vector<float>, hillCount> ridges_;
};

std::uint8_t asByte(float component) {
  return static_cast<std::uint8_t>(std::clamp(component, 0.0f, 1.0f) * 255 + 0.5f);
}

imaging::ImageResult<imaging::Bitmap> painted(std::size_t width, std::size_t height,
                                              std::uint32_t seed) {
  auto bitmap = imaging::Bitmap::uninitialized(width, height);
  if (!bitmap) return bitmap;
  const Scene scene(width, height, seed);
  for (std::size_t y = 0; y < height; ++y) {
    std::uint8_t* pixel = bitmap->bytesOfRow(y);
    for (std::size_t x = 0; x < width; ++x, pixel += 4) {
      const Color color = scene.at(x, y);
      pixel[0] = asByte(color.red);
      pixel[1] = asByte(color.green);
      pixel[2] = asByte(color.blue);
      pixel[3] = 255;
    }
  }
  bitmap->setKnownOpaque(true);
  return bitmap;
}

Dictionary cameraMetadata(std::size_t width, std::size_t height, UIImageOrientation orientation) {
  const Dictionary tiff{{"Make", "VECamera"}, {"Model", "Software camera"}};
  const Dictionary exif{
      {"ExifVersion", Array{2, 3, 2}},
      {"ExposureTime", 1.0 / 120},
      {"FNumber", 1.8},
      {"ExposureProgram", 2},
      {"ISOSpeedRatings", Array{64}},
      {"ShutterSpeedValue", 6.907},
      {"ApertureValue", 1.696},
      {"MeteringMode", 5},
      {"Flash", 16},
      {"FocalLength", 4.2},
      {"FocalLenIn35mmFilm", 26},
      {"ColorSpace", 1},
      {"PixelXDimension", static_cast<std::int64_t>(width)},
      {"PixelYDimension", static_cast<std::int64_t>(height)},
      {"LensMake", "VECamera"},
      {"LensModel", "Software lens 4.2mm f/1.8"},
      {"LensSpecification", Array{4.2, 4.2, 1.8, 1.8}},
  };
  return {{std::string(kCGImagePropertyOrientation), imaging::exifOrientation(orientation)},
          {"DPIWidth", 72.0},
          {"DPIHeight", 72.0},
          {std::string(kCGImagePropertyTIFFDictionary), tiff},
          {std::string(kCGImagePropertyExifDictionary), exif}};
}

}  // namespace

Result<Data, TestSceneError> generateTestScene(std::size_t width, std::size_t height,
                                               UIImageOrientation storedOrientation,
                                               std::uint32_t seed, const Dictionary& metadata) {
  constexpr std::size_t maxSide = 65500;
  constexpr int quality = 92;
  if (width == 0 || height == 0 || width > maxSide || height > maxSide)
    return Failure(TestSceneError::invalidSize);
  const imaging::Orientation upright = imaging::orientationFor(storedOrientation);
  const auto shown = imaging::sidesOf(upright, imaging::PixelSize{width, height});
  auto scene = painted(shown.width, shown.height, seed);
  if (scene) scene = imaging::oriented(std::move(*scene), imaging::inverse(upright));
  if (!scene) return Failure(TestSceneError::notEncoded);
  auto jpeg = imaging::encodeJpegBitmap(*scene, quality, {});
  if (!jpeg) return Failure(TestSceneError::notEncoded);
  const auto taken = imaging::writeProperties(Data(std::move(*jpeg)),
                                              cameraMetadata(width, height, storedOrientation));
  if (!taken) return Failure(TestSceneError::notEncoded);
  auto complete = imaging::writeProperties(*taken, metadata);
  if (!complete) return Failure(TestSceneError::notEncoded);
  return *std::move(complete);
}

}  // namespace vecamera::device::camera
