#include <cmath>

#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/SpeedLimit.h"

namespace kelvar::fluid {

namespace {

// First moment of the cell's slots as they stand.
Vector3<float> firstMoment(const LBM_Q19_MAC_Cell3F& cell) {
    // The slots are one array, and getPdfAt hands out references into it;
    // read it directly when both ends say so, instead of 19 virtual calls.
    const float* const f = &cell.getPdfAt(0);
    if (&cell.getPdfAt(q19::kDirectionCount - 1) == f + (q19::kDirectionCount - 1)) {
        // The sum of the slots is finite only when every slot is.
        float sum = 0.0f;
        for (unsigned int i = 0; i < q19::kDirectionCount; ++i) sum += f[i];
        if (sum - sum == 0.0f) return q19::sparseFirstMoment(f);
    }
    Vector3<float> j;
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) j += q19::kVelocity[i] * cell.getPdfAt(i);
    return j;
}

}  // namespace

bool limitCellSpeed(LBM_Q19_MAC_Cell3F& cell, const float& maxSpeed, const float& maxSpeed2) {
    const Vector3<float> j = firstMoment(cell);
    const float jj = j.dot(j);
    if (!(jj > maxSpeed2)) return false;

    const float scale = static_cast<float>(static_cast<double>(maxSpeed) / std::sqrt(static_cast<double>(jj)));
    const Vector3<float> u = j * scale;
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) cell.setPdfAt(i, cell.calcFeq(i, 1.0f, u));
    return true;
}

void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads) {
    const float maxSpeed = context.getLatticeMaxSpeed();
    const float maxSpeed2 = context.getLatticeMaxSpeed2();
    const float viscosity = context.getLatticeViscosity();
    constexpr uint32_t kLanes = 4;
    LBM_Q19_MAC_Cell3F* const* const cells = liquid.data();
    runParallelRanges(
        liquid.size(),
        [&](const WorkRange& range) {
            const uint32_t end = range.first + range.count;
            uint32_t n = range.first;
            for (; n + kLanes <= end; n += kLanes) {
                LBM_Q19_Cell3<float>* const group[kLanes] = {cells[n], cells[n + 1], cells[n + 2], cells[n + 3]};
                for (LBM_Q19_MAC_Cell3F* cell : {cells[n], cells[n + 1], cells[n + 2], cells[n + 3]})
                    limitCellSpeed(*cell, maxSpeed, maxSpeed2);
                LBM_Q19_Cell3<float>::collision4(group, viscosity);
                // Liquid cells keep the lattice cell's moments.
                LBM_Q19_Cell3<float>::updateMoments4(group);
            }
            for (; n < end; ++n) {
                limitCellSpeed(*cells[n], maxSpeed, maxSpeed2);
                cells[n]->collision(viscosity);
                cells[n]->updateDensity();
                cells[n]->updateVelocity();
            }
        },
        threads);
}

}  // namespace kelvar::fluid
