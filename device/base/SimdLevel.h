#pragma once

namespace vecamera::device {

/// The instruction sets of which there are functions beside those for every processor, each with
/// those before it. The last one has the byte permutations of AVX-512 (VBMI).
enum class SimdLevel { baseline, ssse3, sse41, avx2, avx512 };

/// The highest that this processor runs. Any thread.
inline SimdLevel simdLevel() {
#if defined(__x86_64__)
  static const SimdLevel level = [] {
    if (!__builtin_cpu_supports("ssse3")) return SimdLevel::baseline;
    if (!__builtin_cpu_supports("sse4.1")) return SimdLevel::ssse3;
    if (!__builtin_cpu_supports("avx2")) return SimdLevel::sse41;
    const bool hasBytePermutations =
        __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi");
    return hasBytePermutations ? SimdLevel::avx512 : SimdLevel::avx2;
  }();
  return level;
#else
  return SimdLevel::baseline;
#endif
}

}  // namespace vecamera::device
