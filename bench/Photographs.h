#pragma once

#include <cstdint>
#include <filesystem>

#include "VECamera/platform/Value.h"

namespace vecamera::bench {

/// Pixels as the codecs' own interfaces take them: three bytes each, red, green, blue, or what a
/// JPEG stores.
struct Raster {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> bytes;

  std::uint8_t* row(std::size_t y) { return bytes.data() + y * width * 3; }
  const std::uint8_t* row(std::size_t y) const { return bytes.data() + y * width * 3; }
};

/// The device's test scene with the noise of a sensor over it, which is what makes real photographs
/// cost their time: as a JPEG of quality 92 with a chroma subsampling of 4:2:0, stored on its side
/// (orientation 6).
Data photograph(unsigned width, unsigned height);

/// The same picture upright as PNG, its rows filtered as most encoders do: each with the filter
/// that leaves the least sum of differences.
Data filteredPng(unsigned width, unsigned height);

/// Makes the file one of the two, by its extension, unless it is there.
void ensurePicture(const std::filesystem::path& path, unsigned width, unsigned height);

}  // namespace vecamera::bench
