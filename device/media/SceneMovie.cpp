#include "device/media/SceneMovie.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <memory>
#include <numbers>
#include <variant>
#include <vector>

#include "device/imaging/base/Orientation.h"
#include "device/media/FrameFitter.h"
#include "device/media/MovieOutput.h"
#include "device/media/SoundFrames.h"

namespace vecamera::device::media {
namespace {

constexpr int soundRate = 44100;
/// How long the flash and the beep at the start of each second last.
constexpr double flashSeconds = 0.1;

struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
};

Color mix(const Color& a, const Color& b, double share) {
  const auto part = [share](std::uint8_t from, std::uint8_t to) {
    return static_cast<std::uint8_t>(std::lround(from + (to - from) * share));
  };
  return {part(a.red, b.red), part(a.green, b.green), part(a.blue, b.blue)};
}

struct Palette {
  Color zenith;
  Color horizon;
  Color sun;
  Color farHill;
  Color nearHill;
};

constexpr std::array<Palette, 3> palettes{{
    {{46, 110, 196}, {204, 228, 246}, {255, 244, 200}, {120, 148, 160}, {62, 116, 46}},
    {{38, 40, 96}, {250, 168, 108}, {255, 214, 120}, {124, 96, 124}, {40, 56, 44}},
    {{88, 132, 190}, {250, 220, 204}, {255, 236, 190}, {150, 156, 180}, {78, 108, 60}},
}};
constexpr Color white{250, 250, 250};
constexpr Color dark{22, 24, 30};

float toneAt(double seconds) {
  const bool beeps = seconds - std::floor(seconds) < flashSeconds;
  const double frequency = beeps ? 1000 : 440;
  const double loudness = beeps ? 0.4 : 0.1;
  return static_cast<float>(loudness * std::sin(2 * std::numbers::pi * frequency * seconds));
}

/// Paints upright pictures of the scene.
class ScenePainter {
 public:
  ScenePainter(Size size, std::uint32_t seed)
      : size_(size),
        unit_(std::min(size.width, size.height)),
        seed_(seed),
        palette_(palettes[seed % palettes.size()]) {
    for (int y = 0; y < size.height; ++y)
      sky_.push_back(mix(palette_.zenith, palette_.horizon,
                         std::min(1.0, 1.6 * y / static_cast<double>(size.height))));
  }

  /// The picture at a time of a movie of some length, into a frame of three bytes a pixel.
  void paint(AVFrame& frame, double seconds, double length) {
    frame_ = &frame;
    paintLand(seconds);
    const double day = length > 0 ? seconds / length : 0;
    paintSun(day);
    paintChart();
    paintArrow();
    paintClock(seconds);
    if (seconds - std::floor(seconds) < flashSeconds)
      fill(size_.width / 2 - unit_ / 10, unit_ / 20, unit_ / 5, unit_ / 10, white);
  }

 private:
  std::uint8_t* row(int y) {
    return frame_->data[0] + static_cast<std::ptrdiff_t>(y) * frame_->linesize[0];
  }
  void put(int x, int y, const Color& color) {
    if (x < 0 || y < 0 || x >= size_.width || y >= size_.height) return;
    std::uint8_t* const at = row(y) + static_cast<std::ptrdiff_t>(x) * 3;
    at[0] = color.red;
    at[1] = color.green;
    at[2] = color.blue;
  }
  void fill(int left, int top, int width, int height, const Color& color) {
    for (int y = top; y < top + height; ++y) {
      for (int x = left; x < left + width; ++x) put(x, y, color);
    }
  }
  void disc(double centerX, double centerY, double radius, const Color& color) {
    const int bottom = static_cast<int>(centerY + radius) + 1;
    const int right = static_cast<int>(centerX + radius) + 1;
    for (int y = static_cast<int>(centerY - radius); y <= bottom; ++y) {
      for (int x = static_cast<int>(centerX - radius); x <= right; ++x) {
        if (std::hypot(x + 0.5 - centerX, y + 0.5 - centerY) <= radius) put(x, y, color);
      }
    }
  }

  /// The height of a hill's top in shorter sides over its mean, waves that the seed shifts.
  double wave(double x) const {
    const double shift = seed_ % 997;
    return 0.09 * std::sin(x * 2.1 + shift) + 0.05 * std::sin(x * 4.7 + 2 * shift) +
           0.02 * std::sin(x * 11.3 + 3 * shift);
  }

  void paintLand(double seconds) {
    farTops_.clear();
    nearTops_.clear();
    for (int x = 0; x < size_.width; ++x) {
      const double across = x / static_cast<double>(unit_);
      farTops_.push_back(
          static_cast<int>(0.55 * size_.height - unit_ * wave(across + 0.15 * seconds)));
      nearTops_.push_back(static_cast<int>(0.75 * size_.height -
                                           0.8 * unit_ * wave(0.8 * across + 9 + 0.5 * seconds)));
    }
    for (int y = 0; y < size_.height; ++y) {
      const Color& sky = sky_[static_cast<std::size_t>(y)];
      std::uint8_t* at = row(y);
      for (std::size_t x = 0; x < farTops_.size(); ++x, at += 3) {
        const Color& color = y >= nearTops_[x]  ? palette_.nearHill
                             : y >= farTops_[x] ? palette_.farHill
                                                : sky;
        at[0] = color.red;
        at[1] = color.green;
        at[2] = color.blue;
      }
    }
  }

  void paintSun(double day) {
    const double x = size_.width * (0.15 + 0.7 * day);
    const double y = size_.height * (0.32 - 0.14 * std::sin(day * std::numbers::pi));
    disc(x, y, 0.055 * unit_, palette_.sun);
  }

  void paintChart() {
    constexpr std::array<Color, 8> patches{{{219, 31, 36},
                                            {41, 158, 61},
                                            {36, 71, 199},
                                            {250, 214, 26},
                                            {13, 13, 13},
                                            {89, 89, 89},
                                            {173, 173, 173},
                                            {247, 247, 247}}};
    const int patch = std::max(1, unit_ * 7 / 100);
    const int frame = std::max(1, unit_ / 80);
    const int left = size_.width - unit_ / 16 - 4 * patch;
    const int top = size_.height - unit_ / 16 - 2 * patch;
    fill(left - frame, top - frame, 4 * patch + 2 * frame, 2 * patch + 2 * frame, dark);
    for (int i = 0; i < 8; ++i)
      fill(left + i % 4 * patch, top + i / 4 * patch, patch, patch,
           patches[static_cast<std::size_t>(i)]);
  }

  /// White, on a dark disc, pointing up.
  void paintArrow() {
    const int radius = unit_ / 10;
    const int x = unit_ / 20 + radius;
    const int y = size_.height - unit_ / 20 - radius;
    disc(x, y, radius, dark);
    const int head = radius * 7 / 10;
    for (int row = 0; row < head; ++row) fill(x - row / 2, y - head + row, row | 1, 1, white);
    fill(x - radius / 6, y, radius / 3, radius * 6 / 10, white);
  }

  /// One turn of the hand is a second, which tells a dropped picture from a still one.
  void paintClock(double seconds) {
    const double radius = unit_ / 8.0;
    const double x = unit_ / 20.0 + radius;
    const double y = unit_ / 20.0 + radius;
    disc(x, y, radius, dark);
    disc(x, y, radius * 0.9, white);
    const double angle = 2 * std::numbers::pi * seconds;
    for (double along = 0; along < 0.8; along += 0.5 / radius)
      disc(x + along * radius * std::sin(angle), y - along * radius * std::cos(angle),
           std::max(0.8, radius * 0.06), dark);
  }

  const Size size_;
  const int unit_;
  const std::uint32_t seed_;
  const Palette& palette_;
  std::vector<Color> sky_;
  /// Where each hill begins in every column of the picture.
  std::vector<int> farTops_;
  std::vector<int> nearTops_;
  AVFrame* frame_ = nullptr;
};

imaging::Orientation turnForDegrees(int degrees) {
  switch (degrees) {
    case 90: return {true, true, false};
    case 180: return {false, true, true};
    case 270: return {true, false, true};
    default: return {};
  }
}

/// The matrix that shows a stored picture of the size as the turn does.
bool setRotation(AVStream& track, const imaging::Orientation& turn, Size stored) {
  auto* const matrix = reinterpret_cast<std::int32_t*>(
      av_stream_new_side_data(&track, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t)));
  if (!matrix) return false;
  constexpr std::int32_t one = 1 << 16;
  const int shownWidth = turn.swapsAxes ? stored.height : stored.width;
  const int shownHeight = turn.swapsAxes ? stored.width : stored.height;
  std::fill_n(matrix, 9, 0);
  matrix[turn.swapsAxes ? 3 : 0] = turn.mirrorsX ? -one : one;
  matrix[turn.swapsAxes ? 1 : 4] = turn.mirrorsY ? -one : one;
  matrix[6] = turn.mirrorsX ? shownWidth * one : 0;
  matrix[7] = turn.mirrorsY ? shownHeight * one : 0;
  matrix[8] = 1 << 30;
  return true;
}

/// Both tracks, written alternately, so that neither waits long for the other.
class SceneRecorder {
 public:
  explicit SceneRecorder(const SceneMovie& scene)
      : scene_(scene),
        stored_{scene.width, scene.height},
        turn_(turnForDegrees(scene.rotationDegrees)),
        fitter_(turn_.swapsAxes ? Size{scene.height, scene.width} : stored_,
                imaging::inverse(turn_)),
        painter_(turn_.swapsAxes ? Size{scene.height, scene.width} : stored_, scene.seed) {}

  Outcome record(const std::filesystem::path& target, const Cancelled& cancelled);

 private:
  Outcome openTracks();
  Outcome encodePicture(std::int64_t number);
  Outcome encodeSoundUpTo(std::int64_t samples);
  NSError noMemory() const {
    return libraryError(AVERROR(ENOMEM), "The scene cannot be recorded", AVError::unknown);
  }

  const SceneMovie& scene_;
  const Size stored_;
  const imaging::Orientation turn_;
  FrameFitter fitter_;
  ScenePainter painter_;
  std::unique_ptr<MovieOutput> output_;
  std::unique_ptr<EncodedTrack> picture_;
  std::unique_ptr<EncodedTrack> soundTrack_;
  std::optional<SoundFrames> sound_;
  Frame canvas_;
  std::vector<float> tone_;
};

Outcome SceneRecorder::openTracks() {
  Outcome error;
  PictureSettings settings;
  settings.width = stored_.width;
  settings.height = stored_.height;
  settings.rate = {scene_.framesPerSecond, 1};
  settings.space = AVCOL_SPC_SMPTE170M;
  settings.threads = 1;
  settings.preset = "superfast";
  picture_ = addPictureTrack(*output_, settings, error);
  if (!picture_) return error;
  if (turn_ != imaging::Orientation{} && !setRotation(picture_->track(), turn_, stored_))
    return noMemory();
  if (!scene_.hasSound) return std::nullopt;
  soundTrack_ = addSoundTrack(*output_, soundRate, 1, error);
  if (soundTrack_) sound_.emplace(*soundTrack_);
  return error;
}

Outcome SceneRecorder::record(const std::filesystem::path& target, const Cancelled& cancelled) {
  const bool isMpeg4 = target.extension() == ".mp4";
  auto created = MovieOutput::create(target, isMpeg4 ? Container::mpeg4 : Container::quickTime,
                                     IndexPlace::end, {});
  if (auto* error = std::get_if<NSError>(&created)) return std::move(*error);
  output_ = std::move(std::get<0>(created));
  if (auto error = openTracks()) return error;
  if (auto error = output_->begin()) return error;
  const auto pictures =
      std::max<std::int64_t>(1, std::llround(scene_.seconds * scene_.framesPerSecond));
  for (std::int64_t number = 0; number < pictures; ++number) {
    if (cancelled && cancelled())
      return mediaError(AVError::operationCancelled, "The recording of the scene was cancelled.");
    if (auto error = encodePicture(number)) return error;
    const std::int64_t samples = (number + 1) * soundRate / scene_.framesPerSecond;
    if (auto error = encodeSoundUpTo(samples)) return error;
  }
  if (auto error = picture_->encode(nullptr)) return error;
  if (sound_) {
    if (auto error = sound_->finish()) return error;
  }
  return output_->finish();
}

Outcome SceneRecorder::encodePicture(std::int64_t number) {
  if (!canvas_) {
    canvas_.reset(av_frame_alloc());
    if (!canvas_) return noMemory();
    const Size upright = turn_.swapsAxes ? Size{stored_.height, stored_.width} : stored_;
    canvas_->format = AV_PIX_FMT_RGB24;
    canvas_->width = upright.width;
    canvas_->height = upright.height;
    if (av_frame_get_buffer(canvas_.get(), 0) < 0) return noMemory();
  }
  const std::int64_t ticks = pictureTimeBase.den;
  painter_.paint(*canvas_, static_cast<double>(number) / scene_.framesPerSecond, scene_.seconds);
  AVFrame* const picture = fitter_.fit(*canvas_);
  if (!picture) return noMemory();
  picture->pts = number * ticks / scene_.framesPerSecond;
  picture->pkt_duration = (number + 1) * ticks / scene_.framesPerSecond - picture->pts;
  return picture_->encode(picture);
}

Outcome SceneRecorder::encodeSoundUpTo(std::int64_t samples) {
  if (!sound_) return std::nullopt;
  tone_.clear();
  for (std::int64_t at = sound_->written(); at < samples; ++at)
    tone_.push_back(toneAt(static_cast<double>(at) / soundRate));
  const auto* const plane = reinterpret_cast<const std::uint8_t*>(tone_.data());
  return sound_->write(&plane, static_cast<int>(tone_.size()));
}

bool isPaintable(const SceneMovie& scene) {
  const auto isSide = [](int side) { return side >= 16 && side <= 4096 && side % 2 == 0; };
  const int degrees = scene.rotationDegrees;
  return scene.seconds > 0 && scene.seconds <= 3600 && isSide(scene.width) &&
         isSide(scene.height) && scene.framesPerSecond >= 1 && scene.framesPerSecond <= 120 &&
         degrees >= 0 && degrees <= 270 && degrees % 90 == 0;
}

}  // namespace

std::optional<NSError> generateSceneMovie(const std::filesystem::path& target,
                                          const SceneMovie& scene,
                                          const std::function<bool()>& cancelled) {
  if (!isPaintable(scene))
    return mediaError(AVError::unknown, "There is no scene of this size, length or rotation.");
  try {
    return SceneRecorder(scene).record(target, cancelled);
  } catch (const std::exception& thrown) {
    return mediaError(thrown);
  }
}

}  // namespace vecamera::device::media
