#include "tests/ios/platform/SoftwarePhone.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace vecamera::ios {
namespace {

std::atomic<const Platform*> current{nullptr};

}  // namespace

const Platform& softwarePlatform() {
  const Platform* platform = current;
  if (!platform) {
    std::fputs("a stand-in of the phone is used without a software device\n", stderr);
    std::abort();
  }
  return *platform;
}

bool hasSoftwarePlatform() {
  return current != nullptr;
}

void setSoftwarePlatform(const Platform* platform) {
  current = platform;
}

}  // namespace vecamera::ios
