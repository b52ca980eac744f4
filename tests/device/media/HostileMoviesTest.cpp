#include <algorithm>
#include <bit>
#include <random>
#include <tuple>

#include "device/media/MovieExport.h"
#include "device/media/Movies.h"
#include "device/media/base/MediaErrors.h"
#include "tests/device/media/MediaTest.h"

namespace vecamera::device::media {
namespace {

const std::string smallPictures = "-f lavfi -i testsrc2=s=64x48:r=10:d=0.6 ";
const std::string shortTone = "-f lavfi -i sine=d=0.6:r=48000 ";

class HostileMoviesTest : public MediaTest {
 protected:
  std::string sample(const char* name, const std::string& options) const {
    const auto file = make(name, smallPictures + shortTone + options);
    std::string bytes = textOf(read(file));
    std::filesystem::remove(file);
    return bytes;
  }

  /// Gives the clusters of a Matroska recording (RFC 9559, 5.1.3) other times.
  static std::string withClusterTimes(const std::string& bytes,
                                      const std::vector<std::uint64_t>& times) {
    std::string result = bytes;
    std::size_t at = 0;
    for (const std::uint64_t time : times) {
      at = result.find("\x1f\x43\xb6\x75", at);
      if (at == std::string::npos) break;
      at += 4;
      const int sizeBytes = std::countl_zero(static_cast<unsigned char>(result[at])) + 1;
      const std::size_t stamp = at + static_cast<std::size_t>(sizeBytes);
      EXPECT_EQ(result.substr(stamp, 1), "\xe7");
      const std::size_t stampBytes = 2 + (static_cast<std::size_t>(result[stamp + 1]) & 0x7f);
      std::string head("\x01\xff\xff\xff\xff\xff\xff\xff\xe7\x88", 10);
      for (int shift = 56; shift >= 0; shift -= 8) head += static_cast<char>(time >> shift);
      result.replace(at, stamp + stampBytes - at, head);
    }
    return result;
  }

  /// Everything that the device does with a movie from outside. Gives whether it was exported;
  /// else nothing is left of that.
  bool isExported(const std::string& bytes) const {
    write(path("in"), bytes);
    std::ignore = probeMovie(Data::copyOf(bytes));
    std::ignore = posterFrame(path("in"), 32);
    const bool isDone{exportMovie(path("in"), path("out.mp4"), {})};
    EXPECT_EQ(std::filesystem::exists(path("out.mp4")), isDone);
    EXPECT_EQ(names().size(), isDone ? 2 : 1);
    return isDone;
  }
};

TEST_F(HostileMoviesTest, AFileThatEndsBeforeWhatItAnnouncesIsAnError) {
  const std::pair<const char*, std::string> samples[] = {
      {"index last", sample("a.mp4", asPhones)},
      {"index first", sample("b.mov", asPhones + "-movflags faststart")},
      {"fragments", sample("c.mp4", asPhones + "-movflags frag_keyframe+empty_moov")},
      {"segment", sample("d.webm", asVp8 + "-c:a libopus")},
      {"chunks", sample("e.avi", "-c:v mjpeg -c:a pcm_s16le")},
  };
  for (const auto& [name, whole] : samples) {
    EXPECT_TRUE(isExported(whole)) << name;
    std::filesystem::remove(path("out.mp4"));
    // What comes last may only help to find the rest.
    std::size_t end = whole.size();
    if (name == std::string_view("fragments")) end = whole.rfind("mfra") - 4;
    if (name == std::string_view("chunks")) end = whole.rfind("idx1");
    for (std::size_t part = 0; part < 16; ++part)
      EXPECT_FALSE(isExported(whole.substr(0, (end - 1) * part / 15))) << name << " " << part;
  }
}

TEST_F(HostileMoviesTest, APieceOfAHeadAtTheEndIsAnError) {
  const std::string whole = sample("a.mp4", asPhones);
  const std::string head("\0\0\0\1mdat\0\0\0\0\0\0\0\x40", 16);
  for (std::size_t length = 1; length <= head.size(); ++length)
    EXPECT_FALSE(isExported(whole + head.substr(0, length))) << length;
}

TEST_F(HostileMoviesTest, ABroadcastGoesOnBehindWhatItLost) {
  std::string bytes = sample("a.ts", asPhones);
  constexpr std::size_t packet = 188;
  bytes.erase(bytes.size() / packet / 2 * packet, packet);
  ASSERT_TRUE(isExported(bytes));
  const auto probe = probed(path("out.mp4"));
  EXPECT_GE(std::stoi(probe.video.at("nb_read_frames")), 4);
  EXPECT_NEAR(std::stod(probe.audio.at("duration")), 0.6, 0.1);
}

TEST_F(HostileMoviesTest, TimesOutOfAllOrderMakeNoLongMovie) {
  const std::string whole =
      sample("a.webm", asVp8 + "-g 2 -c:a libopus -live 1 -cluster_time_limit 150");
  struct Case {
    const char* name;
    /// Of the clusters, in milliseconds; the others keep theirs.
    std::vector<std::uint64_t> times;
    /// Nothing for a movie that is refused.
    double seconds = 0;
  };
  const Case cases[] = {
      {"as it is", {}, 0.6},
      {"huge", {0, std::uint64_t{1} << 62}},
      {"negative", {0, ~std::uint64_t{0} << 62}, 0.6},
      {"huge from the start", {std::uint64_t{1} << 62, std::uint64_t{1} << 62}},
      {"long silence", {0, 900'000}},
      {"to and fro", {0, 30'000, 300}, 30.2},
  };
  for (const auto& [name, times, seconds] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(isExported(withClusterTimes(whole, times)), seconds > 0);
    if (seconds > 0) {
      EXPECT_NEAR(probed(path("out.mp4")).seconds, seconds, 0.3);
    }
    std::filesystem::remove(path("out.mp4"));
  }
}

TEST_F(HostileMoviesTest, ARecordingThatAnnouncesNothingMayEndAnywhere) {
  const std::string whole = sample("live.webm", asVp8 + "-c:a libopus -live 1");
  double longest = 0;
  for (std::size_t part = 4; part <= 8; ++part) {
    const bool isWhole = part == 8;
    ASSERT_TRUE(isExported(whole.substr(0, whole.size() * part / 8 - (isWhole ? 0 : 5)))) << part;
    const auto probe = probed(path("out.mp4"));
    EXPECT_EQ(probe.errors, "") << part;
    EXPECT_GE(probe.seconds, longest) << part;
    longest = probe.seconds;
    std::filesystem::remove(path("out.mp4"));
  }
  EXPECT_NEAR(longest, 0.6, 0.05);
  EXPECT_FALSE(isExported(whole.substr(0, 300)));
}

TEST_F(HostileMoviesTest, FlippedBitsDoNoHarm) {
  const std::string samples[] = {
      sample("a.mp4", asPhones),
      sample("b.mov", "-c:v mpeg4 -c:a pcm_s16le -movflags faststart"),
      sample("c.webm", asVp8 + "-c:a libvorbis"),
      sample("d.webm", "-c:v libvpx-vp9 -cpu-used 8 -c:a libopus -live 1"),
  };
  std::mt19937 random(20261121);
  int exported = 0;
  for (const std::string& whole : samples) {
    // The index is short, and most of what can go wrong is in it.
    const std::size_t index = whole.find("moov");
    const std::size_t head = index == std::string::npos ? 0 : index;
    for (int round = 0; round < 20; ++round) {
      std::string bytes = whole;
      const std::size_t start = round % 2 ? 0 : head;
      const std::size_t reach =
          round % 2 ? bytes.size() : std::min<std::size_t>(1500, bytes.size() - head);
      for (int flips = 1 + round % 5; flips > 0; --flips)
        bytes[start + random() % reach] ^= static_cast<char>(1u << random() % 8);
      exported += isExported(bytes);
      std::filesystem::remove(path("out.mp4"));
    }
  }
  EXPECT_GT(exported, 20) << "most of the flips hit no more than one picture";
}

TEST_F(HostileMoviesTest, PicturesOutOfAllMeasureAreAnError) {
  std::string bytes = sample("a.webm", asVp8 + "-c:a libopus");
  // The frame's own sides, behind the start code of a key picture (RFC 6386, 9.1): 16383 each.
  for (std::size_t at = 0; (at = bytes.find("\x9d\x01\x2a", at)) != std::string::npos; at += 3)
    bytes.replace(at + 3, 4, "\xff\x3f\xff\x3f");
  EXPECT_FALSE(isExported(bytes));
}

}  // namespace
}  // namespace vecamera::device::media
