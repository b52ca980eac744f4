#include "device/media/ToneMapper.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "device/media/FrameFitter.h"

namespace vecamera::device::media {
namespace {

constexpr int unusedBits = 4;
constexpr std::size_t lightSteps = 65536 >> unusedBits;
constexpr float maxCode = 65535;
/// Reference white and the brightest light that still differs, in candela a square metre
/// (ITU-R BT.2408).
constexpr double white = 203;
constexpr double peak = 1000;

/// ITU-R BT.2100, table 4.
double lightOfQuantizer(double code) {
  constexpr double m1 = 2610.0 / 16384;
  constexpr double m2 = 2523.0 / 4096 * 128;
  constexpr double c1 = 3424.0 / 4096;
  constexpr double c2 = 2413.0 / 4096 * 32;
  constexpr double c3 = 2392.0 / 4096 * 32;
  const double power = std::pow(code, 1 / m2);
  return 10000 * std::pow(std::max(power - c1, 0.0) / (c2 - c3 * power), 1 / m1);
}

/// ITU-R BT.2100, table 5, on a screen of the peak, each colour on its own.
double lightOfHybrid(double code) {
  constexpr double a = 0.17883277;
  constexpr double b = 1 - 4 * a;
  constexpr double systemGamma = 1.2;
  const double c = 0.5 - a * std::log(4 * a);
  const double scene = code <= 0.5 ? code * code / 3 : (std::exp((code - c) / a) + b) / 12;
  return peak * std::pow(scene, systemGamma);
}

/// How the brightest colour of a pixel, beyond the knee, changes; 1 at the peak.
float pressed(float light) {
  constexpr float knee = 0.6f;
  constexpr float reach = 1 - knee;
  constexpr float end = (static_cast<float>(peak / white) - knee) / reach;
  if (light <= knee) return light;
  const float over = (light - knee) / reach;
  return std::min(1.0f, knee + reach * over * (1 + over / (end * end)) / (1 + over));
}

}  // namespace

bool isHighRange(AVColorTransferCharacteristic transfer) {
  return transfer == AVCOL_TRC_SMPTE2084 || transfer == AVCOL_TRC_ARIB_STD_B67;
}

bool ToneMapper::prepare(const AVFrame& source) {
  if (scaler_ && width_ == source.width && height_ == source.height && format_ == source.format &&
      transfer_ == source.color_trc && range_ == source.color_range && space_ == source.colorspace)
    return av_frame_make_writable(mapped_.get()) >= 0;
  width_ = source.width;
  height_ = source.height;
  format_ = source.format;
  transfer_ = source.color_trc;
  range_ = source.color_range;
  space_ = source.colorspace;
  const Size whole{source.width, source.height};
  const Size most = encodableSize(whole);
  // A side that is only odd stays so here.
  const bool isTooLarge = most.width + 1 < whole.width || most.height + 1 < whole.height;
  const Size size = isTooLarge ? most : whole;
  scaler_ = makeScaler(source, whole, size, AV_PIX_FMT_RGB48);
  mapped_.reset(av_frame_alloc());
  if (!scaler_ || !mapped_) return false;
  mapped_->format = AV_PIX_FMT_RGB48;
  mapped_->width = size.width;
  mapped_->height = size.height;
  if (av_frame_get_buffer(mapped_.get(), 0) < 0) {
    scaler_.reset();
    return false;
  }
  light_.resize(lightSteps);
  for (std::size_t i = 0; i < lightSteps; ++i) {
    const double code = static_cast<double>(i) / (lightSteps - 1);
    const double light =
        transfer_ == AVCOL_TRC_SMPTE2084 ? lightOfQuantizer(code) : lightOfHybrid(code);
    light_[i] = static_cast<float>(light / white);
  }
  codes_.resize(65536);
  // The screens' own curve (ITU-R BT.1886).
  for (std::size_t i = 0; i < codes_.size(); ++i)
    codes_[i] = static_cast<std::uint16_t>(
        std::lround(maxCode * std::pow(static_cast<double>(i) / maxCode, 1 / 2.4)));
  return true;
}

AVFrame* ToneMapper::map(const AVFrame& source) {
  if (!prepare(source) || sws_scale(scaler_.get(), source.data, source.linesize, 0, source.height,
                                    mapped_->data, mapped_->linesize) <= 0)
    return nullptr;
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
      const float brightest = std::max({to[0], to[1], to[2]});
      // One share for all three keeps the hue.
      const float share = brightest > 0 ? pressed(brightest) / brightest * maxCode : 0;
      for (std::size_t i = 0; i < 3; ++i)
        pixel[i] = codes_[static_cast<std::size_t>(std::min(to[i] * share, maxCode))];
    }
  }
  return mapped_.get();
}

}  // namespace vecamera::device::media
