#include <chrono>
#include <memory>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "bench/Contender.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"

namespace vecamera::bench {
namespace {

LocalContender::Function pipelineOn(const device::imaging::ThreadBudget& threads) {
  return [threads](const Workload& workload, const Data& source) {
    device::imaging::ImageFactory images({}, threads);
    device::imaging::Graphics graphics;
    auto image = images.imageWithData(source);
    // The album keeps what the camera stored.
    if (workload.quality > 0)
      image = imageCorrectedForCaptureOrientation(graphics, image, image->imageOrientation());
    const double side = workload.side;
    if (workload.side > 0) image = imageByScalingNotCroppingForSize(graphics, image, {side, side});
    const auto bytes = workload.quality > 0
                           ? images.UIImageJPEGRepresentation(image, workload.quality / 100.0)
                           : images.UIImagePNGRepresentation(image);
    if (!bytes) return EncodedBytes();
    return EncodedBytes(bytes->bytes().begin(), bytes->bytes().end());
  };
}

}  // namespace

Data readFile(const std::string& path) {
  return device::foundation::readFile(path).value().value_or(Data());
}

const Data& LocalContender::load(const std::string& path) {
  if (path != path_) {
    source_ = readFile(path);
    path_ = path;
  }
  return source_;
}

std::optional<double> LocalContender::time(const Workload& workload, const std::string& path) {
  const Data& source = load(path);
  const auto start = std::chrono::steady_clock::now();
  const EncodedBytes bytes = function_(workload, source);
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  if (bytes.empty()) return std::nullopt;
  return taken.count();
}

EncodedBytes LocalContender::result(const Workload& workload, const std::string& path) {
  return function_(workload, load(path));
}

std::unique_ptr<Contender> deviceOn(const device::imaging::ThreadBudget& threads) {
  return std::make_unique<LocalContender>("device", "", pipelineOn(threads));
}

std::unique_ptr<Contender> device(unsigned threads) {
  const std::string name =
      "device, " + std::to_string(threads) + " thread" + (threads == 1 ? "" : "s");
  const auto workers = std::make_shared<ThreadPoolExecutor>(threads - 1);
  const auto convert = pipelineOn({threads, *workers});
  return std::make_unique<LocalContender>(
      name, "", [workers, convert](const Workload& workload, const Data& source) {
        return convert(workload, source);
      });
}

}  // namespace vecamera::bench
