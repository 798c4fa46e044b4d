#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"

#include <algorithm>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {

namespace {

// Moving directions of D3Q19: entry m of a neighbour array is direction m + 1.
constexpr uint32_t kMovingDirections = q19::kDirectionCount - 1;

bool solidCellsEqual(const LBM_SolidCell3<float>& a, const LBM_SolidCell3<float>& b) {
    return a.getFlags() == b.getFlags() && a.getWallFactor() == b.getWallFactor() && a.getVelocity() == b.getVelocity();
}

bool sinkCellsEqual(const LBM_SinkCell3<float>& a, const LBM_SinkCell3<float>& b) {
    return a.getSinkId() == b.getSinkId() && a.getVelocity() == b.getVelocity();
}

}  // namespace

MAC_LBM_Fluid3::MAC_LBM_Fluid3() = default;

MAC_LBM_Fluid3::MAC_LBM_Fluid3(const MAC_LBM_Fluid3& other)
    : LBM_Fluid3<float>(other),
      vofResolutionFactor(other.vofResolutionFactor),
      arrLiquidCells(other.arrLiquidCells),
      arrInterfaceCells(other.arrInterfaceCells),
      staticSolidMeshIds(other.staticSolidMeshIds),
      dynamicSolidMeshIds(other.dynamicSolidMeshIds),
      staticMeshOrder(other.staticMeshOrder),
      dynamicMeshOrder(other.dynamicMeshOrder),
      exchangedMomentum(other.exchangedMomentum),
      solverContext(other.solverContext),
      dirtyFlags(other.dirtyFlags),
      exactCheckpoints(other.exactCheckpoints),
      sinksDrain(other.sinksDrain),
      conserveMass(other.conserveMass) {
    // Assignment takes the counters and the particle index only; copy
    // construction would share the source's particle chunks.
    particles = other.particles;
}

MAC_LBM_Fluid3& MAC_LBM_Fluid3::operator=(const MAC_LBM_Fluid3& other) {
    if (this == &other) return *this;
    LBM_Fluid3<float>::operator=(other);
    vofResolutionFactor = other.vofResolutionFactor;
    arrLiquidCells = other.arrLiquidCells;
    arrInterfaceCells = other.arrInterfaceCells;
    particles = other.particles;
    staticSolidMeshIds.clear();
    for (const auto& entry : other.staticSolidMeshIds) staticSolidMeshIds.insert(entry);
    dynamicSolidMeshIds = other.dynamicSolidMeshIds;
    staticMeshOrder = other.staticMeshOrder;
    dynamicMeshOrder = other.dynamicMeshOrder;
    exchangedMomentum = other.exchangedMomentum;
    solverContext = other.solverContext;
    dirtyFlags = other.dirtyFlags;
    exactCheckpoints = other.exactCheckpoints;
    sinksDrain = other.sinksDrain;
    conserveMass = other.conserveMass;
    return *this;
}

MAC_LBM_Fluid3::~MAC_LBM_Fluid3() = default;

void MAC_LBM_Fluid3::initialize() {
    LBM_Fluid3<float>::initialize();
    liquidPool.clear();
    particles.removeParticles();
    solverContext.setLostMass(0.0f);
    solverContext.setAddedMass(0.0f);
}

void MAC_LBM_Fluid3::setResolution(const unsigned int& requestedCount) {
    LBM_Fluid3<float>::setResolution(requestedCount);
    vofField.setResolution({grid.getNx(), grid.getNy(), grid.getNz()});
    vofField.setSpacing({1.0f, 1.0f, 1.0f});
}

void MAC_LBM_Fluid3::getNeighborCells(const Tuple3<unsigned int>& ijk, const GridType& grid, NeighborArray& out) const {
    getNeighborCells(ijk.first, ijk.second, ijk.third, grid, out);
}

void MAC_LBM_Fluid3::getNeighborCells(const unsigned int& i, const unsigned int& j, const unsigned int& k,
                                      const GridType& grid, NeighborArray& out) const {
    const int64_t size[3] = {grid.getNx(), grid.getNy(), grid.getNz()};
    const uint32_t count = std::min(out.size(), kMovingDirections);
    for (uint32_t m = 0; m < count; ++m) {
        const int* offset = q19::kDirection[m + 1];
        const int64_t x = int64_t(i) + offset[0];
        const int64_t y = int64_t(j) + offset[1];
        const int64_t z = int64_t(k) + offset[2];
        const bool inside = x >= 0 && x < size[0] && y >= 0 && y < size[1] && z >= 0 && z < size[2];
        out[m] = inside ? grid.at(unsigned(x), unsigned(y), unsigned(z)) : nullptr;
    }
}

void MAC_LBM_Fluid3::getNeighborCells(const unsigned int& index, const GridType& grid, NeighborArray& out) const {
    const unsigned int stride = grid.getStride();
    const unsigned int i = index / stride;
    const unsigned int rest = index - i * stride;
    getNeighborCells(i, rest / grid.getNz(), rest % grid.getNz(), grid, out);
}

LBM_Q19_MAC_Cell3F* MAC_LBM_Fluid3::acquireLiquidCell() {
    liquidPoolMutex.lock();
    LBM_Q19_MAC_Cell3F* cell = liquidPool.acquire();
    liquidPoolMutex.unlock();
    return cell;
}

void MAC_LBM_Fluid3::acquireLiquidCells(const SolverKey&, const uint32_t& count, LBM_Q19_MAC_Cell3F** out) {
    liquidPoolMutex.lock();
    for (uint32_t n = 0; n < count; ++n) out[n] = liquidPool.acquire();
    liquidPoolMutex.unlock();
}

void MAC_LBM_Fluid3::releaseCell(LBM_Cell3<float>* const cell) {
    if (cell == nullptr) return;
    if (cell->isFluid()) {
        cell->setType(LBM_CELL_NONE);
        liquidPool.release(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
    } else if (cell->isSolid()) {
        cell->setType(LBM_CELL_NONE);
        solidPool.release(static_cast<LBM_SolidCell3<float>*>(cell));
    }
}

double MAC_LBM_Fluid3::computeLiquidMass() const {
    double mass = 0.0;
    for (const LBM_Cell3<float>* cell : getGrid().getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        const LBM_Q19_MAC_Cell3F* liquid = static_cast<const LBM_Q19_MAC_Cell3F*>(cell);
        mass += cell->getType() == LBM_CELL_FLUID ? liquid->getDensity() : liquid->getMass();
    }
    return mass * static_cast<double>(solverContext.getCellMass());
}

bool MAC_LBM_Fluid3::areCellsEqual(const LBM_Cell3<float>* a, const LBM_Cell3<float>* b) const {
    if (a == b) return true;
    if (a == nullptr || b == nullptr) return false;
    if (a->getType() != b->getType()) return false;
    switch (a->getType()) {
        case LBM_CELL_SOLID:
            return solidCellsEqual(static_cast<const LBM_SolidCell3<float>&>(*a),
                                   static_cast<const LBM_SolidCell3<float>&>(*b));
        case LBM_CELL_SINK:
            return sinkCellsEqual(static_cast<const LBM_SinkCell3<float>&>(*a),
                                  static_cast<const LBM_SinkCell3<float>&>(*b));
        case LBM_CELL_FLUID:
        case LBM_CELL_INTERFACE:
            return *a == *b;
        default:
            return false;
    }
}

}  // namespace kelvar::fluid
