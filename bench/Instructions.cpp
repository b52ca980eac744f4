// One work on a small picture, for counting its instructions: `vecamera_instructions W1 FILE`. The
// counter collects within `measured` only. `vecamera_instructions --environment` tells what the
// counts depend on beside the project.

#include <gnu/libc-version.h>
#include <isa-l.h>
#include <libdeflate.h>

// jpeglib.h needs what stands before it.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

#include "bench/Photographs.h"
#include "bench/Works.h"

namespace {

std::unique_ptr<vecamera::bench::Worker> worker;
vecamera::bench::Bytes result;

}  // namespace

extern "C" __attribute__((noinline)) void measured(const vecamera::bench::Work& work,
                                                   const std::string& path) {
  result = worker->result(work, path);
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
  const auto* work = std::find_if(std::begin(works), std::end(works),
                                  [&](const Work& each) { return each.name == arguments[1]; });
  if (work == std::end(works)) return 2;
  const std::string path = arguments[2];
  if (!std::filesystem::exists(path)) {
    constexpr unsigned width = 1008;
    constexpr unsigned height = 752;
    const vecamera::Data picture =
        work->source == "photo.png" ? filteredPng(width, height) : photograph(width, height);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(picture.bytes().data()),
               static_cast<std::streamsize>(picture.size()));
  }
  Work small = *work;
  small.side /= 4;
  worker = device(1);
  // Loads the picture.
  Work nothing = small;
  nothing.quality = 1;
  nothing.side = 1;
  worker->result(nothing, path);
  measured(small, path);
  return result.empty() ? 1 : 0;
}
