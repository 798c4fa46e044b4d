#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"

namespace kelvar::fluid::test {

// A fluid whose liquid-cell pool the tests fill by hand.
struct SceneFluid : MAC_LBM_Fluid3 {
    using MAC_LBM_Fluid3::acquireLiquidCell;
    using MAC_LBM_Fluid3::acquireSinkCell;
    using MAC_LBM_Fluid3::acquireSolidCell;
    using MAC_LBM_Fluid3::releaseCell;
};

// A solver whose passes the tests run one at a time.
struct PassSolver : MAC_LBM_Solver3 {
    using MAC_LBM_Solver3::advect_MAC_Particles;
    using MAC_LBM_Solver3::computeRhoAndMass;
    using MAC_LBM_Solver3::computeRhoInfo;
    using MAC_LBM_Solver3::distributeRho;
    using MAC_LBM_Solver3::label;
    using MAC_LBM_Solver3::SPHKernel;
    using MAC_LBM_Solver3::stream;
    using MAC_LBM_Solver3::streamPeriodicBoundaries;
    using MAC_LBM_Solver3::updateCellArrays;
};

using Index3 = Tuple3<unsigned int>;

// Physical set-up shared by the scenes: a 1 m box, 1000 kg/m^3, gravity.
inline constexpr float kGravity = 9.81f;

// A walled cubic box of about `requested` cells, no solver attached.
inline void makeWalledBox(SceneFluid& fluid, unsigned int requested) {
    fluid.setLargestLength(1.0f);
    fluid.setDensity(1000.0f);
    fluid.setViscosity(0.1f);
    fluid.setCompressibility(0.1f);
    fluid.setMaxForce(kGravity);
    fluid.setResolution(requested);
    fluid.initialize();
    fluid.setDomainBoundaryCells();
}

// The same with its solver initialised on `threads` workers.
template <class Solver = MAC_LBM_Solver3>
struct WalledScene {
    WalledScene(unsigned int requested, unsigned int threads) {
        makeWalledBox(fluid, requested);
        solver.attach(fluid);
        solver.initialize(threads);
    }
    SceneFluid fluid;
    Solver solver;
};

// Puts `cell`, taken from the fluid's pools, at site (i, j, k).
template <class Cell>
inline Cell* placeCell(MAC_LBM_Fluid3& fluid, Cell* cell, unsigned i, unsigned j, unsigned k) {
    cell->setGridMonoindex(fluid.getGrid().index(i, j, k));
    fluid.refGrid().at(i, j, k) = cell;
    return cell;
}

// A full liquid cell at rest at (i, j, k) with the body force `force`.
inline LBM_Q19_MAC_Cell3F* placeLiquid(SceneFluid& fluid, unsigned i, unsigned j, unsigned k, unsigned char type,
                                       const Vector3<float>& force = {}) {
    LBM_Q19_MAC_Cell3F* cell = fluid.acquireLiquidCell();
    cell->initialize();
    cell->setType(type);
    cell->setMass(cell->getDensity());
    cell->setEpsilon(1.0f);
    cell->setForce(force);
    return placeCell(fluid, cell, i, j, k);
}

inline const LBM_Q19_MAC_Cell3F* liquidAt(const MAC_LBM_Fluid3& fluid, unsigned i, unsigned j, unsigned k) {
    return static_cast<const LBM_Q19_MAC_Cell3F*>(fluid.getGrid().at(i, j, k));
}

// Liquid cells at rest with body force `force` over [lo, hi), eight particles
// each at their sub-cell centres; cells beside an empty site are interface.
inline void fillBlock(SceneFluid& fluid, const Index3& lo, const Index3& hi, const Vector3<float>& force) {
    auto& grid = fluid.refGrid();
    const Vector3<float>& origin = grid.getBox().min;
    for (unsigned i = lo.first; i < hi.first; ++i)
        for (unsigned j = lo.second; j < hi.second; ++j)
            for (unsigned k = lo.third; k < hi.third; ++k) {
                placeLiquid(fluid, i, j, k, LBM_CELL_FLUID, force);
                for (unsigned n = 0; n < 8; ++n) {
                    const Vector3<float> p(origin.x + float(i) + ((n & 1) ? 0.75f : 0.25f),
                                           origin.y + float(j) + ((n & 2) ? 0.75f : 0.25f),
                                           origin.z + float(k) + ((n & 4) ? 0.75f : 0.25f));
                    fluid.ref_MAC_ParticleSystem().createParticle(p, Vector3<float>(), 0, Vector2<float>());
                }
            }
    MAC_LBM_Fluid3::NeighborArray neighbours(18);
    for (unsigned i = lo.first; i < hi.first; ++i)
        for (unsigned j = lo.second; j < hi.second; ++j)
            for (unsigned k = lo.third; k < hi.third; ++k) {
                fluid.getNeighborCells(i, j, k, grid, neighbours);
                for (const LBM_Cell3<float>* n : neighbours)
                    if (n == nullptr) grid.at(i, j, k)->setType(LBM_CELL_INTERFACE);
            }
}

// Gravity in lattice units for the fluid's current units.
inline Vector3<float> latticeGravity(const MAC_LBM_Fluid3& fluid) {
    return Vector3<float>(0.0f, -kGravity * fluid.getAccelerationFactor(), 0.0f);
}

// The highest row (y) that holds a liquid cell, 0 without one.
inline unsigned highestLiquidRow(const MAC_LBM_Fluid3& fluid) {
    const auto& grid = fluid.getGrid();
    unsigned highest = 0;
    for (uint32_t index = 0; index < grid.getCount(); ++index) {
        const LBM_Cell3<float>* c = grid.at(index);
        if (c != nullptr && c->isFluid()) highest = std::max(highest, index % grid.getStride() / grid.getNz());
    }
    return highest;
}

// A walled box half full of still liquid over a floor that is all drain,
// with the drain option and, when asked, mass conservation.
struct DrainedTank : WalledScene<> {
    explicit DrainedTank(bool drains, unsigned threads = 2, bool conserveMass = false)
        : WalledScene<>(12 * 12 * 12, threads) {
        fluid.setSinksDrain(drains);
        fluid.setConserveMass(conserveMass);
        const unsigned n = fluid.getGrid().getNx();
        for (unsigned i = 1; i + 1 < n; ++i)
            for (unsigned k = 1; k + 1 < n; ++k) placeCell(fluid, fluid.acquireSinkCell(), i, 1, k);
        fillBlock(fluid, {1, 2, 1}, {n - 1, n / 2, n - 1}, latticeGravity(fluid));
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
    }
    // The cells' mass fields summed, as the plain bookkeeping leaves them.
    double mass() const {
        double sum = 0.0;
        for (const LBM_Cell3<float>* c : fluid.getGrid().getCells())
            if (c != nullptr && c->isFluid()) sum += static_cast<const LBM_Q19_MAC_Cell3F*>(c)->getMass();
        return sum;
    }
};

// Runs `count` sub-steps, one solve call each.
inline void runSubSteps(MAC_LBM_Solver3& solver, MAC_LBM_Fluid3& fluid, unsigned count) {
    for (unsigned s = 0; s < count; ++s) {
        solver.preSolve();
        solver.solve(fluid.getSolverContext().getDt());
        solver.postSolve();
    }
}

struct LiquidStats {
    uint32_t cells = 0;
    double densitySum = 0.0;
    double centroidY = 0.0;
    bool finite = true;
};

inline LiquidStats liquidStats(const MAC_LBM_Fluid3& fluid) {
    LiquidStats stats;
    const auto& grid = fluid.getGrid();
    double weightedY = 0.0;
    for (uint32_t index = 0; index < grid.getCount(); ++index) {
        const LBM_Cell3<float>* c = grid.at(index);
        if (c == nullptr || !c->isFluid()) continue;
        const auto* cell = static_cast<const LBM_Q19_MAC_Cell3F*>(c);
        ++stats.cells;
        stats.densitySum += cell->getDensity();
        for (unsigned i = 0; i < q19::kDirectionCount; ++i)
            stats.finite = stats.finite && std::isfinite(cell->getPdfAt(i));
        stats.finite = stats.finite && std::isfinite(cell->getMass()) && std::isfinite(cell->getDensity());
        weightedY += double((index % grid.getStride()) / grid.getNz());
    }
    stats.centroidY = stats.cells > 0 ? weightedY / stats.cells : 0.0;
    for (const MAC_Particle3* p : fluid.get_MAC_ParticleSystem().getParticlesArray())
        stats.finite = stats.finite && std::isfinite(p->position.x) && std::isfinite(p->position.y) &&
                       std::isfinite(p->position.z);
    return stats;
}

// FNV-1a over the bits of the whole state: every cell's type, slots, density,
// mass, fill fraction and flags in grid order, every particle's record in id
// order, and the lost mass.
inline uint64_t hashState(const MAC_LBM_Fluid3& fluid) {
    uint64_t hash = 1469598103934665603ull;
    const auto add = [&hash](auto value) {
        uint32_t bits;
        if constexpr (std::is_same_v<decltype(value), float>)
            bits = std::bit_cast<uint32_t>(value);
        else
            bits = uint32_t(value);
        for (unsigned b = 0; b < 4; ++b) {
            hash ^= (bits >> (8 * b)) & 0xFFu;
            hash *= 1099511628211ull;
        }
    };
    const auto& grid = fluid.getGrid();
    for (uint32_t index = 0; index < grid.getCount(); ++index) {
        const LBM_Cell3<float>* c = grid.at(index);
        add(c == nullptr ? 0xFFFFFFFFu : uint32_t(c->getType()));
        if (c == nullptr || !c->isFluid()) continue;
        const auto* cell = static_cast<const LBM_Q19_MAC_Cell3F*>(c);
        for (unsigned i = 0; i < q19::kDirectionCount; ++i) add(cell->getPdfAt(i));
        for (float v : {cell->getDensity(), cell->getMass(), cell->getEpsilon()}) add(v);
        add(uint32_t(cell->getFlags().get()));
        add(cell->getGridMonoindex());
    }
    // In id order, so that the hash sees only the particles themselves.
    const auto& particles = fluid.get_MAC_ParticleSystem().getParticlesArray();
    std::vector<const MAC_Particle3*> sorted(particles.begin(), particles.end());
    std::sort(sorted.begin(), sorted.end(),
              [](const MAC_Particle3* a, const MAC_Particle3* b) { return a->id < b->id; });
    for (const MAC_Particle3* p : sorted) {
        add(p->id);
        for (float v : {p->position.x, p->position.y, p->position.z, p->velocity.x, p->velocity.y, p->velocity.z})
            add(v);
    }
    add(fluid.getSolverContext().getLostMass());
    return hash;
}

}  // namespace kelvar::fluid::test
