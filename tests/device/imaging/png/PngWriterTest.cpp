#include "device/imaging/png/PngWriter.h"

#include <libdeflate.h>

#include <latch>
#include <random>
#include <thread>

#include "device/imaging/codecs/Codecs.h"
#include "device/imaging/png/PngChunks.h"
#include "device/imaging/png/PngCodec.h"
#include "tests/device/imaging/TestPictures.h"

namespace vecamera::device::imaging {
namespace {

using Raw = std::vector<std::uint8_t>;

TEST(PngWriterTest, APngHasTheSameBytesWithAnyNumberOfThreads) {
  for (const bool withAlpha : {false, true}) {
    const Bitmap picture = noisyPicture(701, 611, withAlpha);
    const auto alone = *encodePngBitmap(picture);
    for (const unsigned threads : {2u, 3u, 8u}) {
      ThreadPoolExecutor workers(threads - 1);
      EXPECT_EQ(*encodePngBitmap(picture, {threads, workers}), alone);
    }
    const auto header = *readHeader(alone);
    EXPECT_LE(largestDifference(*decodePng(alone, header), picture), withAlpha ? 1 : 0);
  }
}

TEST(PngWriterTest, APngHasTheSameBytesWhereverTheCompressorStandsInMemory) {
  std::vector<Bitmap> pictures;
  for (int shade = 1; shade < 100; ++shade)
    pictures.push_back(bitmapOf(3, 3, [&](std::size_t, std::size_t) {
      return Rgba{shade, shade, shade};
    }));
  // Threads that are alive together have their stacks and their memory at different addresses.
  std::vector<std::vector<EncodedBytes>> results(32);
  std::latch unfinished(static_cast<std::ptrdiff_t>(results.size()));
  std::vector<std::jthread> threads;
  for (auto& result : results)
    threads.emplace_back([&] {
      for (const Bitmap& picture : pictures) result.push_back(*encodePngBitmap(picture));
      unfinished.arrive_and_wait();
    });
  threads.clear();
  for (const auto& result : results) EXPECT_EQ(result, results[0]);
}

/// White with lines of letters, which are black with grey edges.
Bitmap page() {
  constexpr std::size_t columns = 800;
  constexpr std::size_t rowCount = 640;
  constexpr std::size_t across = 8;
  constexpr std::size_t down = 16;
  std::mt19937 random(11);
  std::vector<int> shapes(26 * across * down);
  for (int& shade : shapes) shade = random() % 3 ? 255 : random() % 3 ? 0 : 120;
  std::vector<std::size_t> letters(columns / across * (rowCount / down));
  for (std::size_t& letter : letters) letter = random() % 26;
  return bitmapOf(columns, rowCount, [&](std::size_t x, std::size_t y) {
    const std::size_t line = y / down;
    const bool blank = line % 2 == 1 || x % across == 0;
    const std::size_t letter = letters[line * (columns / across) + x / across];
    const int shade = blank ? 255 : shapes[(letter * down + y % down) * across + x % across];
    return Rgba{shade, shade, shade};
  });
}

Raw filtersOf(const Raw& png, const Bitmap& picture) {
  Raw packed;
  PngChunkReader chunks(png);
  while (const auto chunk = chunks.next())
    if (chunk->type == "IDAT")
      packed.insert(packed.end(), chunk->contents.begin(), chunk->contents.end());
  const std::size_t rowBytes = picture.width() * 3 + 1;
  Raw rows(rowBytes * picture.height());
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  EXPECT_EQ(libdeflate_zlib_decompress(decompressor, packed.data(), packed.size(), rows.data(),
                                       rows.size(), nullptr),
            LIBDEFLATE_SUCCESS);
  libdeflate_free_decompressor(decompressor);
  Raw filters;
  for (std::size_t at = 0; at < rows.size(); at += rowBytes) filters.push_back(rows[at]);
  return filters;
}

TEST(PngWriterTest, FlatStripsStayUnfilteredAndPhotographsDoNot) {
  const Bitmap flat = page();
  const Raw png = *encodePngBitmap(flat);
  EXPECT_EQ(filtersOf(png, flat), Raw(flat.height(), 0));
  EXPECT_EQ(largestDifference(*decodePng(png, *readHeader(png)), flat), 0);

  const Bitmap photograph = noisyPicture(701, 611, false);
  EXPECT_EQ(filtersOf(*encodePngBitmap(photograph), photograph), Raw(611, 4));
}

}  // namespace
}  // namespace vecamera::device::imaging
