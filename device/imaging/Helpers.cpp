#include "device/imaging/Helpers.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace vecamera::device {
namespace {

std::atomic<unsigned> picturesAtWork = 0;

}  // namespace

unsigned usualPictureThreads() {
  constexpr unsigned most = 2;
  return std::clamp(std::thread::hardware_concurrency(), 1u, most);
}

PictureAtWork::PictureAtWork() {
  ++picturesAtWork;
}

PictureAtWork::~PictureAtWork() {
  --picturesAtWork;
}

bool PictureAtWork::leavesRoom(unsigned threads) {
  return picturesAtWork < threads;
}

}  // namespace vecamera::device
