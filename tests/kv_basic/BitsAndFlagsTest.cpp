#include <gtest/gtest.h>

#include "kv_basic/ArrayBit.h"
#include "kv_basic/Flag.h"

namespace kelvar {
namespace {

TEST(ArrayBit, BitsBeyondSixtyFourAreIndependent) {
    ArrayBit bits(130);
    EXPECT_EQ(bits.size(), 130u);
    EXPECT_FALSE(bits.any());
    for (uint32_t i : {0u, 63u, 64u, 127u, 129u}) bits.set(i);
    for (uint32_t i = 0; i < 130; ++i)
        EXPECT_EQ(bits.test(i), i == 0 || i == 63 || i == 64 || i == 127 || i == 129) << i;
    bits.clear(64);
    EXPECT_FALSE(bits.test(64));
    EXPECT_TRUE(bits.test(63));

    ArrayBit copy(bits);
    bits.clearAll();
    EXPECT_FALSE(bits.any());
    EXPECT_TRUE(copy.test(129));
    EXPECT_FALSE(copy.test(128));

    // Shrinking to inline storage and growing again start from zero.
    copy.resize(64);
    EXPECT_FALSE(copy.any());
    copy.set(63);
    copy = bits;
    EXPECT_EQ(copy.size(), 130u);
    EXPECT_FALSE(copy.any());
}

struct OwnerTag {};
using Flags = Flag<OwnerTag, unsigned short>;

TEST(Flag, SetClearAndTestTouchOnlyTheirBits) {
    Flags f;
    EXPECT_EQ(f.get(), 0);
    f.set(0x0001 | 0x0200);
    EXPECT_TRUE(f.test(0x0200));
    EXPECT_TRUE(f.test(0x0004 | 0x0001));  // any of
    EXPECT_FALSE(f.testAll(0x0004 | 0x0001));
    EXPECT_TRUE(f.testAll(0x0201));
    f.clear(0x0001);
    EXPECT_EQ(f.get(), 0x0200);
    f.setAll(0xFFFF);
    f.clear(0x8000);
    EXPECT_EQ(f.get(), 0x7FFF);
    EXPECT_EQ(f, Flags(0x7FFF));
    f.reset();
    EXPECT_EQ(f.get(), 0);
    static_assert(sizeof(Flags) == sizeof(unsigned short));
}

}  // namespace
}  // namespace kelvar
