#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <numbers>

#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/parallel/internal/GridBlocks.h"
#include "kv_fluids_dyn/solver/internal/AdvectionLanes.h"
#include "kv_fluids_dyn/solver/internal/AdvectionPass.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid {

namespace {

using Grid = Grid3<LBM_Cell3<float>, float>;

// Length of a re-seeding offset: 0.49 as a float, widened.
constexpr double kReseedRadius = static_cast<double>(0.49f);
constexpr double kMinDirectionLength = 1e-28;
constexpr double kMinScale = 1e-14;
constexpr double kCosPi = -1.0;
// 1 / 32768: one draw of rand's range as a fraction of a turn.
constexpr double kDrawToTurn = 3.0517578125e-5;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

// Particles offered to the lanes at once; those left over sample their
// velocities before any of them moves.
constexpr uint32_t kAdvectionBatch = 32;

// Cells that a deep interior cell must not touch: interface cells and solids.
constexpr unsigned short kNearSurfaceOrWall = MAC_FLAG_NEAR_INTERFACE | MAC_FLAG_NEIGHBOUR_MARK;

template <class Sampler>
uint32_t moveWithSampler(const Sampler& cells, const Grid& grid, const Vector3<float>& velocity,
                         MAC_Particle3& particle);

// The speed of a particle from its squared length in double, as a float.
// Monotonic in the squared length, so the extremes of the speeds are the
// speeds of the extremes of the squared lengths.
float speedOf(const double& length2) { return static_cast<float>(std::sqrt(length2)); }

// Whether the eight bytes at a and at b are the same.
bool sameWord(const unsigned char* a, const unsigned char* b) {
    uint64_t x, y;
    std::memcpy(&x, a, sizeof(x));
    std::memcpy(&y, b, sizeof(y));
    return x == y;
}

// Cell coordinates of p, truncated toward zero, as floats.
Vector3<float> truncatedCellCoordinates(const Grid& grid, const Vector3<float>& p) {
    const Vector3<float> c = (p - grid.getBox().min).mul(grid.getInvCellSize());
    return {float(int(c.x)), float(int(c.y)), float(int(c.z))};
}

}  // namespace

Vector3<double> reseedOffset(int r1, int r2) {
    const double z = 1.0 - (1.0 - kCosPi) * r1 / SolverRand::kMax;
    const double phi = r2 * kDrawToTurn * kTwoPi;
    const double ring = std::sqrt(1.0 - z * z);
    const Vector3<double> direction(std::cos(phi) * ring, std::sin(phi) * ring, z);

    const double length = std::sqrt(direction.lengthSquared());
    if (!(length > kMinDirectionLength)) return Vector3<double>();
    const double scale = kReseedRadius / length;
    if (!(scale > kMinScale)) return Vector3<double>();
    return direction * scale;
}

void AdvectionPass::run(MAC_LBM_Fluid3& fluid, const unsigned int& threadCount) {
    if (fluid.get_MAC_ParticleSystem().getParticlesCount() > 0) {
        sampleCells(fluid.getGrid(), samples, threadCount);
        typesSampled = false;
    }
    moveParticles(fluid, threadCount);
}

CellSample* AdvectionPass::samplesForCollision(const SolverGrid& grid) {
    const uint32_t count = grid.getCells().size();
    if (samples.size() != count) {
        samples.resize(count);
        typesSampled = false;
    }
    return samples.data();
}

void AdvectionPass::runOnCollided(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threadCount) {
    updateSamples(fluid, types, threadCount);
    moveParticles(fluid, threadCount);
}

// Every sample then holds its position's type code, and the solids' and
// sinks' velocities; the liquid cells' velocities the collision wrote.
void AdvectionPass::updateSamples(const MAC_LBM_Fluid3& fluid, const GridTypes& types,
                                  const unsigned int& threadCount) {
    static_assert(CellSample::kNoCell == GridTypes::kNoCell);
    const uint32_t count = samples.size();
    if (types.size() != count) {
        sampleCells(fluid.getGrid(), samples, threadCount);
        typesSampled = false;
        return;
    }
    if (sampledTypes.size() != count) {
        sampledTypes.resize(count);
        typesSampled = false;
    }
    const unsigned char* const codes = types.data();
    unsigned char* const held = sampledTypes.data();
    CellSample* const out = samples.data();
    const bool all = !typesSampled;
    runGridBlocks(
        count,
        [&](const unsigned int&, uint32_t, const GridBlock& block) {
            uint32_t index = block.first;
            while (index < block.end) {
                // Most positions keep their type: a word of them at a time.
                if (!all && block.end - index >= sizeof(uint64_t) && sameWord(held + index, codes + index)) {
                    index += sizeof(uint64_t);
                    continue;
                }
                if (all || held[index] != codes[index]) {
                    held[index] = codes[index];
                    out[index].type = codes[index];
                }
                ++index;
            }
        },
        threadCount);
    typesSampled = true;

    const auto sampleVelocity = [out](const unsigned int&, const LBM_Cell3<float>* cell) {
        out[cell->getGridMonoindex()].velocity = cell->getVelocity();
    };
    runParallel(fluid.getArrSolidCells(), sampleVelocity, threadCount);
    runParallel(fluid.getArrSinkCells(), sampleVelocity, threadCount);
}

void AdvectionPass::moveParticles(MAC_LBM_Fluid3& fluid, const unsigned int& threadCount) {
    Scratch* const perThread = perWorker.forWorkers(threadCount);
    const uint32_t workers = workerCount(threadCount);
    for (uint32_t t = 0; t < workers; ++t) {
        perThread[t].removedIds.clear();
        perThread[t].lost.clear();
        // NaN squared lengths are skipped, as NaN speeds were.
        perThread[t].minSpeed2 = HUGE_VAL;
        perThread[t].maxSpeed2 = -HUGE_VAL;
    }

    MAC_ParticleSystem3& system = fluid.ref_MAC_ParticleSystem();
    const Grid& grid = fluid.getGrid();
    if (system.getParticlesCount() > 0) {
        const SampledVelocitySampler velocityAt(grid, CellSampleLookup{samples.data()});
        // A particle outside the liquid: pushed out of a solid, or lost.
        const auto leaveNonLiquid = [&](Scratch& mine, MAC_Particle3* particle, const CellSample* cell) {
            if (cell->isSolid()) {
                // Push the particle one unit into the liquid neighbour that
                // best follows the solid's motion (first one on a tie).
                Tuple3<unsigned int> ijk;
                grid.locate(particle->position, ijk);
                MovingNeighbours& neighbours = mine.neighbours;
                fluid.getNeighborCells(ijk, grid, neighbours);
                int best = -1;
                float bestAlignment = 0.0f;
                for (uint32_t m = 0; m < neighbours.size(); ++m) {
                    if (neighbours[m] == nullptr || !neighbours[m]->isFluid()) continue;
                    const float alignment = q19::kVelocity[m + 1].dot(cell->getVelocity());
                    if (best < 0 || alignment > bestAlignment) {
                        best = int(m);
                        bestAlignment = alignment;
                    }
                }
                if (best < 0) {
                    mine.removedIds.push_back(particle->id);
                } else {
                    particle->velocity = q19::kVelocity[best + 1];
                    particle->position += q19::kVelocity[best + 1];
                }
            } else {
                mine.lost.push_back(particle);
            }
        };

        // Particles go in batches: the lanes move the common case, then
        // every other particle of the batch samples its velocity, then every
        // one of those moves. Each sample reads only cells, so the samples
        // are independent and their long chains of loads and arithmetic
        // overlap; the moves, removals and losses happen in particle order.
        MAC_Particle3* const* const particles = system.getParticlesArray().data();
        const uint32_t particleCount = system.getParticlesArray().size();
        if (landedCells.size() != particleCount) landedCells.resize(particleCount);
        uint32_t* const landing = landedCells.data();
        const AdvectionLanes lanes(velocityAt.latticeShape(), velocityAt.onExactLattice(), samples.data());
        runParallelRanges(
            particleCount,
            [&](const WorkRange& range) {
                Scratch& mine = perThread[range.threadIndex];
                uint32_t rest[kAdvectionBatch];
                const CellSample* cellOf[kAdvectionBatch];
                Vector3<float> velocity[kAdvectionBatch];
                const uint32_t end = range.first + range.count;
                for (uint32_t first = range.first; first < end; first += kAdvectionBatch) {
                    const uint32_t count = lanes.move(particles + first, std::min(kAdvectionBatch, end - first),
                                                      landing + first, rest, mine.minSpeed2, mine.maxSpeed2);
                    for (uint32_t b = 0; b < count; ++b) {
                        const Vector3<float>& p = particles[first + rest[b]]->position;
                        const Vector3<float> offset = velocityAt.offsetOf(p);
                        const CellSample* cell = velocityAt.cellAtOffset(offset);
                        cellOf[b] = cell;
                        // The sample's fallback is the velocity of p's own cell.
                        if (cell != nullptr && cell->isFluid())
                            velocity[b] = velocityAt.sample(p, offset, cell->getVelocity());
                    }
                    for (uint32_t b = 0; b < count; ++b) {
                        const uint32_t n = first + rest[b];
                        const CellSample* cell = cellOf[b];
                        landing[n] = ParticleLandings::kRecompute;
                        if (cell == nullptr || !cell->hasCell()) continue;
                        MAC_Particle3* particle = particles[n];
                        if (!cell->isFluid()) {
                            leaveNonLiquid(mine, particle, cell);
                            continue;
                        }
                        landing[n] = moveOnSamples(velocityAt, grid, velocity[b], *particle);
                        const Vector3<float>& v = particle->velocity;
                        const double length2 =
                            double(v.x) * double(v.x) + double(v.y) * double(v.y) + double(v.z) * double(v.z);
                        mine.minSpeed2 = std::min(mine.minSpeed2, length2);
                        mine.maxSpeed2 = std::max(mine.maxSpeed2, length2);
                    }
                }
            },
            threadCount);
    }

    // The deep cells are only wanted for lost particles, which are rare: a
    // sub-step without one neither looks for them nor draws a number.
    uint32_t lostCount = 0;
    for (uint32_t t = 0; t < workers; ++t) lostCount += perThread[t].lost.size();
    removedIds.clear();
    if (lostCount > 0) {
        collectDeepCells(fluid, threadCount);
        if (deepCells.empty())
            appendLostIds(perThread, workers);
        else
            reseedLostParticles(fluid, threadCount);
    }
    appendInWorkerOrder(removedIds, perThread, workers, &Scratch::removedIds);
    if (!removedIds.empty()) system.remove(removedIds);
    landed = {landedCells.data(), landedCells.size()};
    landingsValid = system.getParticlesCount() > 0 && removedIds.empty();

    float minSpeed = 0.0f;
    float maxSpeed = 0.0f;
    if (system.getParticlesCount() > 0) {
        minSpeed = FLT_MAX;
        maxSpeed = -FLT_MAX;
        for (uint32_t t = 0; t < workers; ++t) {
            minSpeed = std::min(minSpeed, speedOf(perThread[t].minSpeed2));
            maxSpeed = std::max(maxSpeed, speedOf(perThread[t].maxSpeed2));
        }
    }
    system.setMinSpeed(minSpeed);
    system.setMaxSpeed(maxSpeed);
}

void AdvectionPass::sampleCells(const SolverGrid& grid, Array<CellSample>& samples, const unsigned int& threadCount) {
    // One entry per grid pointer, so that the sampler's clamped lookups land
    // on the same entries as on the grid.
    const uint32_t count = grid.getCells().size();
    if (samples.size() != count) samples.resize(count);
    const LBM_Cell3<float>* const* const cells = grid.getCells().data();
    CellSample* const out = samples.data();
    // In blocks dealt to the workers in turn, since the cells that cost a
    // load are the liquid ones, which may sit at one end of the grid.
    runGridBlocks(
        count,
        [&](const unsigned int&, uint32_t, const GridBlock& block) {
            for (uint32_t index = block.first; index < block.end; ++index) {
                const LBM_Cell3<float>* cell = cells[index];
                CellSample& sample = out[index];
                if (cell == nullptr) {
                    sample.type = CellSample::kNoCell;
                    continue;
                }
                sample.type = cell->getType();
                sample.velocity = cell->getVelocity();
            }
        },
        threadCount);
}

void AdvectionPass::collectDeepCells(MAC_LBM_Fluid3& fluid, const unsigned int& threadCount) {
    Scratch* const perThread = perWorker.forWorkers(threadCount);
    const uint32_t workers = workerCount(threadCount);
    for (uint32_t t = 0; t < workers; ++t) perThread[t].deep.clear();
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            if (cell->getType() == LBM_CELL_FLUID && !cell->getFlags().test(kNearSurfaceOrWall))
                perThread[t].deep.push_back(cell);
        },
        threadCount);
    mergeInWorkerOrder(deepCells, perThread, workers, &Scratch::deep);
}

// Without a deep cell to go to, lost particles are removed, before the
// particles that left through solids.
void AdvectionPass::appendLostIds(const Scratch* perThread, const uint32_t& workers) {
    forEachInWorkerOrder(perThread, workers, &Scratch::lost,
                         [this](const MAC_Particle3* particle) { removedIds.push_back(particle->id); });
}

void AdvectionPass::reseedLostParticles(MAC_LBM_Fluid3& fluid, const unsigned int& threadCount) {
    Scratch* const perThread = perWorker.forWorkers(threadCount);
    const uint32_t workers = workerCount(threadCount);
    SolverRand random(fluid.getSolverContext().getRandomState());

    const Grid& grid = fluid.getGrid();
    const Vector3<float>& origin = grid.getBox().min;
    const Vector3<float>& cellSize = grid.getCellSize();
    const uint32_t stride = grid.getStride();
    const uint32_t nz = grid.getNz();
    ReseedCellPicker picker;
    forEachInWorkerOrder(perThread, workers, &Scratch::lost, [&](MAC_Particle3* particle) {
        const LBM_Q19_MAC_Cell3F* cell = deepCells[picker.pick(deepCells.size())];
        const uint32_t index = cell->getGridMonoindex();
        const uint32_t x = index / stride;
        const uint32_t y = (index - x * stride) / nz;
        const uint32_t z = index - x * stride - y * nz;
        const Vector3<float> centre(origin.x + float(2 * x + 1) * cellSize.x * 0.5f,
                                    origin.y + float(2 * y + 1) * cellSize.y * 0.5f,
                                    origin.z + float(2 * z + 1) * cellSize.z * 0.5f);
        const int r1 = random();
        const int r2 = random();
        const Vector3<double> offset = reseedOffset(r1, r2);
        particle->position = centre + Vector3<float>(float(offset.x), float(offset.y), float(offset.z));
        particle->velocity = cell->getVelocity();
    });
    fluid.refSolverContext().setRandomState(random.getState());
}

void AdvectionPass::moveWithFlow(const MAC_LBM_Fluid3& fluid, const Vector3<float>& velocity,
                                 MAC_Particle3& particle) {
    moveWithSampler(VelocitySampler(fluid.getGrid()), fluid.getGrid(), velocity, particle);
}

uint32_t AdvectionPass::moveOnSamples(const SampledVelocitySampler& cells, const SolverGrid& grid,
                                      const Vector3<float>& velocity, MAC_Particle3& particle) {
    return moveWithSampler(cells, grid, velocity, particle);
}

namespace {

// AdvectionPass::moveWithFlow with the cell lookups of a sampler built for
// the pass. Returns the particle's landing cell as a ParticleLandings code:
// its grid index, kOutside, or kRecompute after a bounce.
template <class Sampler>
uint32_t moveWithSampler(const Sampler& cells, const Grid& grid, const Vector3<float>& velocity,
                         MAC_Particle3& particle) {
    const Vector3<float> oldPosition = particle.position;
    const Vector3<float> oldVelocity = particle.velocity;
    particle.velocity = velocity;
    particle.position = oldPosition + velocity;

    const Vector3<float> offset = cells.offsetOf(particle.position);
    const auto landed = cells.cellAtOffset(offset);
    if (landed == nullptr || !landed->isSolid()) {
        uint32_t index;
        return cells.indexAtOffset(offset, index) ? index : ParticleLandings::kOutside;
    }

    // Reflect the step about the direction of the cell change.
    Vector3<float> normal = truncatedCellCoordinates(grid, particle.position) -
                            truncatedCellCoordinates(grid, oldPosition);
    const float length2 = normal.dot(normal);
    if (length2 == 0.0f) return ParticleLandings::kRecompute;
    normal *= static_cast<float>(1.0 / std::sqrt(static_cast<double>(length2)));

    const Vector3<float> reflected = velocity - normal * (2.0f * velocity.dot(normal));
    particle.velocity = reflected;
    particle.position = oldPosition + reflected;

    const auto bounced = cells.cellAt(particle.position);
    if (bounced != nullptr && bounced->isSolid()) {
        particle.position = oldPosition;
        particle.velocity = oldVelocity;
    }
    return ParticleLandings::kRecompute;
}

}  // namespace

}  // namespace kelvar::fluid
