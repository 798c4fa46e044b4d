#include <gtest/gtest.h>

#include "kv_fluids_dyn/domain/FrictionTable.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/domain/internal/FrictionEvaluator.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::fluid {
namespace {

// A 4 x 4 texture whose first column holds 255 in row 0 and 0 elsewhere,
// with 128 at the first texel of row 1 (where column 4 of row 0 reads).
TEST(Friction, TextureColumnsWrapOverOnePastTheLast) {
    Image image;
    ASSERT_TRUE(image.create(4, 4, 8, 1));
    image.pixel(0, 0)[0] = 255;
    image.pixel(0, 1)[0] = 128;
    FrictionData data;
    data.set(image, 0.2f, 0.8f);
    EXPECT_EQ(FrictionEvaluator::sampleTexture(data, {0.0f, 0.0f}), 0.8f);
    EXPECT_EQ(FrictionEvaluator::sampleTexture(data, {0.5f, 0.5f}), 0.2f);
    const float half = 128.0f / 255.0f * (0.8f - 0.2f) + 0.2f;
    EXPECT_EQ(FrictionEvaluator::sampleTexture(data, {1.0f, 0.0f}), half) << "u = 1 reads column 4";
    EXPECT_EQ(FrictionEvaluator::sampleTexture(data, {1.25f, 0.0f}), 0.8f) << "x = 5 wraps to 0";
    EXPECT_EQ(FrictionEvaluator::sampleTexture(data, {-0.25f, 0.0f}), half) << "x = -1 wraps to 4";
    // The far corner and absurd coordinates stay inside the image's buffer.
    for (const float t : {1.0f, 1e30f, -1e30f, std::nanf("")})
        EXPECT_GE(FrictionEvaluator::sampleTexture(data, {t, t}), 0.2f) << t;
}

// Two faces in a cell: a constant 1 and a texture face whose plane the cell
// centre projects outside of; the texture face still counts. The table keeps
// the first record of an id.
TEST(Friction, CellsAverageTheirFacesAndMissedFacesDilute) {
    Mesh mesh = makeBoxMesh(Box3<float>({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}));
    Array<FacePlanes> faces;
    buildFacePlanes(mesh, faces);
    Image image;
    ASSERT_TRUE(image.create(1, 1, 8, 1));
    FrictionTable table;
    FrictionData constant;
    constant.set(1.0f);
    FrictionData texture;
    texture.set(image, 0.0f, 1.0f);
    EXPECT_TRUE(table.insert(1, constant) && table.insert(2, texture));
    EXPECT_FALSE(table.insert(1, texture));
    MAC_LBM_Fluid3 fluid;

    const FrictionEvaluator evaluator(fluid, mesh, table, &faces);
    const Box3<float> farCell({5.0f, 5.0f, 5.0f}, {6.0f, 6.0f, 6.0f});
    EXPECT_EQ(evaluator.evaluate({{1, 0}, {2, 0}}, farCell), 0.5f);
    EXPECT_EQ(evaluator.evaluate({{1, 0}, {1, 1}}, farCell), 1.0f);
    EXPECT_EQ(evaluator.evaluate({}, farCell), 0.0f);
    FrictionData out;
    out.set(0.5f);
    EXPECT_FALSE(table.find(5, out));
    EXPECT_TRUE(out.isConstant() && out.getConstant() == 0.5f) << "a missing id leaves the output alone";
    EXPECT_EQ(FrictionEvaluator(fluid, mesh, table, nullptr).evaluate({{1, 0}}, farCell), 0.0f)
        << "no per-face data";
}

}  // namespace
}  // namespace kelvar::fluid
