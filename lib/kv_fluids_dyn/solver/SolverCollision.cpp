#include <cmath>

#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/CollisionLanes8.h"
#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/SpeedLimit.h"
#include "kv_math/internal/Float4.h"

namespace kelvar::fluid {

namespace {

// The SSE path's group of cells.
constexpr uint32_t kCollisionLanes4 = 4;

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

// The slots of four liquid cells as 19 lanes of four: lane c of direction i
// is cell c's slot i. A liquid cell keeps the lattice cell's slot array, so
// its slots are read directly rather than through 19 virtual calls.
void gatherSlots(LBM_Q19_MAC_Cell3F* const (&cells)[4], Float4 (&lanes)[q19::kDirectionCount]) {
    const float* slots[4];
    for (unsigned int c = 0; c < 4; ++c) slots[c] = &cells[c]->LBM_Q19_Cell3<float>::getPdfAt(0);
    constexpr unsigned int kTransposed = 16;
    for (unsigned int i = 0; i < kTransposed; i += 4) {
        Float4 rows[4] = {Float4::load(slots[0] + i), Float4::load(slots[1] + i), Float4::load(slots[2] + i),
                          Float4::load(slots[3] + i)};
        Float4::transpose(rows[0], rows[1], rows[2], rows[3]);
        for (unsigned int k = 0; k < 4; ++k) lanes[i + k] = rows[k];
    }
    for (unsigned int i = kTransposed; i < q19::kDirectionCount; ++i)
        lanes[i] = Float4(slots[0][i], slots[1][i], slots[2][i], slots[3][i]);
}

float laneOf(const Float4& x, const unsigned int& c) {
    float column[4];
    x.store(column);
    return column[c];
}

// limitCellSpeed of four cells, the finiteness sum and the first moment on
// four lanes: the same operations per lane as firstMoment, so only the cells
// that limitCellSpeed would replace go through it, and they are replaced by
// it. A group with a non-finite slot goes through it cell by cell.
void limitCellSpeed4(LBM_Q19_MAC_Cell3F* const (&cells)[4], const float& maxSpeed, const float& maxSpeed2) {
    Float4 lanes[q19::kDirectionCount];
    gatherSlots(cells, lanes);
    Float4 sum(0.0f);
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) sum += lanes[i];
    constexpr unsigned int kAllLanes = 0xFu;
    if ((sum - sum).zeroLanes() != kAllLanes) {
        for (LBM_Q19_MAC_Cell3F* cell : cells) limitCellSpeed(*cell, maxSpeed, maxSpeed2);
        return;
    }
    const Vector3<Float4> j = q19::sparseFirstMoment(lanes);
    const Float4 jj = j.dot(j);
    for (unsigned int c = 0; c < 4; ++c)
        if (laneOf(jj, c) > maxSpeed2) limitCellSpeed(*cells[c], maxSpeed, maxSpeed2);
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

unsigned int widestCollisionLanes() {
    return hasCollisionLanes8() ? kCollisionLanes8 : kCollisionLanes4;
}

void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads,
                        CellSample* samples) {
    collideLiquidCells(liquid, context, threads, widestCollisionLanes(), samples);
}

void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads,
                        const unsigned int& lanes, CellSample* samples) {
    const float maxSpeed = context.getLatticeMaxSpeed();
    const float maxSpeed2 = context.getLatticeMaxSpeed2();
    const float viscosity = context.getLatticeViscosity();
    const CollisionParameters parameters{maxSpeed, maxSpeed2, viscosity};
    LBM_Q19_MAC_Cell3F* const* const cells = liquid.data();
    runParallelRanges(
        liquid.size(),
        [&](const WorkRange& range) {
            const uint32_t end = range.first + range.count;
            uint32_t n = range.first;
            if (lanes == kCollisionLanes8) n = collideLanes8(cells, n, end, parameters, samples);
            for (; n + kCollisionLanes4 <= end; n += kCollisionLanes4) {
                LBM_Q19_MAC_Cell3F* const liquid[kCollisionLanes4] = {cells[n], cells[n + 1], cells[n + 2], cells[n + 3]};
                LBM_Q19_Cell3<float>* const group[kCollisionLanes4] = {cells[n], cells[n + 1], cells[n + 2], cells[n + 3]};
                limitCellSpeed4(liquid, maxSpeed, maxSpeed2);
                LBM_Q19_Cell3<float>::collision4(group, viscosity);
                // Liquid cells keep the lattice cell's moments.
                LBM_Q19_Cell3<float>::updateMoments4(group);
                for (const LBM_Q19_MAC_Cell3F* cell : liquid) writeSample(*cell, samples);
            }
            for (; n < end; ++n) {
                limitCellSpeed(*cells[n], maxSpeed, maxSpeed2);
                cells[n]->collision(viscosity);
                cells[n]->updateDensity();
                cells[n]->updateVelocity();
                writeSample(*cells[n], samples);
            }
        },
        threads);
}

}  // namespace kelvar::fluid
