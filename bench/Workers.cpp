#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>

#include "VECamera/imaging/ScalingAndOrientation.h"
#include "bench/Works.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"

namespace vecamera::bench {
namespace {

LocalWorker::Function travelOn(const vecamera::device::imaging::ThreadBudget& threads) {
  return [threads](const Work& work, const Data& source) {
    vecamera::device::imaging::ImageFactory images({}, threads);
    vecamera::device::imaging::Graphics graphics;
    auto image = images.imageWithData(source);
    // The album keeps what the camera stored.
    if (work.quality > 0)
      image = imageCorrectedForCaptureOrientation(graphics, image, image->imageOrientation());
    const double side = work.side;
    if (work.side > 0) image = imageByScalingNotCroppingForSize(graphics, image, {side, side});
    const auto bytes = work.quality > 0
                           ? images.UIImageJPEGRepresentation(image, work.quality / 100.0)
                           : images.UIImagePNGRepresentation(image);
    if (!bytes) return Bytes();
    return Bytes(bytes->bytes().begin(), bytes->bytes().end());
  };
}

}  // namespace

Data readFile(const std::string& path) {
  std::error_code none;
  const auto size = std::filesystem::file_size(path, none);
  if (none) return {};
  // No larger at any time than the file is: memory is measured around it.
  Bytes bytes(size);
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
  return Data(std::move(bytes));
}

const Data& LocalWorker::load(const std::string& path) {
  if (path != path_) {
    source_ = readFile(path);
    path_ = path;
  }
  return source_;
}

std::optional<double> LocalWorker::time(const Work& work, const std::string& path) {
  const Data& source = load(path);
  const auto start = std::chrono::steady_clock::now();
  const Bytes bytes = function_(work, source);
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  if (bytes.empty()) return std::nullopt;
  return taken.count();
}

Bytes LocalWorker::result(const Work& work, const std::string& path) {
  return function_(work, load(path));
}

std::unique_ptr<Worker> deviceOn(const vecamera::device::imaging::ThreadBudget& threads,
                                 std::string name) {
  return std::make_unique<LocalWorker>(std::move(name), "", travelOn(threads));
}

std::unique_ptr<Worker> device(unsigned threads) {
  const std::string name =
      "device, " + std::to_string(threads) + " thread" + (threads == 1 ? "" : "s");
  const auto helpers = std::make_shared<ThreadPoolExecutor>(threads - 1);
  const auto travel = travelOn({threads, *helpers});
  return std::make_unique<LocalWorker>(
      name, "",
      [helpers, travel](const Work& work, const Data& source) { return travel(work, source); });
}

}  // namespace vecamera::bench
