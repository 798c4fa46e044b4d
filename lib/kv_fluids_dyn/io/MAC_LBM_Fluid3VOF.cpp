// The fluid's volume-of-fluid output: the VOF field built from the cells'
// fill fractions, and the lookup of open-surface points by column.

#include <cmath>
#include <cstdint>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

namespace {

using FluidGrid = MAC_LBM_Fluid3::GridType;

// Field values of a deep liquid voxel and of a gas or wall voxel; the free
// surface runs near 0.
constexpr float kDeepLiquidValue = -0.5f;
constexpr float kGasValue = 0.5f;
// The smoothed fill is the weighted neighbourhood sum over the 27 sites of
// the 3 x 3 x 3 block, not over the sum of the weights.
constexpr float kNeighbourhoodSites = 27.0f;

// Distance to a neighbour by its squared offset length (1, 2 or 3).
const float kNeighbourDistance[4] = {0.0f, 1.0f, std::sqrt(2.0f), std::sqrt(3.0f)};

const LBM_Q19_MAC_Cell3F& asLiquid(const LBM_Cell3<float>& cell) {
    return static_cast<const LBM_Q19_MAC_Cell3F&>(cell);
}

const LBM_Cell3<float>* cellAt(const FluidGrid& grid, int64_t i, int64_t j, int64_t k) {
    if (i < 0 || j < 0 || k < 0) return nullptr;
    if (!grid.contains(unsigned(i), unsigned(j), unsigned(k))) return nullptr;
    return grid.at(unsigned(i), unsigned(j), unsigned(k));
}

// 0.5 minus the fill estimate of site (i, j, k). Deep liquid and gas or wall
// cells are flat values; interface cells, liquid next to the interface and
// sites without a cell (or with a sink) are smoothed over their neighbours.
float voxelValue(const FluidGrid& grid, int64_t i, int64_t j, int64_t k) {
    const LBM_Cell3<float>* cell = cellAt(grid, i, j, k);
    if (cell != nullptr) {
        const unsigned char type = cell->getType();
        if (type == LBM_CELL_FLUID && !asLiquid(*cell).getFlags().test(MAC_FLAG_NEAR_INTERFACE))
            return kDeepLiquidValue;
        if (!cell->isFluid() && !cell->isSink()) return kGasValue;
    }
    float fill = (cell != nullptr && cell->isFluid()) ? asLiquid(*cell).getEpsilon() : 0.0f;
    for (int di = -1; di <= 1; ++di) {
        for (int dj = -1; dj <= 1; ++dj) {
            for (int dk = -1; dk <= 1; ++dk) {
                const int squaredDistance = di * di + dj * dj + dk * dk;
                if (squaredDistance == 0) continue;
                const LBM_Cell3<float>* neighbour = cellAt(grid, i + di, j + dj, k + dk);
                if (neighbour == nullptr || !neighbour->isFluid()) continue;
                fill += asLiquid(*neighbour).getEpsilon() / kNeighbourDistance[squaredDistance];
            }
        }
    }
    fill = fill / kNeighbourhoodSites;
    return kGasValue - fill;
}

// The grid counts times the whole voxels per cell; false when a count or the
// voxel total would not fit the field.
bool scaledResolution(const FluidGrid& grid, unsigned int factor, Tuple3<unsigned int>& resolution) {
    const uint64_t counts[3] = {uint64_t(grid.getNx()) * factor, uint64_t(grid.getNy()) * factor,
                                uint64_t(grid.getNz()) * factor};
    for (unsigned a = 0; a < 3; ++a) {
        if (counts[a] > UINT32_MAX) return false;
        resolution[a] = unsigned(counts[a]);
    }
    return true;
}

}  // namespace

void MAC_LBM_Fluid3::compute_VOF_Field() {
    if (!dirtyFlags.test(VOF_DIRTY)) return;

    // Whole voxels per cell; a factor below 1 leaves an empty field.
    const unsigned int factor = vofResolutionFactor >= 1.0f && vofResolutionFactor < 4294967296.0f
                                    ? static_cast<unsigned int>(vofResolutionFactor)
                                    : 0u;
    Tuple3<unsigned int> resolution;
    if (scaledResolution(grid, factor, resolution)) vofField.setResolution(resolution);
    vofField.setSpacing({1.0f, 1.0f, 1.0f});
    vofField.clear();
    vofField.moveBox(getBBox().center());

    // Voxel (i, j, k) reads cell (i, j, k); voxels beyond the grid are gas.
    const Tuple3<unsigned int>& size = vofField.getResolution();
    const uint64_t planeSize = uint64_t(size.second) * size.third;
    float* const values = vofField.refValues().data();
    const FluidGrid& cells = grid;
    runParallelIndices(
        uint32_t(vofField.voxelCount()),
        [&](const unsigned int&, const uint32_t& index) {
            const int64_t i = int64_t(index / planeSize);
            const uint64_t rest = index - uint64_t(i) * planeSize;
            const int64_t j = int64_t(rest / size.third);
            const int64_t k = int64_t(rest % size.third);
            values[index] = voxelValue(cells, i, j, k);
        },
        getThreads());

    dirtyFlags.clear(VOF_DIRTY);
}

bool MAC_LBM_Fluid3::getPointInSkyInterfaceCell(const float& s, const float& t, Vector3<float>& point) const {
    const unsigned int ny = grid.getNy();
    if (ny == 0) return false;

    const Box3<float> box = getBBox();
    const float x = box.min.x + (box.max.x - box.min.x) * s;
    const float z = box.min.z + (box.max.z - box.min.z) * t;
    const unsigned int ix = truncateToCellIndex((x - box.min.x) * grid.getInvCellSize().x);
    const unsigned int iz = truncateToCellIndex((z - box.min.z) * grid.getInvCellSize().z);

    // The lowest open-surface interface cell of the column, from the floor up.
    for (unsigned int iy = 0; iy < ny; ++iy) {
        if (!grid.contains(ix, iy, iz)) continue;
        const LBM_Cell3<float>* cell = grid.at(ix, iy, iz);
        if (cell == nullptr || !cell->isInterface() || !asLiquid(*cell).getFlags().test(MAC_FLAG_SKY)) continue;
        const float height = float(2 * iy + 1) * grid.getCellSize().y * 0.5f;
        point = Vector3<float>(x, box.min.y + height, z);
        return true;
    }
    return false;
}

}  // namespace kelvar::fluid
