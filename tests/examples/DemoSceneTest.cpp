#include <gtest/gtest.h>

#include "DemoOptions.h"
#include "DemoScene.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"

namespace kelvar::demo {
namespace {

// The dam-break column starts with a free surface at every resolution: it
// has interface cells, and no full cell has an empty site beside it (a
// column without a surface never moves).
TEST(DemoScene, TheColumnHasAFreeSurfaceAtEveryResolution) {
    for (unsigned int cells : {20000u, 60000u, 80000u, 120000u}) {
        DemoOptions options;
        DemoScene scene;
        std::string error;
        ASSERT_TRUE(DemoScene::create(options, scene, error)) << error;
        fluid::MAC_LBM_Fluid3 fluid;
        scene.build(fluid, cells);
        const auto& grid = fluid.getGrid();
        unsigned int surface = 0, fullNextToGas = 0;
        for (unsigned int i = 1; i + 1 < grid.getNx(); ++i)
            for (unsigned int j = 1; j + 1 < grid.getNy(); ++j)
                for (unsigned int k = 1; k + 1 < grid.getNz(); ++k) {
                    const fluid::LBM_Cell3<float>* cell = grid.at(i, j, k);
                    if (cell == nullptr) continue;
                    surface += cell->getType() == fluid::LBM_CELL_INTERFACE;
                    if (cell->getType() != fluid::LBM_CELL_FLUID) continue;
                    fullNextToGas += grid.at(i - 1, j, k) == nullptr || grid.at(i + 1, j, k) == nullptr ||
                                     grid.at(i, j - 1, k) == nullptr || grid.at(i, j + 1, k) == nullptr ||
                                     grid.at(i, j, k - 1) == nullptr || grid.at(i, j, k + 1) == nullptr;
                }
        EXPECT_GT(surface, 0u) << cells << " cells";
        EXPECT_EQ(fullNextToGas, 0u) << cells << " cells";
    }
}

}  // namespace
}  // namespace kelvar::demo
