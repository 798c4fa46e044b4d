#include <gtest/gtest.h>

#include <cstdint>

#include "kv_basic/ArrayBit.h"
#include "kv_basic/ByteOrder.h"
#include "kv_basic/Flag.h"

namespace kelvar {
namespace {

// Bits either side of each word boundary are independent, copies are deep
// and resizing, also down to the inline word, clears every bit.
TEST(ArrayBit, BitsAcrossWordsAreIndependentAndCopiesDeep) {
    ArrayBit bits(130);
    for (uint32_t i : {0u, 63u, 64u, 127u, 129u}) bits.set(i);
    bits.clear(64);
    for (uint32_t i = 0; i < 130; ++i) EXPECT_EQ(bits.test(i), i == 0 || i == 63 || i == 127 || i == 129) << i;

    ArrayBit copy(bits);
    bits.clearAll();
    EXPECT_FALSE(bits.any());
    EXPECT_TRUE(copy.test(129));
    copy.resize(64);
    EXPECT_FALSE(copy.any());
    copy.set(63);
    copy = bits;
    EXPECT_EQ(copy.size(), 130u);
    EXPECT_FALSE(copy.any());
}

struct OwnerTag {};
using Flags = Flag<OwnerTag, unsigned short>;

// test() is "any of", testAll() "all of"; clear() must survive the promotion
// of the short to int (the top bit) and leave the other bits alone.
TEST(Flag, TestIsAnyOfAndClearTouchesOnlyItsBits) {
    Flags f;
    f.set(0x0001 | 0x0200);
    EXPECT_TRUE(f.test(0x0004 | 0x0001));
    EXPECT_FALSE(f.testAll(0x0004 | 0x0001));
    EXPECT_TRUE(f.testAll(0x0201));
    f.clear(0x0001);
    EXPECT_EQ(f.get(), 0x0200);
    f.setAll(0xFFFF);
    f.clear(0x8000);
    EXPECT_EQ(f.get(), 0x7FFF);
    static_assert(sizeof(Flags) == sizeof(unsigned short));
}

TEST(ByteOrder, StoresLowByteFirstAndLoadsBack) {
    unsigned char bytes[8] = {};
    storeLittleEndian(std::uint32_t{0x0A0B0C0D}, bytes);
    EXPECT_EQ(bytes[0], 0x0D);
    EXPECT_EQ(bytes[3], 0x0A);
    EXPECT_EQ(loadLittleEndian<std::uint32_t>(bytes), 0x0A0B0C0Du);

    const double values[1] = {0.1};
    storeLittleEndian(values, 1, bytes);
    EXPECT_EQ(bytes[0], 0x9A);  // 0.1 is 0x3FB999999999999A
    EXPECT_EQ(bytes[7], 0x3F);
    double back[1] = {};
    EXPECT_EQ(loadLittleEndian(back, 1, bytes), bytes + 8);
    EXPECT_EQ(back[0], 0.1);
}

}  // namespace
}  // namespace kelvar
