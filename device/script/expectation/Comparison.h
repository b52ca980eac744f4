#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "device/script/expectation/Expectation.h"

namespace vecamera::device::script {

struct ComparisonOptions {
  /// In how many of its 64 bits the perceptual hash of a picture may differ.
  int maxDistance = 6;
};

/// One thing that came otherwise than expected.
struct Difference {
  /// The step, counted from 0 as in `failed`, and its "do"; behind the last step, that is
  /// `endOfScript`.
  std::size_t step = 0;
  std::string action;
  /// In one line: `answer to "first": media.width: expected 640, came 50`.
  std::string message;

  /// `step 3 (capture): MESSAGE`.
  std::string description() const;
};

/// What differs, in the order of the steps; nothing where what came is as expected. Both are in the
/// portable form. In each step the events are aligned first, so that one that is missing or too
/// many does not make all that follow differ.
///
/// Values are compared exactly but for these. The perceptual hash of a picture may differ by the
/// distance. A number of `bytes` (and the one in a state's `data`) may differ by a fifth, or by 512
/// where that is more; the `duration` of a movie by a tenth of a second. A `sha256` counts nowhere.
std::vector<Difference> compare(const Expectation& expected, const Expectation& actual,
                                const ComparisonOptions& options);

}  // namespace vecamera::device::script
