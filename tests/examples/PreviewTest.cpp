#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <filesystem>

#include "PngFile.h"
#include "PreviewRenderer.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::demo {
namespace {

const Vector3<float> kWhite(1.0f, 1.0f, 1.0f);
const Vector3<float> kBlack(0.0f, 0.0f, 0.0f);

// A 64 x 64 view down -z from (0, 0, 5) with a 90 degree field of view: a
// point at depth d and lateral offset u lands 32 * u / d pixels off centre.
PreviewRasterizer squareView(const Vector3<float>& towardsLight = {0.0f, 0.0f, 1.0f}) {
    PreviewRasterizer rasterizer(64, 64, kWhite, kWhite);
    rasterizer.setCamera({0.0f, 0.0f, 5.0f}, {0.0f, 0.0f, 0.0f}, 90.0f);
    rasterizer.setLight(towardsLight, 0.25f);
    return rasterizer;
}

void drawSquare(PreviewRasterizer& rasterizer, float z, const Vector3<float>& colour) {
    rasterizer.drawTriangle({-1, -1, z}, {1, -1, z}, {1, 1, z}, colour);
    rasterizer.drawTriangle({-1, -1, z}, {1, 1, z}, {-1, 1, z}, colour);
}

const uint8_t* pixel(const RgbImage& image, unsigned x, unsigned y) {
    return &image.pixels[(std::size_t(y) * image.width + x) * 3];
}

std::vector<uint8_t> rgb(const uint8_t* p) { return {p[0], p[1], p[2]}; }

TEST(PreviewRasterizer, CoversPixelCentresOfTheProjectedSquare) {
    PreviewRasterizer rasterizer = squareView();
    drawSquare(rasterizer, 0.0f, kBlack);
    // x from 32 - 6.4 to 32 + 6.4: the centres 26.5 ... 37.5.
    unsigned covered = 0;
    for (unsigned x = 0; x < 64; ++x) covered += pixel(rasterizer.image(), x, 32)[0] == 0 ? 1 : 0;
    EXPECT_EQ(covered, 12u);
    EXPECT_EQ(pixel(rasterizer.image(), 26, 26)[0], 0);
    EXPECT_EQ(pixel(rasterizer.image(), 25, 32)[0], 255);
    EXPECT_EQ(pixel(rasterizer.image(), 38, 32)[0], 255);
}

TEST(PreviewRasterizer, LambertShadingWithAmbient) {
    const Vector3<float> orange(1.0f, 0.5f, 0.0f);
    PreviewRasterizer facing = squareView({0.0f, 0.0f, 1.0f});
    drawSquare(facing, 0.0f, orange);
    EXPECT_EQ(rgb(pixel(facing.image(), 32, 32)), (std::vector<uint8_t>{255, 128, 0}));
    PreviewRasterizer grazing = squareView({1.0f, 0.0f, 0.0f});
    drawSquare(grazing, 0.0f, orange);
    EXPECT_EQ(rgb(pixel(grazing.image(), 32, 32)), (std::vector<uint8_t>{64, 32, 0}));
    // Lit from behind: both sides of a triangle take the light.
    PreviewRasterizer behind = squareView({0.0f, 0.0f, -1.0f});
    drawSquare(behind, 0.0f, orange);
    EXPECT_EQ(rgb(pixel(behind.image(), 32, 32)), (std::vector<uint8_t>{255, 128, 0}));
}

TEST(PreviewRasterizer, NearerTriangleWinsInEitherOrder) {
    const Vector3<float> red(1.0f, 0.0f, 0.0f);
    const Vector3<float> green(0.0f, 1.0f, 0.0f);
    PreviewRasterizer nearFirst = squareView();
    drawSquare(nearFirst, 1.0f, red);
    drawSquare(nearFirst, 0.0f, green);
    PreviewRasterizer farFirst = squareView();
    drawSquare(farFirst, 0.0f, green);
    drawSquare(farFirst, 1.0f, red);
    for (const PreviewRasterizer* r : {&nearFirst, &farFirst})
        EXPECT_EQ(rgb(pixel(r->image(), 32, 32)), (std::vector<uint8_t>{255, 0, 0}));
}

TEST(PreviewRasterizer, TrianglesBehindTheCameraAreSkipped) {
    PreviewRasterizer rasterizer = squareView();
    drawSquare(rasterizer, 6.0f, kBlack);
    drawSquare(rasterizer, 5.0f, kBlack);
    for (uint8_t value : rasterizer.image().pixels) ASSERT_EQ(value, 255);
}

TEST(PreviewRender, ShowsTheLiquidInsideTheTank) {
    const Box3<float> tank({-1.0f, -0.5f, -0.5f}, {1.0f, 0.5f, 0.5f});
    auto bluePixels = [](const RgbImage& image) {
        unsigned count = 0;
        for (std::size_t n = 0; n < image.pixels.size(); n += 3)
            count += image.pixels[n + 2] > image.pixels[n] + 60 ? 1 : 0;
        return count;
    };
    const RgbImage empty = renderPreview(Mesh(), tank, 160, 100);
    ASSERT_EQ(empty.pixels.size(), 160u * 100u * 3u);
    EXPECT_EQ(bluePixels(empty), 0u);
    const RgbImage full = renderPreview(makeBoxMesh(Box3<float>({-1.0f, -0.5f, -0.5f}, {0.0f, 0.2f, 0.5f})), tank, 160, 100);
    EXPECT_GT(bluePixels(full), 160u * 100u / 20u);
}

class PngFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder = std::filesystem::temp_directory_path() / ("kv_png_test_" + std::to_string(getpid()));
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::filesystem::path folder;
};

TEST_F(PngFileTest, WrittenImageDecodesToTheSamePixels) {
    RgbImage image;
    image.width = 7;
    image.height = 3;
    for (unsigned n = 0; n < 7 * 3 * 3; ++n) image.pixels.push_back(uint8_t(n * 11));
    const std::string path = (folder / "small.png").string();
    std::string error;
    ASSERT_TRUE(writePng(path, image, error)) << error;

    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&png, path.c_str()), 0) << png.message;
    png.format = PNG_FORMAT_RGB;
    ASSERT_EQ(png.width, 7u);
    ASSERT_EQ(png.height, 3u);
    std::vector<uint8_t> decoded(PNG_IMAGE_SIZE(png));
    ASSERT_NE(png_image_finish_read(&png, nullptr, decoded.data(), 0, nullptr), 0) << png.message;
    EXPECT_EQ(decoded, image.pixels);
}

TEST_F(PngFileTest, FailuresNameTheFile) {
    RgbImage image{2, 2, std::vector<uint8_t>(12, 0)};
    const std::string path = (folder / "missing" / "x.png").string();
    std::string error;
    EXPECT_FALSE(writePng(path, image, error));
    EXPECT_EQ(error.rfind(path, 0), 0u) << error;
    EXPECT_FALSE(writePng((folder / "empty.png").string(), RgbImage{}, error));
}

}  // namespace
}  // namespace kelvar::demo
