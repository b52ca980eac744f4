#include "device/media/MovieExport.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "device/media/Movies.h"
#include "device/media/base/MediaErrors.h"
#include "tests/device/media/MediaTest.h"

namespace vecamera::device::media {
namespace {

using testing::ElementsAre;
using testing::Pointwise;
using testing::UnorderedElementsAre;
using Streams = ExportOptions::Streams;

class MovieExportTest : public MediaTest {
 protected:
  /// Exports to "out.mp4", which must work.
  std::filesystem::path exported(const std::filesystem::path& source,
                                 Streams streams = Streams::copyWhereFitting) const {
    const auto target = path("out.mp4");
    ExportOptions options;
    options.streams = streams;
    EXPECT_EQ(textOf(exportMovie(source, target, options)), "");
    return target;
  }

  /// Fields of "tkhd" up to its matrix (ISO/IEC 14496-12, 8.3.2), with the type.
  static constexpr std::size_t matrixOffset = 44;

  /// Puts the upper left part of a display matrix into the first track of an MPEG-4 file.
  static void setMatrix(const std::filesystem::path& file, const std::array<int, 4>& parts) {
    std::string bytes = textOf(read(file));
    const std::size_t track = bytes.find("tkhd");
    ASSERT_NE(track, std::string::npos);
    constexpr std::array<std::size_t, 4> places{0, 4, 12, 16};
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const char fixed[4] = {static_cast<char>(parts[i] >> 8), static_cast<char>(parts[i]), 0, 0};
      bytes.replace(track + matrixOffset + places[i], 4, fixed, 4);
    }
    write(file, bytes);
  }
};

struct Case {
  const char* name;
  std::string arguments;
  /// Of the export; no rate stands for no sound.
  const char* width = "160";
  const char* height = "120";
  const char* rate = "48000";
  double seconds = 1;
};

const Case cases[] = {
    {"vp8-vorbis.webm", pictures + tone + asVp8 + "-c:a libvorbis"},
    {"vp9-opus.webm",
     pictures + tone + "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -c:a libopus"},
    // As browsers record: no length, no index.
    {"live.webm", pictures + tone + asVp8 + "-c:a libopus -live 1"},
    {"alpha.webm", pictures + "-pix_fmt yuva420p " + asVp8 + "-auto-alt-ref 0", "160", "120", ""},
    {"uneven.webm", pictures + "-vf \"select='lt(n,5)+gt(n,20)+eq(n,11)'\" -vsync vfr " + asVp8,
     "160", "120", ""},
    {"late start.webm", pictures + tone + asVp8 + "-c:a libopus -live 1 -output_ts_offset 4000"},
    {"odd.mov", "-f lavfi -i testsrc2=s=161x121:r=25:d=1 -c:v mpeg4", "160", "120", ""},
    {"full range.avi", pictures + tone + "-pix_fmt yuvj422p -c:v mjpeg -c:a pcm_s16le"},
    {"h264-aac.mp4", pictures + tone + asPhones},
    {"pcm.mov", pictures + tone + "-c:v libx264 -pix_fmt yuv420p -c:a pcm_s16le"},
    {"h264 444.mp4", pictures + tone + "-c:v libx264 -pix_fmt yuv444p -c:a aac"},
    {"surround.mp4", pictures + tone + "-c:v mpeg4 -c:a aac -ac 6 -ar 22050", "160", "120",
     "44100"},
    {"transport.ts", pictures + tone + "-c:v libx264 -pix_fmt yuv420p -c:a mp2"},
    {"fragments.mp4", pictures + tone + asPhones + "-bf 0 -movflags frag_keyframe+empty_moov"},
};

class MovieExportOfEachTest : public MovieExportTest, public testing::WithParamInterface<Case> {};

TEST_P(MovieExportOfEachTest, BecomesAMovieThatBrowsersAndPhonesPlay) {
  const Case& kind = GetParam();
  const auto source = make(kind.name, kind.arguments);
  const auto target = exported(source);
  const auto probe = probed(target);
  const auto& picture = probe.video;
  EXPECT_EQ(picture.at("codec_name"), "h264");
  EXPECT_EQ(picture.at("pix_fmt"), "yuv420p");
  EXPECT_EQ(picture.at("width"), kind.width);
  EXPECT_EQ(picture.at("height"), kind.height);
  EXPECT_EQ(picture.at("nb_read_frames"), probed(source).video.at("nb_read_frames"));
  EXPECT_NEAR(std::stod(picture.at("duration")), kind.seconds, 0.04);
  EXPECT_NEAR(probe.seconds, kind.seconds, 0.05);
  const auto& sound = probe.audio;
  if (*kind.rate) {
    EXPECT_EQ(sound.at("codec_name"), "aac");
    EXPECT_EQ(sound.at("sample_rate"), kind.rate);
    EXPECT_LE(std::stoi(sound.at("channels")), 2);
    EXPECT_NEAR(std::stod(sound.at("duration")), kind.seconds, 0.05);
  } else {
    EXPECT_TRUE(sound.empty());
  }
  EXPECT_EQ(probe.errors, "");

  const std::string bytes = textOf(read(target));
  EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
  struct stat status;
  ASSERT_EQ(stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_THAT(names(), UnorderedElementsAre(kind.name, "out.mp4"));
}

INSTANTIATE_TEST_SUITE_P(Kinds, MovieExportOfEachTest, testing::ValuesIn(cases),
                         [](const auto& kind) {
                           std::string name = kind.param.name;
                           std::replace_if(
                               name.begin(), name.end(),
                               [](unsigned char c) { return !std::isalnum(c); }, '_');
                           return name;
                         });

TEST_F(MovieExportTest, WhatFitsIsCopiedPacketByPacket) {
  const auto phone = make("phone.mp4", pictures + tone + asPhones);
  // As browsers write it: Matroska has no decoding times, so that frames out of order do not fit.
  const auto ordered = make("ordered.mkv", pictures + tone + asPhones + "-bf 0");
  const std::string copies = "-i '" + phone.string() + "' -c copy ";
  for (const auto& source : {phone, make("rotated.mov", copies + "-metadata:s:v rotate=90"),
                             ordered, make("trimmed.mp4", "-ss 0.3 " + copies)}) {
    const auto target = exported(source);
    EXPECT_EQ(packetHashes(target), packetHashes(source)) << source;
    auto before = probed(source);
    auto after = probed(target);
    EXPECT_NEAR(after.seconds, before.seconds, 0.02) << source;
    EXPECT_EQ(after.video["rotation"], before.video["rotation"]) << source;
    std::filesystem::remove(target);
  }
  exported(phone, Streams::encodeAlways);
  EXPECT_NE(packetHashes(path("out.mp4")), packetHashes(phone));
}

TEST_F(MovieExportTest, EachTrackIsCopiedOnItsOwn) {
  const auto soundFits = make("a.mov", pictures + tone + "-c:v mpeg4 -c:a aac");
  const auto pictureFits =
      make("v.mov", pictures + tone + "-c:v libx264 -pix_fmt yuv420p -c:a pcm_s16le");
  const auto hash = [&](const std::filesystem::path& file, const char* type) {
    const std::string all = packetHashes(file);
    const auto at = all.find(type);
    return all.substr(at, all.find('\n', at) - at);
  };
  auto target = exported(soundFits);
  EXPECT_EQ(hash(target, ",a,"), hash(soundFits, ",a,"));
  EXPECT_NE(hash(target, ",v,"), hash(soundFits, ",v,"));
  std::filesystem::remove(target);
  target = exported(pictureFits);
  EXPECT_EQ(hash(target, ",v,"), hash(pictureFits, ",v,"));
  EXPECT_NE(hash(target, ",a,"), hash(pictureFits, ",a,"));
  std::filesystem::remove(target);

  const auto damaged =
      make("d.mp4", "-i '" + make("p.mp4", pictures + tone + asPhones).string() +
                        "' -c copy -bsf:v \"noise=amount='if(eq(mod(n,8),5),1,0)'\"");
  target = exported(damaged);
  EXPECT_EQ(hash(target, ",a,"), hash(damaged, ",a,"));
  EXPECT_NE(hash(target, ",v,"), hash(damaged, ",v,"));
  EXPECT_EQ(probed(target).errors, "");
}

TEST_F(MovieExportTest, HighDynamicRangeIsBroughtToOrdinaryScreens) {
  // Reference white, whose code is this one in eight bits.
  const std::pair<const char*, const char*> transfers[] = {{"smpte2084", "0x949494"},
                                                           {"arib-std-b67", "0xbfbfbf"}};
  for (const auto& [transfer, code] : transfers) {
    const auto source =
        make("in.mp4", std::string("-f lavfi -i color=") + code +
                           ":s=65x48:d=0.2 -c:v libx264 -pix_fmt yuv444p10 -color_primaries bt2020 "
                           "-colorspace bt2020nc -color_trc " +
                           transfer);
    const auto target = exported(source);
    const auto picture = probed(target).video;
    EXPECT_EQ(picture.at("color_transfer"), "bt709") << transfer;
    EXPECT_EQ(picture.at("color_primaries"), "bt709") << transfer;
    EXPECT_EQ(picture.at("width"), "64");
    const auto poster = posterFrame(source, 64);
    ASSERT_TRUE(poster);
    write(path("poster.jpg"), textOf(*poster));
    for (const auto& shown : {target, path("poster.jpg")})
      EXPECT_NEAR(raw(shown, "-frames:v 1 -vf scale=1:1 -f rawvideo -pix_fmt gray").at(0), 232, 4)
          << transfer << shown;
    std::filesystem::remove(target);
  }
}

TEST_F(MovieExportTest, AnEncodedMovieStandsUprightAndSoDoesItsPoster) {
  const auto source =
      make("rotated.mov",
           "-f lavfi -i color=red:s=96x32:d=0.2 -f lavfi -i color=blue:s=48x32:d=0.2 "
           "-f lavfi -i color=white:s=48x32:d=0.2 -filter_complex "
           "'[1][2]hstack[low];[0][low]vstack' -c:v mpeg4 -q:v 1");
  const std::array<int, 4> matrices[] = {{0, 1, -1, 0}, {-1, 0, 0, -1}, {0, -1, 1, 0},
                                         {-1, 0, 0, 1}, {0, 1, 1, 0},   {0, -1, -1, 0}};
  for (const auto& matrix : matrices) {
    SCOPED_TRACE(testing::PrintToString(matrix));
    setMatrix(source, matrix);
    const std::string corners = "-frames:v 1 -vf scale=2:2:flags=area -f rawvideo -pix_fmt rgb24";
    // ffmpeg shows it by the matrix, too.
    const auto expected = raw(source, corners);
    const auto target = exported(source);
    const auto probe = probed(target);
    EXPECT_EQ(probe.video.count("rotation"), 0);
    EXPECT_EQ(probe.video.at("width"), matrix[0] == 0 ? "64" : "96");
    const auto near = [](auto pair) {
      return std::abs(std::get<0>(pair) - std::get<1>(pair)) < 24;
    };
    EXPECT_THAT(raw(target, corners), Pointwise(testing::Truly(near), expected));
    const auto poster = posterFrame(source, 200);
    ASSERT_TRUE(poster);
    write(path("poster.jpg"), textOf(*poster));
    EXPECT_THAT(raw(path("poster.jpg"), corners), Pointwise(testing::Truly(near), expected));
    std::filesystem::remove(target);
  }
}

TEST_F(MovieExportTest, SoundStaysInStep) {
  const std::string late = pictures + "-itsoffset 0.6 -f lavfi -i sine=d=0.4 ";
  const std::string gap =
      pictures + tone + "-af \"aselect='lt(t,0.3)+gt(t,0.6)'\" -c:a pcm_s16le " + asVp8;
  const auto lateCopied = make("late.mp4", late + asPhones);
  EXPECT_THAT(onsets(exported(lateCopied)), ElementsAre(testing::DoubleNear(0, 0.03)))
      << "ffmpeg leaves out what an empty edit stands for";
  EXPECT_NEAR(std::stod(probed(path("out.mp4")).audio.at("start_time")), 0.6, 0.03);
  std::filesystem::remove(path("out.mp4"));
  EXPECT_THAT(onsets(exported(lateCopied, Streams::encodeAlways)),
              ElementsAre(testing::DoubleNear(0.6, 0.03)));
  std::filesystem::remove(path("out.mp4"));
  EXPECT_THAT(onsets(exported(make("late.webm", late + asVp8 + "-c:a libopus"))),
              ElementsAre(testing::DoubleNear(0.6, 0.03)));
  std::filesystem::remove(path("out.mp4"));
  EXPECT_THAT(onsets(exported(make("gap.mkv", gap))),
              ElementsAre(testing::DoubleNear(0, 0.03), testing::DoubleNear(0.6, 0.03)));
}

TEST_F(MovieExportTest, PicturesThatChangeTheirSizeAreScaledToTheFirst) {
  make("one.webm", pictures + asVp8);
  make("two.webm", "-f lavfi -i testsrc2=s=90x202:r=25:d=1 " + asVp8);
  write(path("list"), "ffconcat version 1.0\nfile one.webm\nfile two.webm\n");
  const auto source = make("both.webm", "-f concat -i '" + path("list").string() + "' -c copy");
  const auto target = exported(source);
  const auto picture = probed(target).video;
  EXPECT_EQ(picture.at("width") + "x" + picture.at("height"), "160x120");
  EXPECT_EQ(picture.at("nb_read_frames"), "50");
  // Whole, over black: 52 of 160 columns.
  const auto last = raw(target, "-ss 1.5 -frames:v 1 -f rawvideo -pix_fmt gray");
  ASSERT_EQ(last.size(), 160 * 120);
  EXPECT_LT(last[60 * 160 + 20], 20);
  EXPECT_LT(last[60 * 160 + 140], 20);
  EXPECT_GT(*std::max_element(last.begin() + 60 * 160, last.begin() + 61 * 160), 60);
}

TEST_F(MovieExportTest, ProgressRisesToOne) {
  for (const char* live : {"0", "1"}) {
    const auto source = make("in.webm", pictures + tone + asVp8 + "-c:a libopus -live " + live);
    std::vector<float> reported;
    ExportOptions exportOptions;
    exportOptions.onProgress = [&](float progress) {
      reported.push_back(progress);
      EXPECT_EQ(std::filesystem::exists(path("out.mp4")), progress == 1);
    };
    EXPECT_EQ(textOf(exportMovie(source, path("out.mp4"), exportOptions)), "");
    EXPECT_GT(reported.size(), 10);
    EXPECT_TRUE(std::is_sorted(reported.begin(), reported.end()));
    EXPECT_GT(reported.front(), 0);
    EXPECT_EQ(reported.back(), 1);
    std::filesystem::remove(path("out.mp4"));
  }
}

TEST_F(MovieExportTest, ACancelledExportLeavesNothing) {
  // Its pictures are read in several pieces.
  const auto source = make("in.mp4", "-f lavfi -i testsrc2=s=320x240:r=4:d=1 " + tone +
                                         "-vf noise=alls=90:allf=t -qp 8 " + asPhones);
  for (const Streams streams : {Streams::copyWhereFitting, Streams::encodeAlways}) {
    ExportOptions options;
    options.streams = streams;
    int asked = 0;
    int patience = INT32_MAX;
    options.isCancelled = [&] { return ++asked > patience; };
    EXPECT_EQ(textOf(exportMovie(source, path("out.mp4"), options)), "");
    std::filesystem::remove(path("out.mp4"));
    const int all = asked;
    EXPECT_GT(all, 50);
    // At each question, in the middle of a packet too. The last one comes with the index on its way
    // to the front.
    for (patience = 0; patience < all; ++patience) {
      asked = 0;
      const auto done = exportMovie(source, path("out.mp4"), options);
      ASSERT_FALSE(done) << patience;
      EXPECT_TRUE(isMediaError(done.error(), AVError::operationCancelled))
          << patience << ": " << textOf(done);
      EXPECT_THAT(names(), ElementsAre("in.mp4")) << patience;
    }
  }
}

TEST_F(MovieExportTest, WhatIsNoMovieGivesAnError) {
  const auto movie = make("movie.mp4", pictures + tone + asPhones);
  const auto jpeg = make("picture.jpg", pictures + "-frames:v 1");
  make("sound.m4a", tone + "-c:a aac");
  make("cover.m4a", tone + "-i '" + jpeg.string() +
                        "' -map 0 -map 1 -c:a aac -c:v copy -disposition:v attached_pic");
  // Each of its frames begins with a sync code, so that no noise can be decoded.
  make("noise.mp4", pictures + tone + "-c:v libx264 -c:a flac -strict -2 -bsf:a noise=amount=1");
  make("protected.mp4", pictures + tone + asPhones +
                            "-encryption_scheme cenc-aes-ctr "
                            "-encryption_key 00112233445566778899aabbccddeeff "
                            "-encryption_kid 00112233445566778899aabbccddeeff");
  make("long.mp4", "-i '" + movie.string() + "' -c copy -an -bsf:v setts=ts=TS*50000");
  std::string still = textOf(read(movie));
  write(path("heif.mp4"), still.replace(8, 4, "msf1"));
  write(path("text.txt"), "This is a text, not a movie.\n");
  write(path("empty.mp4"), "");
  write(path("list.m3u8"), "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nmovie.mp4\n");
  write(path("list.ffconcat"), "ffconcat version 1.0\nfile movie.mp4\n");
  std::filesystem::create_directory(path("folder"));
  mkfifo(path("pipe").c_str(), 0600);
  const auto before = names();

  const std::pair<const char*, AVError> sources[] = {
      {"text.txt", AVError::fileFormatNotRecognized},
      {"empty.mp4", AVError::fileFormatNotRecognized},
      {"picture.jpg", AVError::fileFormatNotRecognized},
      {"list.m3u8", AVError::fileFormatNotRecognized},
      {"list.ffconcat", AVError::fileFormatNotRecognized},
      {"folder", AVError::fileFormatNotRecognized},
      {"pipe", AVError::fileFormatNotRecognized},
      {"heif.mp4", AVError::fileFormatNotRecognized},
      {"noise.mp4", AVError::decodeFailed},
      {"protected.mp4", AVError::contentIsProtected},
      {"long.mp4", AVError::invalidSourceMedia},
      {"sound.m4a", AVError::invalidSourceMedia},
      {"cover.m4a", AVError::invalidSourceMedia},
      {"missing.mp4", AVError::unknown},
  };
  for (const auto& [name, code] : sources) {
    const auto done = exportMovie(path(name), path("out.mp4"), {});
    ASSERT_FALSE(done) << name;
    EXPECT_TRUE(isMediaError(done.error(), code)) << name << ": " << textOf(done);
    EXPECT_NE(textOf(done), "") << name;
  }
  EXPECT_EQ(names(), before);

  write(path("out.mp4"), "kept");
  const auto taken = exportMovie(movie, path("out.mp4"), {});
  ASSERT_FALSE(taken);
  EXPECT_TRUE(isMediaError(taken.error(), AVError::fileAlreadyExists));
  EXPECT_EQ(textOf(read(path("out.mp4"))), "kept");
}

}  // namespace
}  // namespace vecamera::device::media
