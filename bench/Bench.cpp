// What pictures cost: the device's pipeline from the bytes of a file to the bytes of a result,
// compared with libjpeg-turbo's own decode and encode (the baseline) and with other tools.
//
//   vecamera_bench [--compare] [--rounds N] [--only W1,W4] [--without sharp] [--sizes]
//                  [--json FILE]
//
// Without --compare only the device and the baseline run. All take turns within each round, so that
// a busy machine is busy for all of them alike; a ratio is the median of the rounds' ratios.

#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include <nlohmann/json.hpp>

#include "bench/Baseline.h"
#include "bench/Contender.h"
#include "bench/Photographs.h"
#include "bench/Reference.h"
#include "device/foundation/Base64.h"

namespace vecamera::bench {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

struct Options {
  bool compare = false;
  bool sizes = false;
  int rounds = 11;
  std::string only;
  std::string without;
  std::string jsonPath;

  bool wants(std::string_view name) const {
    return only.empty() || only.find(name) != std::string::npos;
  }
};

/// A ratio of times that the device must not exceed.
struct Target {
  std::string_view workload;
  /// Whose time is the divisor: "baseline" or another contender.
  std::string_view against;
  std::string_view contender;
  double max;
};

constexpr std::string_view one = "device, 1 thread";
constexpr std::string_view two = "device, 2 threads";

constexpr Target targets[] = {
    {"W1", "baseline", one, 1.12}, {"W1", "sharp", two, 0.75},    {"W2", "baseline", one, 1.12},
    {"W2", "OpenCV", two, 0.90},   {"W3", "baseline", one, 1.10}, {"W3", "sharp", two, 0.70},
    {"W4", "OpenCV", one, 0.45},   {"W4", "OpenCV", two, 0.30},   {"W5", "sharp", two, 0.75},
    {"W6", "baseline", one, 1.08}, {"W6", "sharp", two, 0.88},
};
constexpr double maxPngRatio = 0.85;
constexpr double maxLossDecibels = 0.3;
constexpr double maxMegabytes = 24;
constexpr double maxCopies = 2.5;
constexpr double maxStreamRatio = 1.1;

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double milliseconds(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

/// A picture that is made once and kept between runs.
std::string picture(std::string_view name, unsigned width, unsigned height) {
  const fs::path folder = fs::temp_directory_path() / "vecamera-bench-pictures";
  fs::create_directories(folder);
  ensurePicture(folder / name, width, height);
  return folder / name;
}

std::string sourceOf(const Workload& workload) {
  const bool isLarge = workload.source == "large.jpg";
  return picture(workload.source, isLarge ? 8064 : 4032, isLarge ? 6048 : 3024);
}

using Times = std::map<std::string, std::vector<double>, std::less<>>;

/// libjpeg-turbo's own two steps, on what the device makes.
std::function<void()> baselineOf(const Workload& workload, const std::string& path) {
  if (workload.quality == 0 || workload.source == "photo.png") return {};
  const Data source = readFile(path);
  const Raster result = bareDecode(Data(device(1)->result(workload, path)), 1);
  return [=] {
    bareDecode(source, workload.denominator);
    bareEncode(result, workload.quality);
  };
}

double medianRatio(const Times& times, std::string_view of, std::string_view against) {
  const auto above = times.find(of);
  const auto below = times.find(against);
  if (above == times.end() || below == times.end() || below->second.empty()) return 0;
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(above->second.size(), below->second.size()); ++i)
    ratios.push_back(above->second[i] / below->second[i]);
  return median(ratios);
}

void printAgainstTarget(double ratio, double max, const std::string& what) {
  printf("    %-46s %6.3f   at most %.2f   %s\n", what.c_str(), ratio, max,
         ratio <= max ? "met" : "MISSED");
}

using Contenders = std::vector<std::unique_ptr<Contender>>;

Times timed(const Workload& workload, const std::string& path, const Contenders& contenders,
            int rounds) {
  Times times;
  const auto baseline = baselineOf(workload, path);
  for (int round = -1; round < rounds; ++round) {
    const bool counts = round >= 0;
    if (baseline) {
      const double taken = milliseconds(baseline);
      if (counts) times["baseline"].push_back(taken);
    }
    for (const auto& contender : contenders) {
      // For a contender that takes seconds, two rounds are enough.
      constexpr double slow = 1500;
      const auto& measuredSoFar = times[contender->name()];
      if (measuredSoFar.size() >= 2 && measuredSoFar.back() > slow) continue;
      const auto taken = contender->time(workload, path);
      if (taken && counts) times[contender->name()].push_back(*taken);
    }
  }
  return times;
}

json quality(const Workload& workload, const std::string& path, const Contenders& contenders) {
  const FloatImage reference = lanczosReference(readFile(path), workload.side);
  const double ceiling = psnrCeiling(reference, workload.quality);
  json decibelsBy;
  printf("    quality: the reference itself, encoded alike, %.2f dB\n", ceiling);
  for (const auto& contender : contenders) {
    const EncodedBytes result = contender->result(workload, path);
    const double reached = result.empty() ? -1 : psnr(reference, result);
    if (reached < 0) continue;
    decibelsBy[contender->name()] = reached;
    printf("      %-44s %6.2f dB\n", contender->name().c_str(), reached);
    if (contender->name() == one)
      printAgainstTarget(ceiling - reached, maxLossDecibels, "dB below the reference");
  }
  return {{"ceiling", ceiling}, {"reached", decibelsBy}};
}

json compare(const Workload& workload, const Contenders& contenders, const Options& options) {
  const std::string path = sourceOf(workload);
  printf("\n%s  %s\n", std::string(workload.name).c_str(), std::string(workload.title).c_str());
  const Times times = timed(workload, path, contenders, options.rounds);
  json result{{"name", workload.name}, {"title", workload.title}};
  for (const auto& [name, values] : times) {
    if (values.empty()) continue;
    result["ms"][name] = median(values);
    printf("    %-46s %8.1f ms\n", name.c_str(), median(values));
  }
  for (const Target& target : targets) {
    const double ratio = medianRatio(times, target.contender, target.against);
    if (target.workload != workload.name || ratio == 0) continue;
    printAgainstTarget(
        ratio, target.max,
        "to " + std::string(target.against) + " (" + std::string(target.contender) + ")");
    result["ratios"].push_back({{"against", target.against},
                                {"contender", target.contender},
                                {"ratio", ratio},
                                {"target", target.max}});
  }
  std::map<std::string, double> sizes;
  for (const auto& contender : contenders)
    sizes[contender->name()] = static_cast<double>(contender->result(workload, path).size());
  result["bytes"] = sizes;
  if (workload.quality == 0 && sizes.count("OpenCV") > 0)
    printAgainstTarget(sizes[std::string(one)] / sizes["OpenCV"], maxPngRatio,
                       "the file's size to OpenCV's");
  if (workload.comparesQuality) result["decibels"] = quality(workload, path, contenders);
  return result;
}

json dataUrl(const Options& options) {
  std::vector<std::uint8_t> bytes(12'000'000);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<std::uint8_t>(i * 2654435761u >> 13);
  const Data data(bytes);
  const device::foundation::Base64 base64;
  // Both find their memory mapped: what is compared is the copying, not the mapping.
  mallopt(M_MMAP_THRESHOLD, 64 << 20);
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
  Times times;
  for (int round = 0; round < 10 * options.rounds; ++round) {
    times["copy"].push_back(milliseconds([&] {
      const std::vector<std::uint8_t> copy(bytes);
      if (copy.back() != bytes.back()) std::abort();
    }));
    times["data URL"].push_back(milliseconds([&] {
      const std::string text = base64.base64EncodedString("data:image/png;base64,", data);
      if (text.empty()) std::abort();
    }));
  }
  const double ratio = medianRatio(times, "data URL", "copy");
  printf("\nW7  the data URL of 12 MB (%s)\n",
         std::string(device::foundation::base64Encoders().front().name).c_str());
  printf("    copy %.2f ms, data URL %.2f ms\n", median(times["copy"]), median(times["data URL"]));
  printAgainstTarget(ratio, maxCopies, "to a copy");
  return {{"name", "W7"},
          {"title", "the data URL of 12 MB"},
          {"ms", {{"copy", median(times["copy"])}, {"data URL", median(times["data URL"])}}},
          {"ratios",
           {{{"against", "copy"}, {"contender", one}, {"ratio", ratio}, {"target", maxCopies}}}}};
}

/// Many pictures on two threads that may each have a worker, compared with the same where they may
/// not.
json streams() {
  const std::string path = picture("small.jpg", 2016, 1512);
  ThreadPoolExecutor worker(1);
  const auto hundred = [&](const device::imaging::ThreadBudget& threads) {
    const auto stream = [&] {
      const auto contender = deviceOn(threads);
      for (int i = 0; i < 25; ++i) {
        contender->result(workloads[0], path);
        contender->result(workloads[3], path);
      }
    };
    return milliseconds([&] {
      std::thread other(stream);
      stream();
      other.join();
    });
  };
  std::vector<double> ratios;
  for (int round = 0; round < 3; ++round) {
    const double alone = hundred({});
    ratios.push_back(hundred({2, worker}) / alone);
  }
  printf("\n100 pictures in two streams\n");
  printAgainstTarget(median(ratios), maxStreamRatio, "with workers to without");
  return median(ratios);
}

long fromProc(const char* path, std::string_view key) {
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line))
    if (line.starts_with(key)) return std::strtol(line.c_str() + key.size(), nullptr, 10);
  return 0;
}

Workload workloadFrom(const std::string& side, const std::string& quality,
                      const std::string& denominator) {
  Workload workload{"", "", ""};
  workload.side = static_cast<unsigned>(std::stoul(side));
  workload.quality = std::stoi(quality);
  workload.denominator = static_cast<unsigned>(std::stoul(denominator));
  return workload;
}

Contenders allContenders(const Options& options) {
  Contenders contenders;
  contenders.push_back(device(1));
  contenders.push_back(device(2));
  if (!options.compare) return contenders;
  using Make = std::unique_ptr<Contender> (*)();
  const std::pair<const char*, Make> makers[] = {
      {"OpenCV", openCv}, {"libvips", vips}, {"ImageMagick", imageMagick}, {"sharp", sharp}};
  for (const auto& [name, make] : makers) {
    if (options.without.find(name) != std::string::npos) continue;
    if (auto contender = make())
      contenders.push_back(std::move(contender));
    else
      printf("%s is not installed and left out.\n", name);
  }
  return contenders;
}

/// In a process of its own: prints by how many kilobytes the workload's peak is over what the
/// process had with the source in memory.
int printMemory(const std::vector<std::string>& arguments) {
  const std::string& name = arguments[1];
  std::unique_ptr<Contender> contender = name == "OpenCV"    ? openCv()
                                         : name == "libvips" ? vips()
                                                             : device(1);
  const Workload workload = workloadFrom(arguments[2], arguments[3], arguments[4]);
  const std::string& path = arguments[5];
  // Loads the libraries and the source; a workload of a few pixels.
  contender->result(workload, picture("tiny.jpg", 64, 48));
  const Data source = readFile(path);
  const long base = fromProc("/proc/self/status", "VmRSS:");
  std::ofstream("/proc/self/clear_refs") << "5";
  contender->result(workload, path);
  const long peak = fromProc("/proc/self/status", "VmHWM:");
  // The contender has its own copy of the source.
  printf("%ld\n", peak - base - static_cast<long>(source.size() / 1024));
  return 0;
}

double megabytes(const std::string& program, std::string_view contender, const Workload& workload,
                 const std::string& path) {
  const std::string command = program + " --memory '" + std::string(contender) + "' " +
                              std::to_string(workload.side) + " " +
                              std::to_string(workload.quality) + " " +
                              std::to_string(workload.denominator) + " " + path;
  const long kilobytes = std::strtol(outputOf(command).c_str(), nullptr, 10);
  return static_cast<double>(kilobytes) / 1024;
}

json memory(const std::string& program, bool compares) {
  const Workload& workload = workloads[5];
  printf("\nPeak memory of W6 over the process with the source in it\n");
  json result;
  std::vector<std::string_view> names{"device"};
  if (compares) names.insert(names.end(), {"OpenCV", "libvips"});
  for (const auto name : names) {
    const double taken = megabytes(program, name, workload, sourceOf(workload));
    if (taken == 0) continue;
    result[std::string(name)] = taken;
    if (name == "device")
      printAgainstTarget(taken, maxMegabytes, "device, MB");
    else
      printf("    %-46s %6.1f MB\n", std::string(name).c_str(), taken);
  }
  return result;
}

json bySize(const std::string& program, const Contenders& contenders) {
  printf("\nTime and memory against megapixels (upright, fit 1024 x 1024, JPEG 75)\n");
  json points = json::array();
  for (const double millions : {1.0, 3.0, 6.0, 12.0, 24.0, 48.0, 100.0}) {
    const auto width =
        static_cast<unsigned>(std::lround(std::sqrt(millions * 1e6 * 4 / 3) / 16) * 16);
    const unsigned height = width / 4 * 3 / 16 * 16;
    const std::string path = picture("size" + std::to_string(width) + ".jpg", width, height);
    Workload workload = workloads[0];
    workload.denominator = 1;
    while (workload.denominator < 8 && width / (2 * workload.denominator) >= workload.side)
      workload.denominator *= 2;
    json point{{"megapixels", millions}};
    printf("    %5.0f MP", millions);
    const auto nameOf = [](const Contender& contender) {
      return contender.name() == one ? "device" : contender.name();
    };
    std::vector<Contender*> measured;
    for (const auto& contender : contenders)
      if (contender->name() != two && contender->name() != "ImageMagick")
        measured.push_back(contender.get());
    std::map<std::string, std::vector<double>> taken;
    for (int round = 0; round < 9; ++round) {
      for (Contender* contender : measured) {
        const auto time = contender->time(workload, path);
        if (time && round > 0) taken[nameOf(*contender)].push_back(*time);
      }
      // No contender always runs behind the same one, whose caches and clock it finds.
      std::reverse(measured.begin(), measured.end());
      if (round % 2 == 1) std::rotate(measured.begin(), measured.begin() + 1, measured.end());
    }
    for (const auto& [name, times] : taken) {
      point["ms"][name] = median(times);
      printf("   %s %.0f ms", name.c_str(), median(times));
      if (name == "sharp") continue;
      point["megabytes"][name] = megabytes(program, name, workload, path);
      printf(" %.0f MB", point["megabytes"][name].get<double>());
    }
    printf("\n");
    fflush(stdout);
    points.push_back(point);
  }
  return points;
}

Options parsed(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const auto value = [&] { return i + 1 < arguments.size() ? arguments[++i] : std::string(); };
    if (argument == "--compare")
      options.compare = true;
    else if (argument == "--sizes")
      options.sizes = true;
    else if (argument == "--rounds")
      options.rounds = std::max(1, std::atoi(value().c_str()));
    else if (argument == "--only")
      options.only = value();
    else if (argument == "--without")
      options.without = value();
    else if (argument == "--json")
      options.jsonPath = value();
    else {
      fprintf(stderr, "unknown argument %s\n", argument.c_str());
      std::exit(2);
    }
  }
  return options;
}

int run(const std::string& program, const std::vector<std::string>& arguments) {
  if (!arguments.empty() && arguments[0] == "--memory") return printMemory(arguments);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  const Options options = parsed(arguments);
  const Contenders contenders = allContenders(options);
  json report;
  for (const auto& contender : contenders) {
    if (contender->version().empty()) continue;
    report["contenders"][contender->name()] = contender->version();
    printf("%s %s\n", contender->name().c_str(), contender->version().c_str());
  }
  report["processors"] = std::thread::hardware_concurrency();
  for (const Workload& workload : workloads)
    if (options.wants(workload.name))
      report["workloads"].push_back(compare(workload, contenders, options));
  if (options.wants("W7")) report["workloads"].push_back(dataUrl(options));
  if (options.wants("W6")) report["megabytes"] = memory(program, options.compare);
  if (options.only.empty()) report["streams"] = streams();
  if (options.sizes) report["sizes"] = bySize(program, contenders);
  if (!options.jsonPath.empty()) std::ofstream(options.jsonPath) << report.dump(2) << "\n";
  return 0;
}

}  // namespace
}  // namespace vecamera::bench

int main(int count, char** arguments) {
  // A contender whose process ends early is left out.
  std::signal(SIGPIPE, SIG_IGN);
  return vecamera::bench::run(arguments[0], {arguments + 1, arguments + count});
}
