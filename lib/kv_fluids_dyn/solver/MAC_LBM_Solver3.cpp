// The free-surface sub-step, and why its stages come in this order.
//
// A sub-step starts from the grid as the previous one (or the host) left it
// and first sums the liquid density, the reference for what this sub-step
// loses. It then rebuilds the per-step lists (liquid, interface, solid,
// sink), so that every later pass walks a dense array of cells instead of
// the grid, and refreshes the interface cells' fill fractions from their
// mass, which the mass exchange needs.
//
// Streaming takes two passes: the swap pass moves every liquid link once,
// within the walk that rebuilds the lists (the grid is walked once), and
// only when it has finished on every thread may the wall pass reflect and
// slide distributions at solid cells, because it reads slots the swap pass
// writes. The swap pass also marks the slots that no neighbour
// delivered (gas or drain), so that the reconstruction pass can rebuild them
// from the gas equilibrium; the mass exchange then compares what went in and
// out of each interface cell through the freshly streamed slots. Collision
// relaxes every liquid cell, after a limiter has replaced cells that move
// faster than the lattice allows, and leaves density and velocity current;
// it copies each cell's velocity into the advection's dense samples while
// the cell is in cache.
//
// With velocities current the marker particles are advected, and with the
// particles in their new cells the relabelling decides which cells are
// liquid: cells that gained a particle appear as interface cells, cells that
// lost all theirs are emptied and their full neighbours become interface.
// Emptying loses density, creating gains it; the density sum after the step
// books the difference into the fluid's lostMass, which the last pass hands
// back to the liquid a share at a time.
//
// A fluid that conserves mass keeps the liquid's mass instead (the density
// of full cells plus the mass of interface cells). What the flow passes
// still gain or lose is booked on the interface cells' mass before
// relabelling; relabelling hands what changing cells hold to their
// neighbours, and what it still lost goes back into the full cells' density.

#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3MirrorIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3OppositeIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Shifter.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamFreeSlipTable.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamIndices.h"
#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/DensitySums.h"
#include "kv_fluids_dyn/solver/internal/MassBalance.h"
#include "kv_fluids_dyn/solver/internal/ObstacleMomentumPass.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/SolverWorkspace.h"

namespace kelvar::fluid {

namespace {

// Keeps the square root of the fall speed positive without a force.
constexpr float kMinForce = 1.1920929e-7f;
// Compressibility 0..1 maps linearly onto Mach 0.02..0.5.
constexpr float kMachSlope = 0.48f;
constexpr float kMachOffset = 0.02f;
constexpr float kSqrt3 = 1.7320508f;
// Viscosity 1e-6..1 maps linearly onto the relaxation time 0.5001..1.9.
constexpr float kViscosityLow = 1e-6f;
constexpr float kViscositySpan = 0.999999f;
constexpr float kTauSpan = 1.3999f;
constexpr float kTauLow = 0.5001f;

void touchLatticeTables() {
    LBM_Q19_Cell3MirrorIndices::instance();
    LBM_Q19_Cell3OppositeIndices::instance();
    LBM_Q19_Cell3Shifter::instance();
    LBM_Q19_Cell3StreamFreeSlipTable::instance();
    LBM_Q19_Cell3StreamIndices::instance();
}

// Adds the time of one pass to the record, when there is one.
class PassClock {
public:
    PassClock(SolverPassTimes* times, SolverPassTimes::Pass pass) : times(times), pass(pass) {
        if (times != nullptr) start = std::chrono::steady_clock::now();
    }
    ~PassClock() {
        if (times != nullptr)
            times->seconds[pass] += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    PassClock(const PassClock&) = delete;
    PassClock& operator=(const PassClock&) = delete;

private:
    SolverPassTimes* times;
    SolverPassTimes::Pass pass;
    std::chrono::steady_clock::time_point start;
};

}  // namespace

MAC_LBM_Solver3::MAC_LBM_Solver3() : work(std::make_unique<SolverWorkspace>()) {}

MAC_LBM_Solver3::MAC_LBM_Solver3(const MAC_LBM_Solver3& other)
    : Base(other), work(std::make_unique<SolverWorkspace>()) {}

MAC_LBM_Solver3& MAC_LBM_Solver3::operator=(const MAC_LBM_Solver3& other) {
    Base::operator=(other);
    work = std::make_unique<SolverWorkspace>();
    return *this;
}

MAC_LBM_Solver3::~MAC_LBM_Solver3() = default;

void MAC_LBM_Solver3::initialize(const unsigned int& threadCount) {
    threads = threadCount;
    step = 0;
    touchLatticeTables();

    for (MAC_LBM_Fluid3* fluid : fluids) {
        const auto& grid = fluid->getGrid();
        const unsigned int longest = std::max(grid.getNx(), std::max(grid.getNy(), grid.getNz()));
        const float dx = fluid->getLargestLength() / static_cast<float>(longest);
        const float height = (grid.getBox().max.y - grid.getBox().min.y) * dx;

        const float force = std::max(fluid->getMaxForce(), kMinForce);
        const float fallSpeed = std::sqrt(height * 2.0f * force * dx);
        const float maxSpeed = std::max(fluid->getMaxInitialSpeed(), fallSpeed);
        const float mach = fluid->getCompressibility() * kMachSlope + kMachOffset;
        const float soundSpeed = maxSpeed / mach;
        const float dtCandidate = dx / (kSqrt3 * soundSpeed);
        const float dt = maxAllowed_Dt <= dtCandidate ? maxAllowed_Dt : dtCandidate;

        MAC_LBM_SolverContext3& context = fluid->refSolverContext();
        const float cellMass = dx * dx * dx * fluid->getDensity();
        context.setDt(dt);
        context.setDx(dx);
        context.setCellMass(cellMass);
        context.setTimeAccumulator(0.0f);
        context.setRandomState(SolverRand::kDefaultSeed);
        context.setDrainedDensity(0.0f);

        const float tau = (fluid->getViscosity() - kViscosityLow) / kViscositySpan * kTauSpan + kTauLow;
        context.setLatticeViscosity((2.0f * tau - 1.0f) / 6.0f);
        const float latticeMaxSpeed = maxSpeed / (kSqrt3 * soundSpeed);
        context.setLatticeMaxSpeed(latticeMaxSpeed);
        context.setLatticeMaxSpeed2(latticeMaxSpeed * latticeMaxSpeed);

        fluid->setMaxSpeed(maxSpeed);
        fluid->setSoundSpeed(soundSpeed);
        fluid->setMach(mach);
        fluid->setThreads(threads);
        fluid->setUnitFactors(dt, dx, cellMass);
    }
}

void MAC_LBM_Solver3::solve(const float& dt) {
    for (MAC_LBM_Fluid3* fluid : fluids) {
        MAC_LBM_SolverContext3& context = fluid->refSolverContext();
        context.refTimeAccumulator() += dt;
        // A sub-step of zero length (or NaN) would never consume the time.
        if (!(context.getDt() > 0.0f)) continue;
        while (context.getTimeAccumulator() >= context.getDt()) {
            context.refTimeAccumulator() -= context.getDt();
            subStep(*fluid);
        }
    }
    ++step;
}

void MAC_LBM_Solver3::subStep(MAC_LBM_Fluid3& fluid) {
    using P = SolverPassTimes;
    MAC_LBM_SolverContext3& context = fluid.refSolverContext();
    const bool conserveMass = fluid.getConserveMass();
    float rhoBefore = 0.0f;
    double massBefore = 0.0;
    {
        // The walk that lists the cells also swaps the liquid links: the
        // first half of streaming.
        PassClock clock(passTimes, P::CellArrays);
        work->cellLists.runAndSwap(fluid, work->types, threads, work->stream.linkSwap());
        // The liquid list holds exactly the fluid and interface cells in grid
        // order, so this is computeRhoAndMass's density sum without a second
        // walk over the grid; the pass copied the densities in list order.
        if (conserveMass)
            massBefore = work->massSum.overList(fluid.getArrLiquidCells(), threads);
        else
            rhoBefore = work->cellLists.liquidDensitySum();
    }
    {
        PassClock clock(passTimes, P::Epsilon);
        InterfacePass::updateEpsilon(fluid, threads);
    }
    {
        PassClock clock(passTimes, P::Stream);
        work->stream.streamWalls(fluid, threads);
    }
    {
        PassClock clock(passTimes, P::Reconstruct);
        work->interface.reconstructPdfs(fluid, threads);
    }
    {
        PassClock clock(passTimes, P::MassExchange);
        if (conserveMass)
            work->keptExchange.run(fluid, threads);
        else
            work->interface.massExchange(fluid, threads);
    }
    {
        PassClock clock(passTimes, P::Collision);
        collideLiquidCells(fluid.refArrLiquidCells(), context, threads,
                           work->advection.samplesForCollision(fluid.getGrid()));
        if (fluid.hasObstacles()) exchangeObstacleMomentum(fluid, work->stream.wallCells());
    }
    {
        PassClock clock(passTimes, P::Advection);
        work->advection.runOnCollided(fluid, work->types, threads);
    }
    double massBeforeLabel = 0.0;
    {
        // No solid has changed since streaming listed the wall cells, and no
        // type since the walk that lists the cells wrote the type codes.
        PassClock clock(passTimes, P::Label);
        if (conserveMass) massBeforeLabel = keepMassThroughTheFlow(fluid, massBefore);
        work->relabel.run(fluid, work->types, work->stream.wallCells(), MAC_LBM_Fluid3::SolverKey(), threads,
                          work->advection.landings());
    }
    if (conserveMass) {
        balanceMass(fluid, massBeforeLabel);
        if (passTimes != nullptr) ++passTimes->subSteps;
        return;
    }
    float rhoAfter;
    {
        PassClock clock(passTimes, P::DensityAfter);
        rhoAfter = liquidDensitySumAfterRelabel(work->relabel.listedDensities(), work->relabel.createdCells());
    }
    {
        PassClock clock(passTimes, P::Distribute);
        // Bookkeeping on the sum of densities, not of masses, by design.
        // What drained through sinks has left for good: it is not owed.
        float lost = rhoBefore - rhoAfter + context.getAddedMass() + context.getLostMass();
        if (fluid.getSinksDrain()) {
            lost -= work->relabel.drainedDensity();
            context.setDrainedDensity(context.getDrainedDensity() + work->relabel.drainedDensity());
        }
        context.setLostMass(lost);
        context.setAddedMass(0.0f);
        work->distribute.run(fluid, rhoAfter, context, fluid.getSinksDrain(), threads);
    }
    if (passTimes != nullptr) ++passTimes->subSteps;
}

// Streaming, the exchange and collision keep the liquid's mass in exact
// arithmetic but for the speed limiter; what they still gained or lost
// (distributions slid along free-slip walls between a full and an interface
// cell, which the exchange does not see; the limiter; rounding) is booked on
// the interface cells' mass, where the books went wrong, not in the flow.
// Returns the mass after.
double MAC_LBM_Solver3::keepMassThroughTheFlow(MAC_LBM_Fluid3& fluid, const double& massBefore) {
    const LiquidCells& liquid = fluid.getArrLiquidCells();
    const double drifted = massBefore - work->keptExchange.drained() - work->keptExchange.overflow() -
                           work->massSum.overList(liquid, threads);
    MassHandBackPass::shareOverMass(fluid.getArrInterfaceCells(), static_cast<float>(drifted), threads);
    return work->massSum.overList(liquid, threads);
}

// The bookkeeping of relabelling when the liquid's mass is kept: what it
// lost or gained beyond what it handed to neighbours (and what obstacles took
// since the last sub-step) is given back to the full cells' density at once,
// so the flow feels the liquid it is owed; what drained (cells emptied next
// to a drain, and what the exchange clipped there) has left for good.
void MAC_LBM_Solver3::balanceMass(MAC_LBM_Fluid3& fluid, const double& massBefore) {
    using P = SolverPassTimes;
    MAC_LBM_SolverContext3& context = fluid.refSolverContext();
    double massAfter;
    {
        PassClock clock(passTimes, P::DensityAfter);
        massAfter = work->massSum.afterRelabel(fluid.getArrLiquidCells(), work->relabel.createdCells(), threads);
    }
    PassClock clock(passTimes, P::Distribute);
    double lost = massBefore - massAfter + work->keptExchange.overflow() + double(context.getAddedMass()) +
                  double(context.getLostMass());
    if (fluid.getSinksDrain()) {
        lost -= double(work->relabel.drainedDensity());
        const double drained = work->keptExchange.drained() + double(work->relabel.drainedDensity());
        context.setDrainedDensity(static_cast<float>(double(context.getDrainedDensity()) + drained));
    }
    context.setLostMass(static_cast<float>(lost));
    context.setAddedMass(0.0f);
    work->handBack.run(fluid, context, threads);
}

void MAC_LBM_Solver3::preSolve() {
    for (MAC_LBM_Fluid3* fluid : fluids) {
        fluid->refSolverContext().setAddedMass(0.0f);
        fluid->clearExchangedMomentum();
    }
}

void MAC_LBM_Solver3::postSolve() {}

}  // namespace kelvar::fluid
