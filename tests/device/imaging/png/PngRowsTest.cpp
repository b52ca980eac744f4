#include <libdeflate.h>

#include <random>
#include <string_view>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"
#include "device/imaging/png/PngRows.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

using Raw = std::vector<std::uint8_t>;

constexpr std::uint8_t width = 20;
constexpr std::uint8_t height = 12;

bool readsRows(const Raw& png, const PictureHeader& header) {
  const auto rows = openPngRows(png, header, {}, {});
  Bitmap pixels = *Bitmap::uninitialized(header.width, header.height);
  return rows && (*rows)->read(pixels.row(0), header.height) && (*rows)->finish();
}

/// 1 where the picture is read both row by row and whole, 0 where neither.
int readings(const Raw& png) {
  const auto header = readHeader(png);
  if (!header || header->width != width || header->height != height) return 0;
  const bool whole = bool(decodePng(png, *header));
  const bool rows = readsRows(png, *header);
  EXPECT_EQ(rows, whole);
  return rows ? 1 : 0;
}

/// The parts of a PNG that may be wrong.
struct Parts {
  Raw rows;
  Raw packed;
  Raw beforeData;
  Raw betweenData;
  Raw afterData;
  Raw end;
};

Raw chunk(const char (&type)[5], Bytes contents) {
  Raw bytes;
  appendPngChunk(bytes, type, contents);
  return bytes;
}

Raw packedRows(const Raw& rows) {
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(6);
  Raw packed(libdeflate_zlib_compress_bound(compressor, rows.size()));
  packed.resize(
      libdeflate_zlib_compress(compressor, rows.data(), rows.size(), packed.data(), packed.size()));
  libdeflate_free_compressor(compressor);
  return packed;
}

Parts parts() {
  std::mt19937 random(7);
  Parts made;
  for (int y = 0; y < height; ++y) {
    made.rows.push_back(static_cast<std::uint8_t>(y % 5));
    for (int i = 0; i < 3 * width; ++i)
      made.rows.push_back(static_cast<std::uint8_t>(random() % 16));
  }
  made.packed = packedRows(made.rows);
  made.end = chunk("IEND", {});
  return made;
}

Raw assembled(const Parts& parts) {
  Raw png(pngSignature.begin(), pngSignature.end());
  const auto append = [&](const Raw& bytes) { png.insert(png.end(), bytes.begin(), bytes.end()); };
  append(chunk("IHDR", Raw{0, 0, 0, width, 0, 0, 0, height, 8, 2, 0, 0, 0}));
  append(parts.beforeData);
  const std::size_t half = parts.packed.size() / 2;
  append(chunk("IDAT", Bytes(parts.packed).first(half)));
  append(parts.betweenData);
  append(chunk("IDAT", Bytes(parts.packed).subspan(half)));
  append(parts.afterData);
  append(parts.end);
  return png;
}

void dropEnd(Raw& bytes, std::ptrdiff_t count) {
  bytes.erase(bytes.end() - count, bytes.end());
}

Raw withWrongChecksum(Raw bytes) {
  bytes.back() ^= 1;
  return bytes;
}

TEST(PngRowsTest, ReadsAndRefusesTheSameFilesAsDecodePng) {
  struct Kind {
    const char* name;
    int readings;
    void (*change)(Parts&);
  };
  const Kind kinds[] = {
      {"whole", 1, [](Parts&) {}},
      {"without the stream's checksum", 1, [](Parts& p) { dropEnd(p.packed, 4); }},
      {"with half of the stream's checksum", 1, [](Parts& p) { dropEnd(p.packed, 2); }},
      {"with a wrong checksum of the stream", 0, [](Parts& p) { p.packed.back() ^= 1; }},
      {"with bytes behind the stream", 1, [](Parts& p) { p.packed.insert(p.packed.end(), 9, 7); }},
      {"with a row too few", 0,
       [](Parts& p) {
         dropEnd(p.rows, 1 + 3 * width);
         p.packed = packedRows(p.rows);
       }},
      {"with a byte too few", 0,
       [](Parts& p) {
         p.rows.pop_back();
         p.packed = packedRows(p.rows);
       }},
      {"with a row too many", 1,
       [](Parts& p) {
         p.rows.resize(p.rows.size() + 1 + 3 * width);
         p.packed = packedRows(p.rows);
       }},
      {"with a filter that does not exist", 0,
       [](Parts& p) {
         p.rows[1 + 3 * width] = 5;
         p.packed = packedRows(p.rows);
       }},
      {"with a damaged comment", 1,
       [](Parts& p) {
         p.beforeData = withWrongChecksum(chunk("tEXt", Raw{'a', 0, 'b'}));
       }},
      {"with a damaged comment at the end", 1,
       [](Parts& p) {
         p.afterData = withWrongChecksum(chunk("tEXt", Raw{'a', 0, 'b'}));
       }},
      {"with a comment between the pixels", 0,
       [](Parts& p) {
         p.betweenData = chunk("tEXt", Raw{'a', 0, 'b'});
       }},
      {"with an empty piece of pixels", 1, [](Parts& p) { p.betweenData = chunk("IDAT", {}); }},
      {"with a part that must be known and is not", 0,
       [](Parts& p) { p.beforeData = chunk("ABCD", Raw{1}); }},
      {"with such a part behind the pixels", 0,
       [](Parts& p) { p.afterData = chunk("ABCD", Raw{1}); }},
      {"with a palette to choose from", 1,
       [](Parts& p) {
         p.beforeData = chunk("PLTE", Raw{1, 2, 3});
       }},
      {"with two palettes", 1,
       [](Parts& p) {
         p.beforeData = chunk("PLTE", Raw{1, 2, 3});
         appendPngChunk(p.beforeData, "PLTE", Raw{1, 2, 3});
       }},
      {"with a palette of odd length", 0,
       [](Parts& p) {
         p.beforeData = chunk("PLTE", Raw{1, 2, 3, 4});
       }},
      {"with a second head", 0,
       [](Parts& p) {
         p.beforeData = chunk("IHDR", Raw{0, 0, 0, width, 0, 0, 0, height, 8, 2, 0, 0, 0});
       }},
      {"without an end", 0, [](Parts& p) { p.end.clear(); }},
      {"with an end that holds something", 0, [](Parts& p) { p.end = chunk("IEND", Raw{1}); }},
      {"with a damaged end", 0, [](Parts& p) { p.end = withWrongChecksum(p.end); }},
      {"with bytes behind the end", 1, [](Parts& p) { p.end.insert(p.end.end(), 40, 1); }},
  };
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    Parts changed = parts();
    kind.change(changed);
    EXPECT_EQ(readings(assembled(changed)), kind.readings);
  }
}

TEST(PngRowsTest, PixelsThatTakeHardlyAnyBytesAreReadToTheLast) {
  // Each band of rows ends within the last bytes of some picture.
  for (std::uint32_t wide = 900; wide < 1100; wide += 7)
    for (const std::size_t pieceBytes : {std::size_t{1}, std::size_t{5}, std::size_t{1} << 20}) {
      const std::uint32_t high = 262144 / (3 * wide + 1) * 2 + 1;
      Raw png(pngSignature.begin(), pngSignature.end());
      const auto byte = [](std::uint32_t number, int shift) {
        return static_cast<std::uint8_t>(number >> shift);
      };
      appendPngChunk(png, "IHDR",
                     Raw{0, 0, byte(wide, 8), byte(wide, 0), 0, 0, byte(high, 8), byte(high, 0), 8,
                         2, 0, 0, 0});
      const Raw packed = packedRows(Raw(std::size_t{high} * (3 * wide + 1)));
      for (std::size_t at = 0; at < packed.size(); at += pieceBytes)
        appendPngChunk(png, "IDAT",
                       Bytes(packed).subspan(at, std::min(pieceBytes, packed.size() - at)));
      appendPngChunk(png, "IEND", {});
      EXPECT_TRUE(readsRows(png, *readHeader(png))) << wide << " in pieces of " << pieceBytes;
    }
}

TEST(PngRowsTest, RefusesTheSameDamageAsDecodePng) {
  const Raw whole = assembled(parts());
  for (std::size_t at = 0; at < whole.size(); ++at) {
    SCOPED_TRACE(at);
    const bool lacksOnlyTheLastChecksum = at + 4 >= whole.size();
    EXPECT_EQ(readings({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)}),
              lacksOnlyTheLastChecksum ? 1 : 0);
    Raw flipped = whole;
    flipped[at] ^= static_cast<std::uint8_t>(1u << at % 8);
    EXPECT_EQ(readings(flipped), 0);
  }
}

/// Noise as a PNG whose row y has filter y modulo 5, its pixels in chunks of a few bytes.
Data pngOfAllFilters(std::size_t columns, std::size_t rowCount, std::uint8_t channels) {
  std::mt19937 random(5);
  const std::size_t rowBytes = columns * channels;
  Raw rows;
  for (std::size_t y = 0; y < rowCount; ++y) {
    rows.push_back(static_cast<std::uint8_t>(y % 5));
    for (std::size_t i = 0; i < rowBytes; ++i) rows.push_back(static_cast<std::uint8_t>(random()));
  }
  const Raw packed = packedRows(rows);
  Raw png(pngSignature.begin(), pngSignature.end());
  const std::uint8_t colorType = channels == 3 ? 2 : 6;
  appendPngChunk(png, "IHDR",
                 Raw{0, 0, 0, static_cast<std::uint8_t>(columns), 0, 0, 0,
                     static_cast<std::uint8_t>(rowCount), 8, colorType, 0, 0, 0});
  for (std::size_t at = 0; at < packed.size(); at += 777)
    appendPngChunk(png, "IDAT",
                   Bytes(packed).subspan(at, std::min<std::size_t>(777, packed.size() - at)));
  appendPngChunk(png, "IEND", {});
  return Data(std::move(png));
}

TEST(PngRowsTest, RowsOfAPngAreWhatTheWholeOneHolds) {
  for (const std::uint8_t channels : {std::uint8_t{3}, std::uint8_t{4}}) {
    const Data png = pngOfAllFilters(201, 103, channels);
    const PictureHeader header = *readHeader(png.bytes());
    const auto rows = openPngRows(png.bytes(), header, {}, {});
    ASSERT_TRUE(rows);
    Bitmap actual = *Bitmap::uninitialized(201, 103);
    // In pieces other than the bands of the reader.
    for (std::size_t y = 0; y < 103; y += 7)
      ASSERT_TRUE((*rows)->read(actual.row(y), std::min<std::size_t>(7, 103 - y)));
    EXPECT_TRUE((*rows)->finish());
    EXPECT_EQ(largestDifference(actual, *decodePng(png.bytes(), header)), 0);
  }
}

TEST(PngRowsTest, AWorkerInflatesALargePngToTheSameRows) {
  constexpr std::size_t columns = 1400;
  constexpr std::size_t rowCount = 900;
  const auto png = *encodePngBitmap(noisyPicture(columns, rowCount, true));
  const PictureHeader header = *readHeader(png);
  ThreadPoolExecutor worker(1);
  const ThreadBudget two(2, worker);
  Bitmap actual = *Bitmap::uninitialized(columns, rowCount);
  const auto rows = openPngRows(png, header, {}, two);
  ASSERT_TRUE(rows && (*rows)->read(actual.row(0), rowCount) && (*rows)->finish());
  EXPECT_EQ(largestDifference(actual, *decodePng(png, header)), 0);
  // Destroyed in the middle, and corrupt in the middle.
  const auto left = openPngRows(png, header, {}, two);
  EXPECT_TRUE((*left)->read(actual.row(0), rowCount / 3));
  Raw damaged = png;
  damaged[damaged.size() / 2] ^= 1;
  const auto broken = openPngRows(damaged, header, {}, two);
  EXPECT_FALSE((*broken)->read(actual.row(0), rowCount));
}

}  // namespace
}  // namespace vecamera::device::imaging
