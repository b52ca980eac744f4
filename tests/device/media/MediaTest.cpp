#include "tests/device/media/MediaTest.h"

#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace vecamera::device::media {
namespace {

/// What the command prints, on both outputs; a test failure where it fails.
std::string output(const std::string& command) {
  std::string text;
  FILE* const pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  if (!pipe) {
    ADD_FAILURE() << "cannot run " << command;
    return text;
  }
  char part[4096];
  while (const std::size_t got = std::fread(part, 1, sizeof part, pipe)) text.append(part, got);
  const int status = pclose(pipe);
  EXPECT_EQ(status, 0) << command << "\n" << text;
  return text;
}

}  // namespace

MediaTest::MediaTest() {
  std::string name = (std::filesystem::temp_directory_path() / "media-XXXXXX").string();
  if (mkdtemp(name.data())) folder_ = name;
}

MediaTest::~MediaTest() {
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::vector<std::string> MediaTest::names() const {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder_))
    found.push_back(entry.path().filename().string());
  std::ranges::sort(found);
  return found;
}

std::filesystem::path MediaTest::make(std::string_view name, const std::string& arguments) const {
  static std::map<std::string, Data> made;
  const auto file = path(name);
  Data& movie = made[file.extension().string() + " " + arguments];
  if (!movie.empty()) {
    write(file, textOf(movie));
    return file;
  }
  output("ffmpeg -v error -y -fflags +bitexact " + arguments + " -threads 1 '" + file.string() +
         "'");
  if (arguments.find(folder_.string()) == std::string::npos) movie = read(file);
  return file;
}

MediaTest::Probe MediaTest::probed(const std::filesystem::path& file) const {
  std::istringstream lines(
      output("ffprobe -v error -count_frames -show_streams -show_format '" + file.string() + "'"));
  Probe probe;
  std::map<std::string, std::string> section;
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find('=');
    if (equals != std::string::npos) {
      section[line.substr(0, equals)] = line.substr(equals + 1);
    } else if (line == "[STREAM]" || line == "[FORMAT]") {
      section.clear();
    } else if (line == "[/STREAM]") {
      (section["codec_type"] == "audio" ? probe.audio : probe.video) = section;
    } else if (line == "[/FORMAT]") {
      probe.seconds = std::strtod(section["duration"].c_str(), nullptr);
    } else if (!line.starts_with("[SIDE_DATA]") && !line.starts_with("[/SIDE_DATA]") &&
               !line.empty() && !std::isdigit(static_cast<unsigned char>(line.front()))) {
      // The numbered lines are those of a display matrix.
      probe.errors += line + "\n";
    }
  }
  return probe;
}

std::string MediaTest::packetHashes(const std::filesystem::path& file) const {
  return output("ffmpeg -v error -i '" + file.string() + "' -map 0 -c copy -f streamhash -");
}

std::vector<std::uint8_t> MediaTest::raw(const std::filesystem::path& file,
                                         const std::string& options) const {
  const auto into = path("raw");
  output("ffmpeg -v error -y -i '" + file.string() + "' " + options + " '" + into.string() + "'");
  const Data data = read(into);
  std::filesystem::remove(into);
  return {data.bytes().begin(), data.bytes().end()};
}

std::vector<double> MediaTest::onsets(const std::filesystem::path& file) const {
  constexpr std::size_t rate = 8000;
  constexpr std::size_t silence = rate / 10;
  const auto samples = raw(file, "-map a -ac 1 -ar 8000 -f s8");
  std::vector<double> found;
  std::size_t quiet = silence;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const bool isLoud = std::abs(static_cast<std::int8_t>(samples[i])) > 4;
    if (isLoud && quiet >= silence) found.push_back(static_cast<double>(i) / rate);
    quiet = isLoud ? 0 : quiet + 1;
  }
  return found;
}

Data MediaTest::read(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return Data(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(stream), {}));
}

void MediaTest::write(const std::filesystem::path& file, std::string_view bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

std::string textOf(const Data& data) {
  return {data.bytes().begin(), data.bytes().end()};
}

std::string textOf(const MediaResult<void>& result) {
  return result ? "" : result.error().localizedDescription();
}

}  // namespace vecamera::device::media
