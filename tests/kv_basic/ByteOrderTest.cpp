#include <gtest/gtest.h>

#include <cstdint>

#include "kv_basic/ByteOrder.h"

namespace kelvar {
namespace {

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
