#include "device/foundation/files/Descriptor.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

namespace vecamera::device::foundation {
namespace {

TEST(DescriptorTest, WhatHasNoSizeIsReadToItsEndAndNoFurtherThanTheLimit) {
  const std::string text(300'000, 'x');
  for (const bool fits : {true, false}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Descriptor reading(ends[0]);
    std::thread writer([&, writing = Descriptor(ends[1])] {
      static_cast<void>(writeAll(writing, std::as_bytes(std::span(text))));
    });
    const auto read = readAll(reading, text.size() - (fits ? 0 : 1));
    writer.join();
    ASSERT_EQ(static_cast<bool>(read), fits);
    if (fits) {
      EXPECT_EQ(*read, Data::copyOf(text));
    } else {
      EXPECT_EQ(read.error().code, EFBIG);
    }
  }
}

}  // namespace
}  // namespace vecamera::device::foundation
