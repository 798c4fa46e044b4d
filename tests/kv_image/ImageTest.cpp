#include <gtest/gtest.h>

#include "kv_image/Image.h"

namespace kelvar {
namespace {

TEST(Image, DepthsDescribeTheLayoutAndPaddingFollowsZeroed) {
    Image rgb16;
    ASSERT_TRUE(rgb16.create(5, 3, 16, 3));
    EXPECT_EQ(rgb16.pixdepth(), 48);
    EXPECT_EQ(rgb16.bytesPerPixel(), 6);
    EXPECT_EQ(rgb16.rowBytes(), 30u);
    EXPECT_EQ(rgb16.pixel(2, 1) - rgb16.getBuffer(), 42);

    Image grey;
    ASSERT_TRUE(grey.create(4, 4, 8, 1));
    grey.pixel(3, 3)[0] = 255;
    EXPECT_EQ(grey.getBuffer()[15], 255);
    EXPECT_EQ(grey.getBuffer()[4 * 4 + 4], 0);  // one past the last row's last column: padding
}

TEST(Image, InvalidShapesAreRefusedAndLeaveTheImageAlone) {
    Image image;
    ASSERT_TRUE(image.create(2, 2, 8, 4));
    image.pixel(1, 1)[3] = 7;
    EXPECT_FALSE(image.create(-1, 2, 8, 1));
    EXPECT_FALSE(image.create(2, 2, 12, 1));
    EXPECT_FALSE(image.create(2, 2, 8, 0));
    EXPECT_FALSE(image.create(2, 2, 8, 5));
    EXPECT_FALSE(image.create(1 << 20, 1 << 20, 16, 4));
    EXPECT_EQ(image.width(), 2);
    EXPECT_EQ(image.pixdepth(), 32);
    EXPECT_EQ(image.pixel(1, 1)[3], 7);

    const Image copy = image;
    EXPECT_NE(copy.getBuffer(), image.getBuffer());
    EXPECT_EQ(copy.pixel(1, 1)[3], 7);
}

}  // namespace
}  // namespace kelvar
