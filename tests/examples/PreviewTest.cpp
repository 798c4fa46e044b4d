#include <gtest/gtest.h>

#include "PreviewRenderer.h"

namespace kelvar::demo {
namespace {

const Vector3<float> kWhite(1.0f, 1.0f, 1.0f);

// A 64 x 64 view down -z from (0, 0, 5) with a 90 degree field of view: a
// point at depth d and lateral offset u lands 32 * u / d pixels off centre.
PreviewRasterizer squareView(const Vector3<float>& towardsLight) {
    PreviewRasterizer rasterizer(64, 64, kWhite, kWhite);
    rasterizer.setCamera({0.0f, 0.0f, 5.0f}, {0.0f, 0.0f, 0.0f}, 90.0f);
    rasterizer.setLight(towardsLight, 0.25f);
    return rasterizer;
}

// The square from (-1, -1) to (1, 1) at height z.
void drawSquare(PreviewRasterizer& rasterizer, float z, const Vector3<float>& colour) {
    rasterizer.drawTriangle({-1, -1, z}, {1, -1, z}, {1, 1, z}, colour);
    rasterizer.drawTriangle({-1, -1, z}, {1, 1, z}, {-1, 1, z}, colour);
}

std::vector<uint8_t> pixel(const PreviewRasterizer& rasterizer, unsigned x, unsigned y) {
    const RgbImage& image = rasterizer.image();
    const uint8_t* p = &image.pixels[(std::size_t(y) * image.width + x) * 3];
    return {p[0], p[1], p[2]};
}

TEST(PreviewRasterizer, CoverageDepthAndLambertShading) {
    const Vector3<float> orange(1.0f, 0.5f, 0.0f);
    PreviewRasterizer facing = squareView({0.0f, 0.0f, 1.0f});
    drawSquare(facing, 0.0f, orange);
    // x from 32 - 6.4 to 32 + 6.4 covers the pixel centres 26.5 ... 37.5.
    unsigned covered = 0;
    for (unsigned x = 0; x < 64; ++x) covered += pixel(facing, x, 32) != pixel(facing, 0, 0) ? 1 : 0;
    EXPECT_EQ(covered, 12u);
    EXPECT_EQ(pixel(facing, 32, 32), (std::vector<uint8_t>{255, 128, 0}));  // full light

    // Grazing light leaves the ambient part; light from behind lights the back face.
    PreviewRasterizer grazing = squareView({1.0f, 0.0f, 0.0f});
    drawSquare(grazing, 0.0f, orange);
    EXPECT_EQ(pixel(grazing, 32, 32), (std::vector<uint8_t>{64, 32, 0}));
    PreviewRasterizer behind = squareView({0.0f, 0.0f, -1.0f});
    drawSquare(behind, 0.0f, orange);
    EXPECT_EQ(pixel(behind, 32, 32), (std::vector<uint8_t>{255, 128, 0}));

    // The nearer square wins in either drawing order; one behind the eye is skipped.
    const Vector3<float> red(1.0f, 0.0f, 0.0f);
    for (const float first : {0.0f, 1.0f}) {
        PreviewRasterizer view = squareView({0.0f, 0.0f, 1.0f});
        drawSquare(view, first, first == 0.0f ? kWhite : red);
        drawSquare(view, 1.0f - first, first == 0.0f ? red : kWhite);
        drawSquare(view, 6.0f, kWhite);
        EXPECT_EQ(pixel(view, 32, 32), (std::vector<uint8_t>{255, 0, 0})) << first;
    }
}

}  // namespace
}  // namespace kelvar::demo
