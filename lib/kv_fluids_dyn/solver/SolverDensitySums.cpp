#include "kv_fluids_dyn/solver/internal/DensitySums.h"

#include <cfloat>
#include <cstdint>

#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

float liquidDensitySum(const LiquidCells& cells) {
    float sum = 0.0f;
    for (const LBM_Q19_MAC_Cell3F* cell : cells) sum += cell->getDensity();
    return sum;
}

float liquidDensitySumAfterRelabel(const LiquidCells& listed, const LiquidCells& created, ListedDensities& scratch,
                                   const unsigned int& threads) {
    const uint32_t listedCount = listed.size();
    scratch.density.resize(listedCount);
    scratch.gridIndex.resize(listedCount);
    float* const density = scratch.density.data();
    uint32_t* const gridIndex = scratch.gridIndex.data();
    // An emptied cell adds +0, which leaves the sum as it was: the sum
    // starts at +0 and so never becomes -0, the one value +0 would change.
    runParallelIndices(
        listedCount,
        [&](const unsigned int&, uint32_t i) {
            const LBM_Q19_MAC_Cell3F* cell = listed[i];
            density[i] = cell->isFluid() ? cell->getDensity() : 0.0f;
            gridIndex[i] = cell->getGridMonoindex();
        },
        threads);
    float sum = 0.0f;
    uint32_t c = 0;
    const uint32_t createdCount = created.size();
    for (uint32_t i = 0; i < listedCount; ++i) {
        for (; c < createdCount && created[c]->getGridMonoindex() < gridIndex[i]; ++c)
            if (created[c]->isFluid()) sum += created[c]->getDensity();
        sum += density[i];
    }
    for (; c < createdCount; ++c)
        if (created[c]->isFluid()) sum += created[c]->getDensity();
    return sum;
}

Tuple2<float, float> gridDensityAndMass(const SolverGrid& grid) {
    Tuple2<float, float> sums{0.0f, 0.0f};
    for (const LBM_Cell3<float>* cell : grid.getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        const LBM_Q19_MAC_Cell3F* liquid = static_cast<const LBM_Q19_MAC_Cell3F*>(cell);
        sums.first += liquid->getDensity();
        sums.second += liquid->getMass();
    }
    return sums;
}

Tuple3<float> gridDensityRange(const SolverGrid& grid) {
    Tuple3<float> info{0.0f, FLT_MAX, -FLT_MAX};
    for (const LBM_Cell3<float>* cell : grid.getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        const float& density = static_cast<const LBM_Q19_MAC_Cell3F*>(cell)->getDensity();
        info.first += density;
        if (density < info.second) info.second = density;
        if (density > info.third) info.third = density;
    }
    return info;
}

}  // namespace kelvar::fluid
