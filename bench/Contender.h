#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/Value.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::bench {

/// What is made of a picture.
struct Workload {
  std::string_view name;
  std::string_view title;
  std::string_view source;
  /// The square that the result fits in; 0 leaves the size.
  unsigned side = 0;
  /// libjpeg's quality; 0 asks for a PNG.
  int quality = 0;
  /// The coarsest of libjpeg-turbo's scales that covers the result.
  unsigned denominator = 1;
  bool comparesQuality = false;
};

inline constexpr Workload workloads[] = {
    {"W1", "upright, fit 1024 x 1024, JPEG 75", "photo.jpg", 1024, 75, 2, true},
    {"W2", "upright, fit 200 x 200, JPEG 75", "photo.jpg", 200, 75, 8, true},
    {"W3", "upright, unscaled, JPEG 100", "photo.jpg", 0, 100, 1, false},
    {"W4", "the album's PNG from the JPEG", "photo.jpg", 0, 0, 1, false},
    {"W5", "PNG to fit 1024, JPEG 75", "photo.png", 1024, 75, 1, false},
    {"W6", "8064 x 6048, fit 1024, JPEG 75", "large.jpg", 1024, 75, 4, true},
};

using device::imaging::EncodedBytes;

/// What the workloads are run with: the device, or another tool.
class Contender {
 public:
  virtual ~Contender() = default;
  virtual std::string name() const = 0;
  virtual std::string version() const = 0;
  /// Milliseconds that the workload took, or nothing where the contender cannot run it.
  virtual std::optional<double> time(const Workload& workload, const std::string& path) = 0;
  /// The bytes of its latest result.
  virtual EncodedBytes result(const Workload& workload, const std::string& path) = 0;
};

/// A contender in this process is a function from the file's bytes to the result's.
class LocalContender : public Contender {
 public:
  using Function = std::function<EncodedBytes(const Workload& workload, const Data& source)>;
  LocalContender(std::string name, std::string version, Function function)
      : name_(std::move(name)), version_(std::move(version)), function_(std::move(function)) {}
  std::string name() const override { return name_; }
  std::string version() const override { return version_; }
  std::optional<double> time(const Workload& workload, const std::string& path) override;
  EncodedBytes result(const Workload& workload, const std::string& path) override;

 private:
  const Data& load(const std::string& path);

  std::string name_;
  std::string version_;
  Function function_;
  std::string path_;
  Data source_;
};

/// The device with worker threads of its own, so that there are `threads` threads.
std::unique_ptr<Contender> device(unsigned threads);
/// One of several contenders that share a thread budget.
std::unique_ptr<Contender> deviceOn(const device::imaging::ThreadBudget& threads);
/// Null where they were not installed when the benchmark was built, or are not now.
std::unique_ptr<Contender> openCv();
std::unique_ptr<Contender> vips();
std::unique_ptr<Contender> imageMagick();
std::unique_ptr<Contender> sharp();

Data readFile(const std::string& path);
/// What the command prints on standard output.
std::string outputOf(const std::string& command);

}  // namespace vecamera::bench
