#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/Value.h"
#include "device/media/base/MediaErrors.h"

namespace vecamera::device::media {

/// One second of 160 by 120 pictures, and of a tone, as inputs of `ffmpeg`.
inline const std::string pictures = "-f lavfi -i testsrc2=s=160x120:r=25:d=1 ";
inline const std::string tone = "-f lavfi -i sine=f=440:d=1:r=48000 ";
/// How `ffmpeg` encodes what needs no encoding again.
inline const std::string asPhones = " -c:v libx264 -pix_fmt yuv420p -c:a aac ";
/// And as browsers do, in a hurry.
inline const std::string asVp8 = " -c:v libvpx -deadline realtime -cpu-used 8 ";

/// A folder for movies, which `ffmpeg` makes and `ffprobe` checks; removed with the object.
class MediaTest : public testing::Test {
 protected:
  MediaTest();
  ~MediaTest() override;

  std::filesystem::path path(std::string_view name) const { return folder_ / name; }
  /// The names in the folder, hidden ones too, in their order.
  std::vector<std::string> names() const;

  /// Runs `ffmpeg` with the arguments and the file as output, once for what several tests make.
  std::filesystem::path make(std::string_view name, const std::string& arguments) const;
  /// What `ffprobe` finds in the file after decoding all of it.
  struct Probe {
    /// By `ffprobe`'s names; empty for a track that is not there.
    std::map<std::string, std::string> video;
    std::map<std::string, std::string> audio;
    double seconds = 0;
    std::string errors;
  };
  Probe probed(const std::filesystem::path& file) const;
  /// One hash over the packets of each stream.
  std::string packetHashes(const std::filesystem::path& file) const;
  /// What `ffmpeg` makes of the file with the output options: pictures as it shows them, or sound.
  std::vector<std::uint8_t> raw(const std::filesystem::path& file,
                                const std::string& options) const;
  /// The seconds at which the sound sets in after silence.
  std::vector<double> onsets(const std::filesystem::path& file) const;

  static Data read(const std::filesystem::path& file);
  static void write(const std::filesystem::path& file, std::string_view bytes);

 private:
  std::filesystem::path folder_;
};

std::string textOf(const Data& data);
/// The description of the error; empty for a success.
std::string textOf(const MediaResult<void>& result);

}  // namespace vecamera::device::media
