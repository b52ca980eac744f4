// One workload on a small picture, for counting its instructions: `vecamera_instructions W1 FILE`.
// The counter collects within `measured` only. `vecamera_instructions --environment` prints what
// the counts depend on beside the project.

#include "bench/Contender.h"
#include "bench/Photographs.h"

// isa-l.h defines names that the module's headers use, and jpeglib.h needs what stands before it.
#include <cstddef>
#include <cstdio>

#include <gnu/libc-version.h>
#include <isa-l.h>
#include <jpeglib.h>
#include <libdeflate.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace {

std::unique_ptr<vecamera::bench::Contender> contender;
vecamera::bench::EncodedBytes result;

}  // namespace

extern "C" __attribute__((noinline)) void measured(const vecamera::bench::Workload& workload,
                                                   const std::string& path) {
  result = contender->result(workload, path);
}

#define VECAMERA_TEXT_OF(words) #words
#define VECAMERA_TEXT(macro) VECAMERA_TEXT_OF(macro)

int main(int count, char** arguments) {
  using namespace vecamera::bench;
  if (count == 2 && arguments[1] == std::string_view("--environment")) {
    printf(
        "{\"compiler\": \"g++ %s\", \"libjpeg-turbo\": \"%s\", \"ISA-L\": \"%d.%d.%d\", "
        "\"libdeflate\": \"%s\", \"glibc\": \"%s\"}\n",
        __VERSION__, VECAMERA_TEXT(LIBJPEG_TURBO_VERSION), ISAL_MAJOR_VERSION, ISAL_MINOR_VERSION,
        ISAL_PATCH_VERSION, LIBDEFLATE_VERSION_STRING, gnu_get_libc_version());
    return 0;
  }
  if (count != 3) return 2;
  const auto* workload =
      std::find_if(std::begin(workloads), std::end(workloads),
                   [&](const Workload& each) { return each.name == arguments[1]; });
  if (workload == std::end(workloads)) return 2;
  const std::string path = arguments[2];
  ensurePicture(path, 1008, 752);
  Workload small = *workload;
  small.side /= 4;
  contender = device(1);
  // Loads the picture.
  Workload nothing = small;
  nothing.quality = 1;
  nothing.side = 1;
  contender->result(nothing, path);
  measured(small, path);
  return result.empty() ? 1 : 0;
}
