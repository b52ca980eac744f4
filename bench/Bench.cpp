// What pictures cost: the device's road from the bytes of a file to the bytes of a result, beside
// libjpeg-turbo's bare work (the floor) and beside other tools.
//
//   vecamera_bench [--compare] [--rounds N] [--only W1,W4] [--without sharp] [--growth]
//                  [--json FILE]
//
// Without --compare only the device and the floor run. All take turns within each round, so that a
// busy machine is busy for all of them alike; a ratio is the median of the rounds' ratios.

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

#include "bench/Floor.h"
#include "bench/Photographs.h"
#include "bench/Reference.h"
#include "bench/Works.h"
#include "device/foundation/Base64.h"

namespace vecamera::bench {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

struct Options {
  bool compare = false;
  bool growth = false;
  int rounds = 11;
  std::string only;
  std::string without;
  std::string jsonPath;

  bool wants(std::string_view name) const {
    return only.empty() || only.find(name) != std::string::npos;
  }
};

/// What is to be reached.
struct Target {
  std::string_view work;
  /// Whose time the work is set against: "floor" or a peer.
  std::string_view beside;
  std::string_view worker;
  double most;
};

constexpr std::string_view one = "device, 1 thread";
constexpr std::string_view two = "device, 2 threads";

constexpr Target targets[] = {
    {"W1", "floor", one, 1.12},  {"W1", "sharp", two, 0.75},  {"W2", "floor", one, 1.12},
    {"W2", "OpenCV", two, 0.90}, {"W3", "floor", one, 1.10},  {"W3", "sharp", two, 0.70},
    {"W4", "OpenCV", one, 0.45}, {"W4", "OpenCV", two, 0.30}, {"W5", "sharp", two, 0.75},
    {"W6", "floor", one, 1.08},  {"W6", "sharp", two, 0.88},
};
constexpr double mostPngShare = 0.85;
constexpr double mostLossDecibels = 0.3;
constexpr double mostMegabytes = 24;
constexpr double mostCopies = 2.5;
constexpr double mostStreamShare = 1.1;

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

/// Pictures are made once and kept between runs.
std::string picture(std::string_view name, const std::function<Data()>& make) {
  const fs::path folder = fs::temp_directory_path() / "vecamera-bench-pictures";
  fs::create_directories(folder);
  const fs::path path = folder / name;
  if (!fs::exists(path)) {
    const Data data = make();
    const fs::path unfinished = path.string() + ".new";
    std::ofstream(unfinished, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.bytes().data()),
               static_cast<std::streamsize>(data.size()));
    fs::rename(unfinished, path);
  }
  return path.string();
}

std::string sourceOf(const Work& work) {
  const bool large = work.source == "large.jpg";
  const unsigned width = large ? 8064 : 4032;
  const unsigned height = large ? 6048 : 3024;
  return picture(work.source, [&] {
    return work.source == "photo.png" ? filteredPng(width, height) : photograph(width, height);
  });
}

using Times = std::map<std::string, std::vector<double>, std::less<>>;

/// libjpeg-turbo's own two steps, on what the device makes.
std::function<void()> floorOf(const Work& work, const std::string& path) {
  if (work.quality == 0 || work.source == "photo.png") return {};
  const Data source = readFile(path);
  const Raster result = bareDecode(Data(device(1)->result(work, path)), 1);
  return [=] {
    bareDecode(source, work.denominator);
    bareEncode(result, work.quality);
  };
}

double medianRatio(const Times& times, std::string_view of, std::string_view beside) {
  const auto above = times.find(of);
  const auto below = times.find(beside);
  if (above == times.end() || below == times.end() || below->second.empty()) return 0;
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(above->second.size(), below->second.size()); ++i)
    ratios.push_back(above->second[i] / below->second[i]);
  return median(ratios);
}

void tell(double ratio, double most, const std::string& what) {
  printf("    %-46s %6.3f   at most %.2f   %s\n", what.c_str(), ratio, most,
         ratio <= most ? "met" : "MISSED");
}

using Workers = std::vector<std::unique_ptr<Worker>>;

Times timed(const Work& work, const std::string& path, const Workers& workers, int rounds) {
  Times times;
  const auto floor = floorOf(work, path);
  for (int round = -1; round < rounds; ++round) {
    const bool counts = round >= 0;
    if (floor) {
      const double taken = milliseconds(floor);
      if (counts) times["floor"].push_back(taken);
    }
    for (const auto& worker : workers) {
      // Who takes seconds is known well enough after two rounds.
      constexpr double slow = 1500;
      const auto& sofar = times[worker->name()];
      if (sofar.size() >= 2 && sofar.back() > slow) continue;
      const auto taken = worker->time(work, path);
      if (taken && counts) times[worker->name()].push_back(*taken);
    }
  }
  return times;
}

json quality(const Work& work, const std::string& path, const Workers& workers) {
  const Colors reference = carefulReference(readFile(path), work.side);
  const double ceiling = ceilingDecibels(reference, work.quality);
  json decibelsBy;
  printf("    quality: the careful reference encoded alike %.2f dB\n", ceiling);
  for (const auto& worker : workers) {
    const Bytes result = worker->result(work, path);
    const double reached = result.empty() ? -1 : decibels(reference, result);
    if (reached < 0) continue;
    decibelsBy[worker->name()] = reached;
    printf("      %-44s %6.2f dB\n", worker->name().c_str(), reached);
    if (worker->name() == one) tell(ceiling - reached, mostLossDecibels, "dB below the reference");
  }
  return {{"ceiling", ceiling}, {"reached", decibelsBy}};
}

json compare(const Work& work, const Workers& workers, const Options& options) {
  const std::string path = sourceOf(work);
  printf("\n%s  %s\n", std::string(work.name).c_str(), std::string(work.title).c_str());
  const Times times = timed(work, path, workers, options.rounds);
  json result{{"name", work.name}, {"title", work.title}};
  for (const auto& [name, values] : times) {
    if (values.empty()) continue;
    result["ms"][name] = median(values);
    printf("    %-46s %8.1f ms\n", name.c_str(), median(values));
  }
  for (const Target& target : targets) {
    const double ratio = medianRatio(times, target.worker, target.beside);
    if (target.work != work.name || ratio == 0) continue;
    tell(ratio, target.most,
         "to " + std::string(target.beside) + " (" + std::string(target.worker) + ")");
    result["ratios"].push_back({{"beside", target.beside},
                                {"worker", target.worker},
                                {"ratio", ratio},
                                {"target", target.most}});
  }
  std::map<std::string, double> sizes;
  for (const auto& worker : workers)
    sizes[worker->name()] = static_cast<double>(worker->result(work, path).size());
  result["bytes"] = sizes;
  if (work.quality == 0 && sizes.count("OpenCV") > 0)
    tell(sizes[std::string(one)] / sizes["OpenCV"], mostPngShare, "the file's size to OpenCV's");
  if (work.comparesQuality) result["decibels"] = quality(work, path, workers);
  return result;
}

json dataUrl(const Options& options) {
  std::vector<std::uint8_t> bytes(12'000'000);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<std::uint8_t>(i * 2654435761u >> 13);
  const Data data(bytes);
  const vecamera::device::foundation::Base64 base64;
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
         std::string(vecamera::device::foundation::base64Encoders().front().name).c_str());
  printf("    copy %.2f ms, data URL %.2f ms\n", median(times["copy"]), median(times["data URL"]));
  tell(ratio, mostCopies, "to a copy");
  return {{"name", "W7"},
          {"title", "the data URL of 12 MB"},
          {"ms", {{"copy", median(times["copy"])}, {"data URL", median(times["data URL"])}}},
          {"ratios",
           {{{"beside", "copy"}, {"worker", one}, {"ratio", ratio}, {"target", mostCopies}}}}};
}

/// Many pictures on two threads that may each have a helper, beside the same where they may not.
json streams() {
  const std::string path = picture("small.jpg", [] { return photograph(2016, 1512); });
  ThreadPoolExecutor helper(1);
  const auto hundred = [&](const vecamera::device::imaging::ThreadBudget& threads) {
    const auto stream = [&] {
      const auto worker = deviceOn(threads, "a stream");
      for (int i = 0; i < 25; ++i) {
        worker->result(works[0], path);
        worker->result(works[3], path);
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
    ratios.push_back(hundred({2, helper}) / alone);
  }
  printf("\n100 pictures in two streams\n");
  tell(median(ratios), mostStreamShare, "with helpers to without");
  return median(ratios);
}

long fromProc(const char* path, std::string_view key) {
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line))
    if (line.starts_with(key)) return std::strtol(line.c_str() + key.size(), nullptr, 10);
  return 0;
}

Work workFrom(const std::string& side, const std::string& quality, const std::string& denominator) {
  Work work{"", "", ""};
  work.side = static_cast<unsigned>(std::stoul(side));
  work.quality = std::stoi(quality);
  work.denominator = static_cast<unsigned>(std::stoul(denominator));
  return work;
}

Workers allWorkers(const Options& options) {
  Workers workers;
  workers.push_back(device(1));
  workers.push_back(device(2));
  if (!options.compare) return workers;
  using Make = std::unique_ptr<Worker> (*)();
  const std::pair<const char*, Make> makers[] = {
      {"OpenCV", openCv}, {"libvips", vips}, {"ImageMagick", imageMagick}, {"sharp", sharp}};
  for (const auto& [name, make] : makers) {
    if (options.without.find(name) != std::string::npos) continue;
    if (auto worker = make())
      workers.push_back(std::move(worker));
    else
      printf("%s is not installed and left out.\n", name);
  }
  return workers;
}

/// In a process of its own: prints by how many kilobytes the work's peak is over what the process
/// had with the source in memory.
int printMemory(const std::vector<std::string>& arguments) {
  const std::string& name = arguments[1];
  std::unique_ptr<Worker> worker = name == "OpenCV"    ? openCv()
                                   : name == "libvips" ? vips()
                                                       : device(1);
  const Work work = workFrom(arguments[2], arguments[3], arguments[4]);
  const std::string& path = arguments[5];
  // Loads the libraries and the source; a work of a few pixels.
  worker->result(work, picture("tiny.jpg", [] { return photograph(64, 48); }));
  const Data source = readFile(path);
  const long base = fromProc("/proc/self/status", "VmRSS:");
  std::ofstream("/proc/self/clear_refs") << "5";
  worker->result(work, path);
  const long peak = fromProc("/proc/self/status", "VmHWM:");
  // The worker has its own copy of the source.
  printf("%ld\n", peak - base - static_cast<long>(source.size() / 1024));
  return 0;
}

double megabytes(const std::string& program, std::string_view worker, const Work& work,
                 const std::string& path) {
  const std::string command = program + " --memory '" + std::string(worker) + "' " +
                              std::to_string(work.side) + " " + std::to_string(work.quality) + " " +
                              std::to_string(work.denominator) + " " + path;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  long kilobytes = 0;
  if (!pipe || fscanf(pipe.get(), "%ld", &kilobytes) != 1) return 0;
  return static_cast<double>(kilobytes) / 1024;
}

json memory(const std::string& program, bool peers) {
  const Work& work = works[5];
  printf("\nPeak memory of W6 over the process with the source in it\n");
  json result;
  std::vector<std::string_view> names{"device"};
  if (peers) names.insert(names.end(), {"OpenCV", "libvips"});
  for (const auto name : names) {
    const double taken = megabytes(program, name, work, sourceOf(work));
    if (taken == 0) continue;
    result[std::string(name)] = taken;
    if (name == "device")
      tell(taken, mostMegabytes, "device, MB");
    else
      printf("    %-46s %6.1f MB\n", std::string(name).c_str(), taken);
  }
  return result;
}

json growth(const std::string& program, const Workers& workers) {
  printf("\nTime and memory against megapixels (upright, fit 1024 x 1024, JPEG 75)\n");
  json points = json::array();
  for (const double millions : {1.0, 3.0, 6.0, 12.0, 24.0, 48.0, 100.0}) {
    const auto width =
        static_cast<unsigned>(std::lround(std::sqrt(millions * 1e6 * 4 / 3) / 16) * 16);
    const unsigned height = width / 4 * 3 / 16 * 16;
    const std::string path =
        picture("grow" + std::to_string(width) + ".jpg", [&] { return photograph(width, height); });
    Work work = works[0];
    while (work.denominator < 8 && width / (2 * work.denominator) >= work.side)
      work.denominator *= 2;
    work.denominator = width / 2 >= work.side ? std::max(2u, work.denominator) : 1;
    while (work.denominator > 1 && width / work.denominator < work.side) work.denominator /= 2;
    json point{{"megapixels", millions}};
    printf("    %5.0f MP", millions);
    const auto nameOf = [](const Worker& worker) {
      return worker.name() == one ? "device" : worker.name();
    };
    std::vector<Worker*> measured;
    for (const auto& worker : workers)
      if (worker->name() != two && worker->name() != "ImageMagick")
        measured.push_back(worker.get());
    std::map<std::string, std::vector<double>> taken;
    for (int round = 0; round < 9; ++round) {
      for (Worker* worker : measured) {
        const auto time = worker->time(work, path);
        if (time && round > 0) taken[nameOf(*worker)].push_back(*time);
      }
      // Nobody always comes behind the same one, whose caches and clock it finds.
      std::reverse(measured.begin(), measured.end());
      if (round % 2 == 1) std::rotate(measured.begin(), measured.begin() + 1, measured.end());
    }
    for (const auto& [name, times] : taken) {
      point["ms"][name] = median(times);
      printf("   %s %.0f ms", name.c_str(), median(times));
      if (name == "sharp") continue;
      point["megabytes"][name] = megabytes(program, name, work, path);
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
    else if (argument == "--growth")
      options.growth = true;
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
  const Workers workers = allWorkers(options);
  json report;
  for (const auto& worker : workers) {
    if (worker->version().empty()) continue;
    report["peers"][worker->name()] = worker->version();
    printf("%s %s\n", worker->name().c_str(), worker->version().c_str());
  }
  report["processors"] = std::thread::hardware_concurrency();
  for (const Work& work : works)
    if (options.wants(work.name)) report["works"].push_back(compare(work, workers, options));
  if (options.wants("W7")) report["works"].push_back(dataUrl(options));
  if (options.wants("W6")) report["megabytes"] = memory(program, options.compare);
  if (options.only.empty()) report["streams"] = streams();
  if (options.growth) report["growth"] = growth(program, workers);
  if (!options.jsonPath.empty()) std::ofstream(options.jsonPath) << report.dump(2) << "\n";
  return 0;
}

}  // namespace
}  // namespace vecamera::bench

int main(int count, char** arguments) {
  // A peer's process that ends early is a peer that is left out.
  std::signal(SIGPIPE, SIG_IGN);
  return vecamera::bench::run(arguments[0], {arguments + 1, arguments + count});
}
