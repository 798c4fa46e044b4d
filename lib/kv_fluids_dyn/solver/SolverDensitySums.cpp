#include "kv_fluids_dyn/solver/internal/DensitySums.h"

#include <cfloat>
#include <cstdint>

namespace kelvar::fluid {

float liquidDensitySumAfterRelabel(const ListedDensities& listed, const LiquidCells& created) {
    float sum = 0.0f;
    uint32_t c = 0;
    const uint32_t createdCount = created.size();
    const uint32_t listedCount = listed.density.size();
    for (uint32_t i = 0; i < listedCount; ++i) {
        for (; c < createdCount && created[c]->getGridMonoindex() < listed.gridIndex[i]; ++c)
            if (created[c]->isFluid()) sum += created[c]->getDensity();
        sum += listed.density[i];
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
