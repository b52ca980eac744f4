#include "device/media/SceneMovie.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <memory>
#include <numbers>
#include <optional>
#include <vector>

#include "device/imaging/base/Orientation.h"
#include "device/media/ffmpeg/EncodedTrack.h"
#include "device/media/transcode/AudioFramer.h"
#include "device/media/transcode/FrameFitter.h"

namespace vecamera::device::media {
namespace {

constexpr int sampleRate = 44100;
/// How long the flash and the beep at the start of each second last.
constexpr double flashSeconds = 0.1;

struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
};

Color lerp(const Color& a, const Color& b, double share) {
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

/// Paints upright frames of the scene.
class ScenePainter {
 public:
  ScenePainter(Size size, std::uint32_t seed)
      : size_(size),
        unit_(std::min(size.width, size.height)),
        seed_(seed),
        palette_(palettes[seed % palettes.size()]) {
    for (int y = 0; y < size.height; ++y)
      sky_.push_back(lerp(palette_.zenith, palette_.horizon,
                          std::min(1.0, 1.6 * y / static_cast<double>(size.height))));
  }

  /// The scene at a time of a movie of some length, into a frame of three bytes a pixel.
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
    constexpr Color patches[] = {{219, 31, 36}, {41, 158, 61}, {36, 71, 199},   {250, 214, 26},
                                 {13, 13, 13},  {89, 89, 89},  {173, 173, 173}, {247, 247, 247}};
    const int patch = std::max(1, unit_ * 7 / 100);
    const int frame = std::max(1, unit_ / 80);
    const int left = size_.width - unit_ / 16 - 4 * patch;
    const int top = size_.height - unit_ / 16 - 2 * patch;
    fill(left - frame, top - frame, 4 * patch + 2 * frame, 2 * patch + 2 * frame, dark);
    for (int i = 0; i < 8; ++i)
      fill(left + i % 4 * patch, top + i / 4 * patch, patch, patch, patches[i]);
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

  /// The hand turns once a second, which sets a dropped frame apart from a still one.
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
  /// Where each hill begins in every column.
  std::vector<int> farTops_;
  std::vector<int> nearTops_;
  AVFrame* frame_ = nullptr;
};

/// Says how stored frames of the size are shown upright.
void setDisplayMatrix(AVStream& track, const imaging::Orientation& orientation, Size stored) {
  auto* const matrix = reinterpret_cast<std::int32_t*>(allocated(
      av_stream_new_side_data(&track, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t))));
  constexpr std::int32_t one = 1 << 16;
  const Size upright = imaging::sidesOf(orientation, stored);
  std::fill_n(matrix, 9, 0);
  matrix[orientation.swapsAxes ? 3 : 0] = orientation.mirrorsX ? -one : one;
  matrix[orientation.swapsAxes ? 1 : 4] = orientation.mirrorsY ? -one : one;
  matrix[6] = orientation.mirrorsX ? upright.width * one : 0;
  matrix[7] = orientation.mirrorsY ? upright.height * one : 0;
  matrix[8] = 1 << 30;
}

/// How a stored frame stands, by the quarter turns that show it upright.
constexpr UIImageOrientation orientations[] = {UIImageOrientation::up, UIImageOrientation::right,
                                               UIImageOrientation::down, UIImageOrientation::left};

/// Both tracks, written alternately, so that neither waits long for the other.
class SceneRecorder {
 public:
  explicit SceneRecorder(const SceneMovie& scene)
      : scene_(scene),
        stored_{scene.width, scene.height},
        orientation_(imaging::orientationFor(orientations[scene.rotationDegrees / 90])),
        fitter_(imaging::sidesOf(orientation_, stored_), imaging::inverse(orientation_)),
        painter_(imaging::sidesOf(orientation_, stored_), scene.seed) {}

  MediaResult<void> record(const std::filesystem::path& target,
                           const CancellationCheck& isCancelled) {
    const auto& format = target.extension() == ".mp4" ? mpeg4Format : quickTimeFormat;
    auto created = MovieOutput::create(target, format, IndexPosition::end, {});
    if (!created) return std::move(created).failure();
    output_ = std::move(*created);
    if (auto done = openTracks(); !done) return done;
    if (auto done = output_->begin(); !done) return done;
    const auto frames =
        std::max<std::int64_t>(1, std::llround(scene_.seconds * scene_.framesPerSecond));
    for (std::int64_t number = 0; number < frames; ++number) {
      if (isCancelled && isCancelled())
        return mediaFailure(AVError::operationCancelled,
                            "The recording of the scene was cancelled.");
      if (auto done = encodeFrame(number); !done) return done;
      const std::int64_t samples = (number + 1) * sampleRate / scene_.framesPerSecond;
      if (auto done = encodeAudioUpTo(samples); !done) return done;
    }
    if (auto done = video_->encode(nullptr); !done) return done;
    if (framer_) {
      if (auto done = framer_->finish(); !done) return done;
    }
    return output_->finish();
  }

 private:
  MediaResult<void> openTracks() {
    VideoSettings settings;
    settings.size = stored_;
    settings.frameRate = {scene_.framesPerSecond, 1};
    settings.space = AVCOL_SPC_SMPTE170M;
    settings.threads = 1;
    settings.preset = "superfast";
    auto video = EncodedTrack::addVideo(*output_, settings);
    if (!video) return std::move(video).failure();
    video_ = std::move(*video);
    if (orientation_ != imaging::Orientation{})
      setDisplayMatrix(video_->track(), orientation_, stored_);
    if (auto done =
            allocatePixels(*canvas_, AV_PIX_FMT_RGB24, imaging::sidesOf(orientation_, stored_));
        !done)
      return done;
    if (!scene_.hasAudio) return {};
    auto audio = EncodedTrack::addAudio(*output_, sampleRate, 1);
    if (!audio) return std::move(audio).failure();
    audio_ = std::move(*audio);
    framer_.emplace(*audio_);
    return {};
  }

  MediaResult<void> encodeFrame(std::int64_t number) {
    const std::int64_t ticks = videoTimeBase.den;
    painter_.paint(*canvas_, static_cast<double>(number) / scene_.framesPerSecond, scene_.seconds);
    auto fitted = fitter_.fit(*canvas_);
    if (!fitted) return std::move(fitted).failure();
    AVFrame& frame = **fitted;
    frame.pts = number * ticks / scene_.framesPerSecond;
    frame.pkt_duration = (number + 1) * ticks / scene_.framesPerSecond - frame.pts;
    return video_->encode(&frame);
  }

  MediaResult<void> encodeAudioUpTo(std::int64_t samples) {
    if (!framer_) return {};
    tone_.clear();
    for (std::int64_t at = framer_->written(); at < samples; ++at)
      tone_.push_back(toneAt(static_cast<double>(at) / sampleRate));
    const auto* const plane = reinterpret_cast<const std::uint8_t*>(tone_.data());
    return framer_->write(&plane, static_cast<int>(tone_.size()));
  }

  const SceneMovie& scene_;
  const Size stored_;
  const imaging::Orientation orientation_;
  FrameFitter fitter_;
  ScenePainter painter_;
  std::unique_ptr<MovieOutput> output_;
  std::unique_ptr<EncodedTrack> video_;
  std::unique_ptr<EncodedTrack> audio_;
  /// Nothing where the scene is silent.
  std::optional<AudioFramer> framer_;
  const Frame canvas_ = newFrame();
  std::vector<float> tone_;
};

bool isPaintable(const SceneMovie& scene) {
  const auto isSide = [](int side) { return side >= 16 && side <= 4096 && side % 2 == 0; };
  const int degrees = scene.rotationDegrees;
  return scene.seconds > 0 && scene.seconds <= 3600 && isSide(scene.width) &&
         isSide(scene.height) && scene.framesPerSecond >= 1 && scene.framesPerSecond <= 120 &&
         degrees >= 0 && degrees <= 270 && degrees % 90 == 0;
}

}  // namespace

MediaResult<void> generateSceneMovie(const std::filesystem::path& target, const SceneMovie& scene,
                                     const CancellationCheck& isCancelled) {
  if (!isPaintable(scene))
    return mediaFailure(AVError::unknown, "There is no scene of this size, length or rotation.");
  try {
    return SceneRecorder(scene).record(target, isCancelled);
  } catch (const std::exception& thrown) {
    return mediaFailure(thrown);
  }
}

}  // namespace vecamera::device::media
