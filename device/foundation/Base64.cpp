#include "device/foundation/Base64.h"

#include <algorithm>
#include <array>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "device/base/SimdLevel.h"

namespace vecamera::device::foundation {
namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::size_t encodePortably(const std::uint8_t* bytes, std::size_t count, char* text) {
  std::size_t i = 0;
  for (; i + 3 <= count; i += 3) {
    const unsigned group = unsigned{bytes[i]} << 16 | unsigned{bytes[i + 1]} << 8 | bytes[i + 2];
    *text++ = alphabet[group >> 18];
    *text++ = alphabet[group >> 12 & 63];
    *text++ = alphabet[group >> 6 & 63];
    *text++ = alphabet[group & 63];
  }
  return i;
}

#if defined(__x86_64__)

// The first two vector encoders work alike, on lanes of twelve bytes that become sixteen
// characters. The bytes are spread so that each word of four holds one group, multiplications shift
// each six bits to a byte of their own, and the distance from there to the character is looked up
// by its range: capitals, small letters, each digit, "+" and "/".

__attribute__((target("ssse3"))) std::size_t encodeSsse3(const std::uint8_t* bytes,
                                                         std::size_t count, char* text) {
  const __m128i spread = _mm_set_epi8(10, 11, 9, 10, 7, 8, 6, 7, 4, 5, 3, 4, 1, 2, 0, 1);
  const __m128i distances =
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
  std::size_t i = 0;
  for (; i + 16 <= count; i += 12, text += 16) {
    const __m128i in =
        _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i)), spread);
    const __m128i odd =
        _mm_mulhi_epu16(_mm_and_si128(in, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
    const __m128i even =
        _mm_mullo_epi16(_mm_and_si128(in, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
    const __m128i sixes = _mm_or_si128(odd, even);
    const __m128i capital = _mm_cmpgt_epi8(_mm_set1_epi8(26), sixes);
    const __m128i range = _mm_or_si128(_mm_subs_epu8(sixes, _mm_set1_epi8(51)),
                                       _mm_and_si128(capital, _mm_set1_epi8(13)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(text),
                     _mm_add_epi8(sixes, _mm_shuffle_epi8(distances, range)));
  }
  return i;
}

__attribute__((target("avx2"))) std::size_t encodeAvx2(const std::uint8_t* bytes, std::size_t count,
                                                       char* text) {
  const __m256i spread =
      _mm256_broadcastsi128_si256(_mm_set_epi8(10, 11, 9, 10, 7, 8, 6, 7, 4, 5, 3, 4, 1, 2, 0, 1));
  const __m256i distances = _mm256_broadcastsi128_si256(
      _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                    '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0));
  std::size_t i = 0;
  for (; i + 28 <= count; i += 24, text += 32) {
    const auto* from = reinterpret_cast<const __m128i*>(bytes + i);
    const auto* next = reinterpret_cast<const __m128i*>(bytes + i + 12);
    const __m256i in =
        _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(from)),
                                                    _mm_loadu_si128(next), 1),
                            spread);
    const __m256i odd = _mm256_mulhi_epu16(_mm256_and_si256(in, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040));
    const __m256i even = _mm256_mullo_epi16(_mm256_and_si256(in, _mm256_set1_epi32(0x003F03F0)),
                                            _mm256_set1_epi32(0x01000010));
    const __m256i sixes = _mm256_or_si256(odd, even);
    const __m256i capital = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), sixes);
    const __m256i range = _mm256_or_si256(_mm256_subs_epu8(sixes, _mm256_set1_epi8(51)),
                                          _mm256_and_si256(capital, _mm256_set1_epi8(13)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(text),
                        _mm256_add_epi8(sixes, _mm256_shuffle_epi8(distances, range)));
  }
  return i;
}

/// Here bytes are spread, shifted and looked up by one instruction each.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) std::size_t encodeAvx512(
    const std::uint8_t* bytes, std::size_t count, char* text) {
  const __m512i spread =
      _mm512_setr_epi32(0x01020001, 0x04050304, 0x07080607, 0x0A0B090A, 0x0D0E0C0D, 0x10110F10,
                        0x13141213, 0x16171516, 0x191A1819, 0x1C1D1B1C, 0x1F201E1F, 0x22232122,
                        0x25262425, 0x28292728, 0x2B2C2A2B, 0x2E2F2D2E);
  // g++ 12 takes the forms without a mask for reading what was never set.
  constexpr __mmask64 all = ~__mmask64{0};
  const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040A);
  const __m512i characters = _mm512_loadu_si512(alphabet);
  std::size_t i = 0;
  for (; i + 64 <= count; i += 48, text += 64) {
    const __m512i in = _mm512_maskz_permutexvar_epi8(all, spread, _mm512_loadu_si512(bytes + i));
    const __m512i sixes = _mm512_maskz_multishift_epi64_epi8(all, shifts, in);
    _mm512_storeu_si512(text, _mm512_maskz_permutexvar_epi8(all, sixes, characters));
  }
  return i;
}

#endif

std::vector<NamedBase64Encoder> encodersHere() {
  std::vector<NamedBase64Encoder> encoders;
#if defined(__x86_64__)
  if (simdLevel() >= SimdLevel::avx512) encoders.push_back({"avx512", encodeAvx512});
  if (simdLevel() >= SimdLevel::avx2) encoders.push_back({"avx2", encodeAvx2});
  if (simdLevel() >= SimdLevel::ssse3) encoders.push_back({"ssse3", encodeSsse3});
#endif
  encoders.push_back({"portable", encodePortably});
  return encoders;
}

/// Four characters of the one or two bytes that are left.
void appendLastGroup(std::string& text, std::span<const std::uint8_t> left) {
  const unsigned group = unsigned{left[0]} << 16 | (left.size() == 2 ? unsigned{left[1]} << 8 : 0);
  text += alphabet[group >> 18];
  text += alphabet[group >> 12 & 63];
  text += left.size() == 2 ? alphabet[group >> 6 & 63] : '=';
  text += '=';
}

}  // namespace

std::span<const NamedBase64Encoder> base64Encoders() {
  static const std::vector<NamedBase64Encoder> encoders = encodersHere();
  return encoders;
}

std::string Base64::base64EncodedString(std::string_view prefix, const Data& data) const {
  std::string text;
  text.reserve(prefix.size() + (data.size() + 2) / 3 * 4);
  text = prefix;
  appendBase64(text, data);
  return text;
}

void Base64::appendBase64(std::string& text, const Data& data) const {
  // A string fills what it grows by, so the characters are made in pieces that stay in the
  // processor's nearest cache, and the string copies them from there: its memory is written once.
  constexpr std::size_t pieceBytes = 3072;
  std::array<char, pieceBytes / 3 * 4> piece;
  const Base64Encoder encode = base64Encoders().front().encode;
  auto bytes = data.bytes();
  text.reserve(text.size() + (bytes.size() + 2) / 3 * 4);
  while (bytes.size() >= 3) {
    const std::size_t count = std::min(bytes.size() / 3 * 3, pieceBytes);
    std::size_t done = encode(bytes.data(), count, piece.data());
    done += encodePortably(bytes.data() + done, count - done, piece.data() + done / 3 * 4);
    text.append(piece.data(), done / 3 * 4);
    bytes = bytes.subspan(done);
  }
  if (!bytes.empty()) appendLastGroup(text, bytes);
}

std::optional<Data> decodeBase64(std::string_view text) {
  constexpr std::string_view digits = alphabet;
  if (text.size() % 4 == 0)
    for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) text.remove_suffix(1);
  if (text.size() % 4 == 1) return std::nullopt;

  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() * 3 / 4);
  unsigned group = 0;
  int bits = 0;
  for (const char c : text) {
    const auto digit = digits.find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    group = group << 6 | static_cast<unsigned>(digit);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<std::uint8_t>(group >> bits & 0xFF));
  }
  // Bits that no byte takes up must be zero, or two texts would stand for the same bytes.
  if ((group & ((1U << bits) - 1)) != 0) return std::nullopt;
  return Data(std::move(bytes));
}

}  // namespace vecamera::device::foundation
