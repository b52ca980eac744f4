#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

/// 64 bits that say what a picture looks like. Pictures that look alike have hashes that differ in
/// few bits: one encoded again, at another quality, in another format or at another size. Other
/// pictures, and the same one rotated or mirrored, differ in about half of them.
///
/// This is the hash by the discrete cosine transform: Zauner, "Implementation and Benchmarking of
/// Perceptual Image Hash Functions" (2010), section 3.2.1, with the lowest frequency included as in
/// Krawetz, "Looks Like It" (2011). The luma of the picture, upright and over white, is averaged
/// over 32 by 32 areas and transformed. Each of the 8 by 8 lowest frequencies gives a bit, row by
/// row from the highest bit on: whether its coefficient lies above the median of the other 63 by
/// more than a small margin. The lowest frequency, which is the mean, has no part in the median.
///
/// The margin is the rule for ties. It leaves what an encoder adds without effect, so that the many
/// coefficients of a flat picture or of a plain gradient that should be zero all give 0.
///
/// All arithmetic is on integers: the same pixels give the same hash on every machine.
struct PerceptualHash {
  std::uint64_t bits = 0;
  friend bool operator==(const PerceptualHash&, const PerceptualHash&) = default;
};

/// The hash of the encoded picture whose header this is, which is decoded no larger than needed.
/// Errors are those of decoding. Any thread.
ImageResult<PerceptualHash> perceptualHash(Bytes bytes, const PictureHeader& header,
                                           const ThreadBudget& threads = {});

/// In how many bits the two differ (the Hamming distance), 0 to 64.
int distanceBetween(PerceptualHash a, PerceptualHash b);

/// Sixteen hexadecimal digits in lower case, and back; nothing for any other text.
std::string toText(PerceptualHash hash);
std::optional<PerceptualHash> perceptualHashFromText(std::string_view text);

}  // namespace vecamera::device::imaging
