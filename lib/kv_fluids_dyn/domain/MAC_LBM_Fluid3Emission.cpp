// Emission of liquid from a closed mesh: MAC_LBM_Fluid3::setFluidCells and
// the marker particles of the cells it creates.

#include <algorithm>

#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

namespace {

// New cells start full: fill fraction 1, mass equal to the density.
constexpr float kFull = 1.0f;
constexpr unsigned int kParticlesPerCell = 8;
// Particles sit at the centres of the 2 x 2 x 2 sub-cells, a quarter of the
// cell's extent in from its faces; jitter moves them by up to ±0.99 of that
// quarter, which keeps them strictly inside their sub-cell.
constexpr float kQuarter = 0.25f;
constexpr float kJitterSpan = 1.98f;
constexpr float kJitterReach = 0.99f;

// A sample that found no cell in the grid: the cell is taken from the pool
// after the pass.
struct NewLiquidCell {
    Tuple3<unsigned int> ijk;
    unsigned int index;
    LBM_Q19_MAC_Cell3F* cell;
};

// Resets a cell to a full liquid cell of the given type at rest density,
// moving at `velocity` (lattice units).
void startLiquidCell(LBM_Q19_MAC_Cell3F& cell, const unsigned char& type, const unsigned int& index,
                     const Vector3<float>& velocity) {
    cell.initialize();
    cell.setType(type);
    cell.setEpsilon(kFull);
    cell.setMass(cell.getDensity());
    cell.setGridMonoindex(index);
    cell.setInitialVelocity(velocity);
}

// One chunk of an emission pass: restarts the liquid cells already there and
// lists the samples that find no cell. Solid, sink, empty and unclassified
// cells are left alone.
void visitChunk(const detail::FluidGrid& grid, const MeshGrid3BoxesFaces<float>& chunk, const bool& surface,
                const unsigned char& type, const Vector3<float>& velocity, Array<NewLiquidCell>& found) {
    const uint32_t samples = chunk.sampleCount();
    for (uint32_t n = 0; n < samples; ++n) {
        if (!(surface ? chunk.isSurface(n) : chunk.isInside(n))) continue;
        Tuple3<unsigned int> ijk;
        if (!detail::sampleBoxCell(grid, chunk.getSampleBox(n), ijk)) continue;
        const unsigned int index = grid.index(ijk.first, ijk.second, ijk.third);
        LBM_Cell3<float>* cell = grid.getCells()[index];
        if (cell == nullptr)
            found.push_back({ijk, index, nullptr});
        else if (cell->isFluid())
            startLiquidCell(static_cast<LBM_Q19_MAC_Cell3F&>(*cell), type, index, velocity);
    }
}

// Maps a draw in [0, 1] to [-0.99, 0.99].
float jitterOffset(const float& draw) {
    return draw * kJitterSpan - kJitterReach;
}

}  // namespace

void MAC_LBM_Fluid3::setFluidCells(const Mesh& mesh, const Vector3<float>& velocity, const float& jitter,
                                   const int& seed, const unsigned short& id) {
    Mesh gridMesh;
    detail::meshFromWorldToGrid(mesh, xformGridToWorld, grid, gridMesh);
    Array<MeshGrid3BoxesFaces<float>> chunks;
    if (!detail::rasterizeMesh(gridMesh, grid, threads, chunks)) return;

    const Emission emission{worldToGridVelocity(velocity), jitter, seed, id};
    // The inside pass runs second, so a cell found both on the surface and
    // inside ends as a fluid cell.
    emitLiquid(chunks, true, LBM_CELL_INTERFACE, emission);
    emitLiquid(chunks, false, LBM_CELL_FLUID, emission);
    dirtyFlags.set(VOF_DIRTY);
}

// Every sample box is one grid cell and no two samples of a pass share a
// cell, so the workers never write the same grid entry or cell.
//
// The pass runs in three stages. The workers first list the samples that
// find no cell. Then, on this thread and one worker's list after the other,
// the new cells are taken from the pool and every new particle gets its id
// and slot. Finally each worker makes the particles of its own list's cells
// and resets those cells. Taking cells and ids in the pass under a lock
// would let thread timing decide which pooled cell lands where (a reused
// cell keeps its old velocity, which its particles inherit) and which
// particle gets which id. This way the result depends only on the seed and
// the thread count: worker t's cells are those of its contiguous range of
// chunks in sample order, and they draw from worker t's own generator,
// seeded as every other worker's. No lock is needed for the pool or the
// particle system, since no worker runs while they are changed.
void MAC_LBM_Fluid3::emitLiquid(const Array<MeshGrid3BoxesFaces<float>>& chunks, const bool& surface,
                                const unsigned char& type, const Emission& emission) {
    const unsigned int workers = std::max(threads, 1u);
    Array<Array<NewLiquidCell>> newCells(workers);

    // Each worker's list is sized once, for every sample of its chunks.
    runParallelRanges(
        chunks.size(),
        [&](const WorkRange& range) {
            Array<NewLiquidCell>& found = newCells[range.threadIndex];
            const uint32_t end = range.first + range.count;
            uint32_t samples = 0;
            for (uint32_t c = range.first; c < end; ++c) samples += chunks[c].sampleCount();
            found.reserve(samples);
            for (uint32_t c = range.first; c < end; ++c)
                visitChunk(grid, chunks[c], surface, type, emission.velocity, found);
        },
        threads);

    uint32_t newCellCount = 0;
    for (const Array<NewLiquidCell>& list : newCells) newCellCount += list.size();
    liquidPool.reserve(newCellCount, threads);

    Array<uint32_t> firstParticle(workers);
    uint32_t newParticles = 0;
    for (unsigned int t = 0; t < workers; ++t) {
        firstParticle[t] = newParticles;
        newParticles += newCells[t].size() * kParticlesPerCell;
        for (NewLiquidCell& made : newCells[t]) {
            made.cell = liquidPool.acquire();
            grid.refCells()[made.index] = made.cell;
        }
    }
    const ParticleBatch<MAC_Particle3> batch = particles.addParticles(newParticles);

    // The particles read the velocity a pooled cell still holds from its
    // previous use, so they are made before the cell is reset.
    runParallelIndices(
        workers,
        [&](const unsigned int&, const uint32_t& t) {
            const Array<NewLiquidCell>& list = newCells[t];
            if (list.empty()) return;
            KV_Combo combo(emission.seed);
            ParticleBatch<MAC_Particle3>::Writer slots = batch.writerAt(firstParticle[t]);
            for (const NewLiquidCell& made : list) {
                create_MAC_ParticlesInCell(made.ijk, emission.jitter, emission.id, combo, slots);
                startLiquidCell(*made.cell, type, made.index, emission.velocity);
            }
        },
        threads);
}

// Positions are in grid space, like every particle of the fluid: the solver
// finds a particle's cell as (position - grid min) times the inverse cell
// size. Jitter draws come in the order z, y, x for each particle.
void MAC_LBM_Fluid3::create_MAC_ParticlesInCell(const Tuple3<unsigned int>& ijk, const float& jitter,
                                                const unsigned short& id, KV_Combo& combo,
                                                ParticleBatch<MAC_Particle3>::Writer& slots) const {
    const Vector3<float> velocity = grid.at(ijk.first, ijk.second, ijk.third)->getVelocity();

    const Box3<float>& gridBox = grid.getBox();
    const Vector3<float> gridExtent = gridBox.max - gridBox.min;
    const Vector3<float>& extent = grid.getCellSize();
    const Vector3<float> quarter = extent * kQuarter;
    const Vector3<float> cellMin =
        gridBox.min + Vector3<float>(float(ijk.first), float(ijk.second), float(ijk.third)).mul(extent);
    const Vector3<float> low = cellMin + quarter;
    const Vector3<float> high = (cellMin + extent) - quarter;

    for (unsigned int corner = 0; corner < kParticlesPerCell; ++corner) {
        Vector3<float> p((corner & 1u) ? high.x : low.x, (corner & 2u) ? high.y : low.y,
                         (corner & 4u) ? high.z : low.z);
        if (jitter > 0.0f) {
            const float dz = jitterOffset(combo.nextUnit());
            const float dy = jitterOffset(combo.nextUnit());
            const float dx = jitterOffset(combo.nextUnit());
            p.z += jitter * dz * quarter.z;
            p.y += jitter * dy * quarter.y;
            p.x += jitter * dx * quarter.x;
        }
        const Vector2<float> uv((p.x - gridBox.min.x) / gridExtent.x, (p.z - gridBox.min.z) / gridExtent.z);
        MAC_Particle3& particle = slots.next();
        particle.position = p;
        particle.velocity = velocity;
        particle.sourceId = id;
        particle.uv = uv;
    }
}

}  // namespace kelvar::fluid
