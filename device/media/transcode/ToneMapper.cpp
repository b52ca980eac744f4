#include "device/media/transcode/ToneMapper.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace vecamera::device::media {
namespace {

constexpr int unusedBits = 4;
constexpr std::size_t lightSteps = 65536 >> unusedBits;
constexpr float maxCode = 65535;
/// Reference white and the largest light that still differs, in candela a square metre
/// (ITU-R BT.2408).
constexpr double white = 203;
constexpr double peak = 1000;

/// The perceptual quantizer (ITU-R BT.2100, table 4).
double lightOfPq(double code) {
  constexpr double m1 = 2610.0 / 16384;
  constexpr double m2 = 2523.0 / 4096 * 128;
  constexpr double c1 = 3424.0 / 4096;
  constexpr double c2 = 2413.0 / 4096 * 32;
  constexpr double c3 = 2392.0 / 4096 * 32;
  const double power = std::pow(code, 1 / m2);
  return 10000 * std::pow(std::max(power - c1, 0.0) / (c2 - c3 * power), 1 / m1);
}

/// Hybrid log-gamma (ITU-R BT.2100, table 5) on a display of the peak, each component by itself.
double lightOfHlg(double code) {
  constexpr double a = 0.17883277;
  constexpr double b = 1 - 4 * a;
  constexpr double systemGamma = 1.2;
  const double c = 0.5 - a * std::log(4 * a);
  const double scene = code <= 0.5 ? code * code / 3 : (std::exp((code - c) / a) + b) / 12;
  return peak * std::pow(scene, systemGamma);
}

/// What becomes of the largest component of a pixel, beyond the knee; 1 at the peak.
float compressHighlight(float light) {
  constexpr float knee = 0.6f;
  constexpr float reach = 1 - knee;
  constexpr float end = (static_cast<float>(peak / white) - knee) / reach;
  if (light <= knee) return light;
  const float over = (light - knee) / reach;
  return std::min(1.0f, knee + reach * over * (1 + over / (end * end)) / (1 + over));
}

}  // namespace

bool isHdr(AVColorTransferCharacteristic transfer) {
  return transfer == AVCOL_TRC_SMPTE2084 || transfer == AVCOL_TRC_ARIB_STD_B67;
}

MediaResult<void> ToneMapper::prepare(const AVFrame& source) {
  const FrameFormat format(source);
  if (scaler_ && format == format_) return {};
  format_ = format;
  const Size& whole = format.size;
  const Size max = encodableSize(whole);
  // A side that is only odd stays so here.
  const bool isTooLarge = max.width + 1 < whole.width || max.height + 1 < whole.height;
  const Size size = isTooLarge ? max : whole;
  scaler_.reset();
  if (auto done = allocatePixels(*mapped_, AV_PIX_FMT_RGB48, size); !done) return done;
  auto scaler = makeScaler(format, whole, size, AV_PIX_FMT_RGB48);
  if (!scaler) return std::move(scaler).failure();
  scaler_ = std::move(*scaler);
  light_.resize(lightSteps);
  for (std::size_t i = 0; i < lightSteps; ++i) {
    const double code = static_cast<double>(i) / (lightSteps - 1);
    const double light =
        format.transfer == AVCOL_TRC_SMPTE2084 ? lightOfPq(code) : lightOfHlg(code);
    light_[i] = static_cast<float>(light / white);
  }
  codes_.resize(65536);
  // The transfer function of displays (ITU-R BT.1886).
  for (std::size_t i = 0; i < codes_.size(); ++i)
    codes_[i] = static_cast<std::uint16_t>(
        std::lround(maxCode * std::pow(static_cast<double>(i) / maxCode, 1 / 2.4)));
  return {};
}

MediaResult<AVFrame*> ToneMapper::map(AVFrame& source) {
  if (!isHdr(source.color_trc)) return &source;
  if (auto done = prepare(source); !done) return std::move(done).failure();
  if (auto done = scale(scaler_, source, source.height, mapped_->data, mapped_->linesize); !done)
    return std::move(done).failure();
  // From the primaries of BT.2020 to those of BT.709 (ITU-R BT.2087).
  constexpr float matrix[3][3] = {
      {1.6605f, -0.5876f, -0.0728f}, {-0.1246f, 1.1329f, -0.0083f}, {-0.0182f, -0.1006f, 1.1187f}};
  for (int y = 0; y < mapped_->height; ++y) {
    auto* pixel = reinterpret_cast<std::uint16_t*>(mapped_->data[0] + y * mapped_->linesize[0]);
    for (int x = 0; x < mapped_->width; ++x, pixel += 3) {
      std::array<float, 3> from;
      for (std::size_t i = 0; i < 3; ++i) from[i] = light_[pixel[i] >> unusedBits];
      std::array<float, 3> to;
      for (std::size_t i = 0; i < 3; ++i)
        to[i] = std::max(0.0f,
                         matrix[i][0] * from[0] + matrix[i][1] * from[1] + matrix[i][2] * from[2]);
      const float largest = std::max({to[0], to[1], to[2]});
      // One factor for all three keeps the hue.
      const float factor = largest > 0 ? compressHighlight(largest) / largest * maxCode : 0;
      for (std::size_t i = 0; i < 3; ++i)
        pixel[i] = codes_[static_cast<std::size_t>(std::min(to[i] * factor, maxCode))];
    }
  }
  return mapped_.get();
}

}  // namespace vecamera::device::media
