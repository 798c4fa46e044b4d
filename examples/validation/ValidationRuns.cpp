#include "ValidationRuns.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::validation {

namespace {

using fluid::LBM_Q19_MAC_Cell3F;
using fluid::MAC_LBM_Fluid3;
using fluid::MAC_LBM_Solver3;
using Clock = std::chrono::steady_clock;

constexpr float kDensity = 1000.0f;
// The demo host's dam-break column is 0.7 m high.
constexpr double kDemoColumnHeight = 0.7;
// Cells across z between the free-slip side walls of the plane scenes.
constexpr unsigned int kAcross = kDefaultAcross;
// Marker particles start on the regular pattern, so that a run depends on
// nothing but its settings.
constexpr float kNoJitter = 0.0f;
constexpr unsigned short kSourceId = 1;

double secondsSince(const Clock::time_point& start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The liquid cell (full or interface) at (i, j, k), or null.
const LBM_Q19_MAC_Cell3F* liquidAt(const MAC_LBM_Fluid3& fluid, unsigned int i, unsigned int j, unsigned int k) {
    const auto* cell = fluid.getGrid().at(i, j, k);
    if (cell == nullptr || !cell->isFluid()) return nullptr;
    return static_cast<const LBM_Q19_MAC_Cell3F*>(cell);
}

// How full a cell is: 1 for a full liquid cell, its fill for an interface
// cell, 0 for no cell.
float fillOf(const LBM_Q19_MAC_Cell3F* cell) {
    if (cell == nullptr) return 0.0f;
    return cell->getType() == fluid::LBM_CELL_FLUID ? 1.0f : std::clamp(cell->getEpsilon(), 0.0f, 1.0f);
}

struct Census {
    unsigned int cells = 0;
    double mass = 0.0;    // kg, as the fluid reports it (computeLiquidMass)
    double volume = 0.0;  // sum of fills
};

Census census(const MAC_LBM_Fluid3& fluid) {
    Census c;
    for (const fluid::LBM_Cell3<float>* cell : fluid.getGrid().getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        ++c.cells;
        c.volume += fillOf(static_cast<const LBM_Q19_MAC_Cell3F*>(cell));
    }
    c.mass = fluid.computeLiquidMass();
    return c;
}

// One frame as a host runs it; returns the simulated time it advanced.
double advance(MAC_LBM_Fluid3& fluid, MAC_LBM_Solver3& solver, float frameTime) {
    const float before = fluid.getSolverContext().getTimeAccumulator();
    solver.preSolve();
    fluid.setAcceleration(Vector3<float>(0.0f, -float(kGravity), 0.0f));
    solver.solve(frameTime);
    solver.postSolve();
    return double(before) + double(frameTime) - double(fluid.getSolverContext().getTimeAccumulator());
}

}  // namespace

bool buildTank(MAC_LBM_Fluid3& fluid, const WaterOptions& options, unsigned int nx, unsigned int ny, unsigned int nz,
               double dx, double speed) {
    applyWaterOptions(fluid, options);
    fluid.setMaxForce(float(kGravity));
    fluid.setMaxInitialSpeed(float(speed));
    const unsigned int wanted[3] = {nx, ny, nz};
    double stretch[3] = {1.0, 1.0, 1.0};
    bool exact = false;
    for (int attempt = 0; attempt < 40 && !exact; ++attempt) {
        const Vector3<float> scale(float(nx * dx * stretch[0]), float(ny * dx * stretch[1]),
                                   float(nz * dx * stretch[2]));
        fluid.setScale(scale);
        fluid.setLargestLength(std::max({scale.x, scale.y, scale.z}));
        fluid.setResolution(nx * ny * nz);
        const auto& grid = fluid.getGrid();
        const unsigned int got[3] = {grid.getNx(), grid.getNy(), grid.getNz()};
        exact = true;
        for (int a = 0; a < 3; ++a) {
            if (got[a] > wanted[a]) stretch[a] *= 1.0 - 2e-5;
            if (got[a] < wanted[a]) stretch[a] *= 1.0 + 2e-5;
            exact = exact && got[a] == wanted[a];
        }
    }
    if (!exact) {
        const auto& grid = fluid.getGrid();
        std::fprintf(stderr, "tank came out as %u x %u x %u cells instead of %u x %u x %u\n", grid.getNx(),
                     grid.getNy(), grid.getNz(), nx, ny, nz);
        return false;
    }
    fluid.initialize();
    fluid.setDomainBoundaryCells();
    return true;
}

void fillCells(MAC_LBM_Fluid3& fluid, const unsigned int lo[3], const unsigned int hi[3]) {
    // Cell i spans [i, i + 1) in grid units and is sampled at its centre.
    const auto& grid = fluid.getGrid();
    const unsigned int n[3] = {grid.getNx(), grid.getNy(), grid.getNz()};
    float low[3], high[3];
    for (int a = 0; a < 3; ++a) {
        low[a] = lo[a] == 1 ? 0.5f : float(lo[a]) + 0.75f;
        high[a] = hi[a] + 2 == n[a] ? float(hi[a]) + 1.5f : float(hi[a]) + 0.25f;
    }
    const Vector3<float>& origin = grid.getBox().min;
    const Vector3<float> a = fluid.gridToWorldPosition(origin + Vector3<float>(low[0], low[1], low[2]));
    const Vector3<float> b = fluid.gridToWorldPosition(origin + Vector3<float>(high[0], high[1], high[2]));
    fluid.setFluidCells(makeBoxMesh(Box3<float>(a, b)), Vector3<float>(), kNoJitter, 0, kSourceId);
}

unsigned int frontCells(const MAC_LBM_Fluid3& fluid, float minFill) {
    const auto& grid = fluid.getGrid();
    unsigned int furthest = 0;
    for (unsigned int k = 1; k + 1 < grid.getNz(); ++k) {
        bool previous = true;  // the back wall's side
        for (unsigned int i = 1; i + 1 < grid.getNx(); ++i) {
            const bool filled = fillOf(liquidAt(fluid, i, 1, k)) >= minFill;
            if (filled && (previous || i == 1)) furthest = std::max(furthest, i);
            previous = filled;
        }
    }
    return furthest;
}

void applyWaterOptions(MAC_LBM_Fluid3& fluid, const WaterOptions& options) {
    fluid.setDensity(kDensity);
    fluid.setViscosity(options.viscosity);
    fluid.setCompressibility(options.compressibility);
    fluid.setSinksDrain(true);
    fluid.setConserveMass(options.conserveMass);
}

double expectedSpeed(double h, double ratio) { return ratio * std::sqrt(2.0 * kGravity * h); }

namespace {

// A tank of nx x ny x nz cells of edge dx expecting the speed of a fall
// from the validation column, the block of cells from (1, 1, 1) to `hi`
// filled with liquid against the back wall, and its solver attached and
// initialised. False when the tank cannot be sized to the cell counts.
bool startColumnScene(MAC_LBM_Fluid3& fluid, MAC_LBM_Solver3& solver, const WaterOptions& options, unsigned int nx,
                      unsigned int ny, unsigned int nz, double dx, const unsigned int hi[3]) {
    if (!buildTank(fluid, options, nx, ny, nz, dx, expectedSpeed(kColumn, options.speedRatio))) return false;
    const unsigned int lo[3] = {1, 1, 1};
    fillCells(fluid, lo, hi);
    solver.attach(fluid);
    solver.initialize(options.threads);
    return true;
}

}  // namespace

DamBreakResult runDamBreak(const WaterOptions& options, unsigned int cells, double lastT, bool progress,
                           unsigned int across, float frontFill) {
    DamBreakResult result;
    result.cellsPerColumn = cells;
    const Clock::time_point start = Clock::now();
    const unsigned int nx = 8 * cells + 2, ny = cells + cells / 2 + 2, nz = across + 2;
    const double dx = kColumn / cells;
    MAC_LBM_Fluid3 fluid;
    MAC_LBM_Solver3 solver;
    const unsigned int hi[3] = {cells, cells, across};
    if (!startColumnScene(fluid, solver, options, nx, ny, nz, dx, hi)) return result;
    result.dt = fluid.getSolverContext().getDt();
    result.dx = fluid.getSolverContext().getDx();
    result.latticeViscosity = fluid.getSolverContext().getLatticeViscosity();
    const double timeUnit = std::sqrt(kColumn / kGravity);
    result.subStepsPerT = timeUnit / result.dt;

    const double initialMass = census(fluid).mass;
    const double frameT = 0.05;
    const float frameTime = float(frameT * timeUnit);
    double t = 0.0;
    result.front.push_back({0.0, double(frontCells(fluid, frontFill)) / cells});
    result.massRatio.push_back(1.0);
    int reported = 0;
    while (t / timeUnit < lastT - 1e-9) {
        t += advance(fluid, solver, frameTime);
        const double T = t / timeUnit;
        result.front.push_back({T, double(frontCells(fluid, frontFill)) / cells});
        result.massRatio.push_back(initialMass > 0.0 ? census(fluid).mass / initialMass : 0.0);
        if (progress && int(T * 2.0) > reported) {
            reported = int(T * 2.0);
            std::printf("  dam break, %u cells per column: T = %.2f, Z = %.3f, mass %+.2f %%\n", cells, T,
                        result.front.back().y, (result.massRatio.back() - 1.0) * 100.0);
            std::fflush(stdout);
        }
    }
    result.error = compareFront(result.front, martinMoyceSquareColumn(), 3.0);
    result.seconds = secondsSince(start);
    return result;
}

HydrostaticResult runHydrostatic(const WaterOptions& options, unsigned int cells, double settleT, bool progress) {
    HydrostaticResult result;
    result.depthCells = cells;
    result.settleT = settleT;
    const Clock::time_point start = Clock::now();
    const unsigned int nx = cells + 2, ny = cells + cells / 2 + 2, nz = kAcross + 2;
    const double dx = kColumn / cells;
    MAC_LBM_Fluid3 fluid;
    MAC_LBM_Solver3 solver;
    const unsigned int hi[3] = {cells, cells, kAcross};
    if (!startColumnScene(fluid, solver, options, nx, ny, nz, dx, hi)) return result;
    const double dt = fluid.getSolverContext().getDt();
    result.latticeGravity = kGravity * dt * dt / dx;
    result.expectedSlope = 3.0 * result.latticeGravity;
    result.layerCells = cells * kAcross;

    const Census initial = census(fluid);
    const double timeUnit = std::sqrt(kColumn / kGravity);
    const double frameT = 0.25;
    const float frameTime = float(frameT * timeUnit);
    const unsigned int frames = unsigned(std::ceil(settleT / frameT));
    const unsigned int watchFrom = frames - std::max(1u, frames / 5);
    unsigned int previous = 0;
    for (unsigned int frame = 1; frame <= frames; ++frame) {
        advance(fluid, solver, frameTime);
        const unsigned int count = census(fluid).cells;
        if (frame > watchFrom) {
            if (frame == watchFrom + 1) {
                result.countMin = result.countMax = count;
            } else if (count != previous) {
                ++result.countChanges;
            }
            result.countMin = std::min(result.countMin, count);
            result.countMax = std::max(result.countMax, count);
        }
        previous = count;
        if (progress && frames >= 10 && frame % (frames / 10) == 0) {
            std::printf("  still water, %u cells deep: T = %.1f, %u liquid cells\n", cells, frame * frameT, count);
            std::fflush(stdout);
        }
    }

    // Mean density of each layer whose cells are all full, by height.
    std::vector<Point2> logDensity, density;
    for (unsigned int j = 1; j + 1 < ny; ++j) {
        double sum = 0.0;
        bool full = true;
        for (unsigned int i = 1; i + 1 < nx && full; ++i)
            for (unsigned int k = 1; k + 1 < nz; ++k) {
                const LBM_Q19_MAC_Cell3F* cell = liquidAt(fluid, i, j, k);
                if (cell == nullptr || cell->getType() != fluid::LBM_CELL_FLUID) {
                    full = false;
                    break;
                }
                sum += cell->getDensity();
            }
        if (!full) continue;
        const double mean = sum / double(result.layerCells);
        density.push_back({double(j), mean});
        logDensity.push_back({double(j), std::log(mean)});
    }
    LineFit fit;
    if (fitLine(logDensity, fit)) result.fittedSlope = -fit.slope;
    if (fitLine(density, fit)) result.linearSlope = -fit.slope;
    result.slopeError = result.expectedSlope > 0.0 ? result.fittedSlope / result.expectedSlope - 1.0 : 0.0;
    if (!density.empty() && density.front().x == 1.0) result.bottomExcess = density.front().y - 1.0;

    double fastest = 0.0;
    for (const fluid::LBM_Cell3<float>* cell : fluid.getGrid().getCells())
        if (cell != nullptr && cell->isFluid())
            fastest = std::max(fastest, double(fluid.gridToWorldVelocity(cell->getVelocity()).length()));
    result.maxSpeedRatio = fastest / std::sqrt(kGravity * kColumn);
    const Census final = census(fluid);
    result.volumeChange = initial.volume > 0.0 ? final.volume / initial.volume - 1.0 : 0.0;
    result.massDrift = initial.mass > 0.0 ? final.mass / initial.mass - 1.0 : 0.0;
    result.topLayerStable = double(result.countMax - result.countMin) < 0.5 * result.layerCells;
    result.seconds = secondsSince(start);
    return result;
}

FreeFallResult runFreeFall(const WaterOptions& options, unsigned int cells, bool progress) {
    FreeFallResult result;
    result.cubeCells = cells;
    const Clock::time_point start = Clock::now();
    const unsigned int margin = 3;
    const unsigned int nx = cells + 2 * margin + 2, nz = nx, ny = 4 * cells + 6;
    const double cube = 0.1;
    const double dx = cube / cells;
    MAC_LBM_Fluid3 fluid;
    if (!buildTank(fluid, options, nx, ny, nz, dx, std::sqrt(2.0 * kGravity * ny * dx))) return result;
    const unsigned int lo[3] = {margin + 1, ny - 3 - cells, margin + 1};
    const unsigned int hi[3] = {margin + cells, ny - 4, margin + cells};
    fillCells(fluid, lo, hi);
    MAC_LBM_Solver3 solver;
    solver.attach(fluid);
    solver.initialize(options.threads);
    const float dt = fluid.getSolverContext().getDt();
    const Vector3<float>& origin = fluid.getGrid().getBox().min;

    std::vector<Point2> heights;          // (t, centre height in m) over the cells
    std::vector<Point2> particleHeights;  // the same over the marker particles
    double t = 0.0;
    const unsigned int firstStep = 3, floorGap = 2;
    for (unsigned int step = 1; step < 100000; ++step) {
        t += advance(fluid, solver, dt);
        double mass = 0.0, moment = 0.0;
        unsigned int lowest = ny;
        for (unsigned int i = 1; i + 1 < nx; ++i)
            for (unsigned int j = 1; j + 1 < ny; ++j)
                for (unsigned int k = 1; k + 1 < nz; ++k) {
                    const LBM_Q19_MAC_Cell3F* cell = liquidAt(fluid, i, j, k);
                    if (cell == nullptr) continue;
                    mass += cell->getMass();
                    moment += cell->getMass() * (double(j) + 0.5);
                    lowest = std::min(lowest, j);
                }
        if (lowest <= floorGap + 1 || !(mass > 0.0)) break;
        if (step >= firstStep) {
            heights.push_back({t, moment / mass * dx});
            double sum = 0.0;
            std::size_t count = 0;
            for (const auto& particle : fluid.get_MAC_ParticleSystem()) {
                sum += particle.position.y;
                ++count;
            }
            if (count > 0) particleHeights.push_back({t, (sum / double(count) - origin.y) * dx});
        }
        if (progress && step % 50 == 0) {
            std::printf("  free fall, %u-cell cube: t = %.4f s, centre at %.4f m\n", cells, t, heights.back().y);
            std::fflush(stdout);
        }
    }
    ParabolaFit fit;
    if (fitParabola(heights, fit)) {
        result.fittedAcceleration = -2.0 * fit.c2;
        result.relativeError = result.fittedAcceleration / kGravity - 1.0;
    }
    if (fitParabola(particleHeights, fit)) {
        result.particleAcceleration = -2.0 * fit.c2;
        result.particleError = result.particleAcceleration / kGravity - 1.0;
    }
    result.samples = unsigned(heights.size());
    if (!heights.empty()) result.fallenCells = (heights.front().y - heights.back().y) / dx;
    result.seconds = secondsSince(start);
    return result;
}

DemoTiming demoTiming(const WaterOptions& options) {
    MAC_LBM_Fluid3 fluid;
    applyWaterOptions(fluid, options);
    fluid.setMaxForce(float(kGravity));
    fluid.setMaxInitialSpeed(float(expectedSpeed(kDemoColumnHeight, options.speedRatio)));
    fluid.setScale(Vector3<float>(2.0f, 1.0f, 1.0f));
    fluid.setLargestLength(2.0f);
    fluid.setResolution(88 * 44 * 44);
    fluid.initialize();
    MAC_LBM_Solver3 solver;
    solver.attach(fluid);
    solver.initialize(1);
    DemoTiming timing;
    timing.dt = fluid.getSolverContext().getDt();
    timing.dx = fluid.getSolverContext().getDx();
    timing.latticeViscosity = fluid.getSolverContext().getLatticeViscosity();
    return timing;
}

}  // namespace kelvar::validation
