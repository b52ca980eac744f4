#include "device/imaging/jpeg/JpegMemoryHooks.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "device/imaging/jpeg/JpegBlockReader.h"
#include "tests/device/imaging/TestJpegs.h"

namespace vecamera::device::imaging {
namespace {

/// The library's table of functions as the hooks know it. A library whose table is another one
/// calls its functions otherwise, too: look at JpegMemoryHooks.cpp before changing this.
struct KnownMemoryManager {
  void* (*allocSmall)(j_common_ptr, int, std::size_t);
  void* (*allocLarge)(j_common_ptr, int, std::size_t);
  JSAMPARRAY (*allocSamples)(j_common_ptr, int, JDIMENSION, JDIMENSION);
  JBLOCKARRAY (*allocBlocks)(j_common_ptr, int, JDIMENSION, JDIMENSION);
  jvirt_sarray_ptr (*requestSamples)(j_common_ptr, int, boolean, JDIMENSION, JDIMENSION,
                                     JDIMENSION);
  jvirt_barray_ptr (*requestBlocks)(j_common_ptr, int, boolean, JDIMENSION, JDIMENSION, JDIMENSION);
  void (*realize)(j_common_ptr);
  JSAMPARRAY (*accessSamples)(j_common_ptr, jvirt_sarray_ptr, JDIMENSION, JDIMENSION, boolean);
  JBLOCKARRAY (*accessBlocks)(j_common_ptr, jvirt_barray_ptr, JDIMENSION, JDIMENSION, boolean);
  void (*freePool)(j_common_ptr, int);
  void (*selfDestruct)(j_common_ptr);
  long maxMemory;
  long maxChunk;
};

#define EXPECT_SAME_MEMBER(known, member)                                                      \
  static_assert(                                                                               \
      std::is_same_v<decltype(KnownMemoryManager::known), decltype(jpeg_memory_mgr::member)>); \
  EXPECT_EQ(offsetof(KnownMemoryManager, known), offsetof(jpeg_memory_mgr, member))

TEST(JpegMemoryHooksTest, TheLibrariesTableIsTheOneThatTheHooksKnow) {
  EXPECT_EQ(sizeof(KnownMemoryManager), sizeof(jpeg_memory_mgr));
  EXPECT_SAME_MEMBER(allocBlocks, alloc_barray);
  EXPECT_SAME_MEMBER(requestBlocks, request_virt_barray);
  EXPECT_SAME_MEMBER(realize, realize_virt_arrays);
  EXPECT_SAME_MEMBER(accessBlocks, access_virt_barray);
  EXPECT_SAME_MEMBER(maxMemory, max_memory_to_use);
  // The header's version is checked by the library itself for its other structs, but not for this
  // one: the numbers behind the functions show whether the one at run time is the same.
  const Data jpeg = jpegOf(bitmapOfLetters("RG", 8));
  JpegReader reader(jpeg.bytes());
  ASSERT_TRUE(reader.readHeader());
  EXPECT_EQ(reader.info().mem->max_memory_to_use, 1L << 30);
  EXPECT_EQ(reader.info().mem->max_alloc_chunk, 1'000'000'000L);
}

TEST(JpegMemoryHooksTest, RowsOfBlocksAreThoseOfTheWholePicture) {
  const Data jpeg = jpegWith(landscape(75, 93), TJSAMP_420, UIImageOrientation::up);
  JpegReader whole(jpeg.bytes());
  ASSERT_TRUE(whole.readHeader());
  const auto all = whole.readCoefficients();
  ASSERT_TRUE(all);
  JpegReader reader(jpeg.bytes());
  ASSERT_TRUE(reader.readHeader());
  jpeg_decompress_struct& info = reader.info();
  JpegReadHooks hooks;
  int layouts = 0;
  hooks.install(
      info, [](void* count) { ++*static_cast<int*>(count); }, &layouts);
  info.buffered_image = TRUE;
  ASSERT_TRUE(jpeg_start_decompress(&info));
  EXPECT_EQ(layouts, 1);
  ASSERT_EQ(hooks.count(), 3u);
  for (JDIMENSION group = 0; group < info.total_iMCU_rows; ++group) {
    ASSERT_NE(jpeg_consume_input(&info), JPEG_SUSPENDED);
    for (std::size_t i = 0; i < hooks.count(); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      const auto rows = static_cast<JDIMENSION>(component.v_samp_factor);
      const JBLOCKARRAY expected = whole.info().mem->access_virt_barray(
          reinterpret_cast<j_common_ptr>(&whole.info()), (*all)[i], group * rows, rows, FALSE);
      const std::size_t size = component.width_in_blocks * sizeof(JBLOCK);
      for (JDIMENSION y = 0; y < rows && group * rows + y < component.height_in_blocks; ++y) {
        EXPECT_EQ(std::memcmp(hooks.blocks(i)[y], expected[y], size), 0) << group << ", " << i;
        std::memset(hooks.blocks(i)[y], 0, size);
      }
    }
  }
}

}  // namespace
}  // namespace vecamera::device::imaging
