#include <gtest/gtest.h>

#include <random>

#include "HandFilledFluid.h"
#include "MeshChecks.h"

namespace kelvar::fluid {
namespace {

using test::HandFilledFluid;

// Every voxel is written by exactly one worker, so the field cannot depend on
// how many workers share the pass.
TEST(VofFieldThreads, SameFieldForAnyWorkerCount) {
    HandFilledFluid fluid(9, 7, 11);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> fill(0.0f, 1.0f);
    const unsigned char types[] = {LBM_CELL_FLUID, LBM_CELL_INTERFACE, LBM_CELL_EMPTY};
    for (unsigned n = 0; n < fluid.getGrid().getCount(); ++n) {
        if (random() % 4 == 0) continue;
        const unsigned short flags = random() % 2 ? MAC_FLAG_NEAR_INTERFACE : 0;
        fluid.placeLiquid(n / 77, n / 11 % 7, n % 11, types[random() % 3], fill(random), flags);
    }
    fluid.setThreads(1);
    fluid.rebuildVof();
    const Array<float> serial = fluid.get_VOF_Field().getValues();
    for (unsigned threads : {2u, 3u, 8u}) {
        fluid.setThreads(threads);
        fluid.rebuildVof();
        EXPECT_TRUE(kelvar::test::sameElements(fluid.get_VOF_Field().getValues(), serial)) << threads;
    }
}

}  // namespace
}  // namespace kelvar::fluid
