// The demo host: runs one liquid scene frame by frame and writes the free
// surface of every frame as a PLY mesh and a PNG preview, and on request the
// cells' fill and velocity as VTK image data and OpenVDB grids.

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "DemoOptions.h"
#include "DemoScene.h"
#include "DemoState.h"
#include "FrameOutput.h"
#include "ProgressReport.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"

namespace {

using namespace kelvar;
using namespace kelvar::demo;
using Clock = std::chrono::steady_clock;

constexpr char kProgram[] = "kv_fluids_demo";

int usageError(const std::string& message) {
    std::fprintf(stderr, "%s: %s\nTry '%s --help' for the options.\n", kProgram, message.c_str(), kProgram);
    return kExitUsage;
}

double secondsSince(const Clock::time_point& start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Whole sub-steps a solve call ran, from the time it consumed.
unsigned int subStepsRun(float accumulatorBefore, float frameTime, float accumulatorAfter, float dt) {
    return dt > 0.0f ? unsigned(std::lround((accumulatorBefore + frameTime - accumulatorAfter) / dt)) : 0u;
}

// Feeds the scene, applies gravity and solves one frame. The report holds
// everything but the liquid census, which the caller takes afterwards.
FrameReport advanceFrame(const DemoScene& scene, fluid::MAC_LBM_Fluid3& fluid, fluid::MAC_LBM_Solver3& solver,
                         unsigned int frame) {
    const float frameTime = 1.0f / float(kFramesPerSecond);
    // preSolve first: what the scene removes (liquid a paddle covers) is then
    // owed to the liquid in this frame's sub-steps.
    solver.preSolve();
    scene.beforeFrame(fluid, frame);
    // Cells made since the last frame start without force: apply gravity to all.
    fluid.setAcceleration(Vector3<float>(0.0f, -DemoScene::kGravity, 0.0f));
    const uint32_t cellsBefore = fluid.getLiquidCellCount();
    const float accumulator = fluid.getSolverContext().getTimeAccumulator();
    const Clock::time_point start = Clock::now();
    solver.solve(frameTime);
    solver.postSolve();
    const double seconds = secondsSince(start);

    FrameReport report;
    report.frame = frame;
    report.simulatedSeconds = double(frame) * frameTime;
    report.subSteps = subStepsRun(accumulator, frameTime, fluid.getSolverContext().getTimeAccumulator(),
                                  fluid.getSolverContext().getDt());
    report.mlups = seconds > 0.0 ? double(cellsBefore) * report.subSteps / seconds * 1e-6 : 0.0;
    return report;
}

// The mean force on each obstacle over the frame, in newtons.
void printObstacleForces(const fluid::MAC_LBM_Fluid3& fluid, unsigned int count) {
    if (count == 0) return;
    Array<Vector3<float>> momentum;
    fluid.computeMomentum(momentum);
    const float frameTime = 1.0f / float(kFramesPerSecond);
    std::printf("  obstacle forces (N):");
    for (const Vector3<float>& p : momentum)
        std::printf(" (%.2f, %.2f, %.2f)", p.x / frameTime, p.y / frameTime, p.z / frameTime);
    std::printf("\n");
}

// The liquid's mass at both ends of the run and, where it should have stayed
// constant, how far it drifted.
void printMassSummary(const LiquidCensus& initial, const LiquidCensus& final, bool exchangesLiquid,
                      double drained) {
    std::printf("liquid mass: %.3f kg at the start, %.3f kg at the end", initial.mass, final.mass);
    if (drained > 0.0) std::printf(", %.3f kg drained", drained);
    if (exchangesLiquid)
        std::printf(" (liquid is poured in or drained: no drift measured)\n");
    else if (initial.mass > 0.0)
        std::printf(", drift %+.3f %%\n", (final.mass - initial.mass) / initial.mass * 100.0);
    else
        std::printf(" (no liquid at the start: no drift measured)\n");
}

int run(const DemoOptions& options) {
    if (options.vdb && !canWriteVdb())
        return usageError("--vdb: this build writes no OpenVDB files (install libopenvdb-dev and reconfigure)");
    DemoScene scene;
    std::string error;
    if (!DemoScene::create(options, scene, error)) return usageError(error);
    std::error_code folderError;
    std::filesystem::create_directories(options.output, folderError);
    if (folderError || !std::filesystem::is_directory(options.output))
        return usageError("cannot create the output folder " + options.output);

    const unsigned int threads =
        options.threads > 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    fluid::MAC_LBM_Fluid3 fluid;
    scene.build(fluid, options.resolution);
    // Checkpoints carry what a resumed run needs to go on exactly.
    fluid.setExactCheckpoints(true);
    fluid::MAC_LBM_Solver3 solver;
    solver.attach(fluid);
    solver.initialize(threads);
    unsigned int resumedFrame = 0;
    if (!options.resumePath.empty() && !resumeFrom(options.resumePath, fluid, resumedFrame, error))
        return usageError(error);
    const auto& grid = fluid.getGrid();
    std::printf("%s: %s, %u x %u x %u cells, %u frames, %u threads, sub-step %.3g ms\n", kProgram, scene.name(),
                grid.getNx(), grid.getNy(), grid.getNz(), options.frames, threads,
                fluid.getSolverContext().getDt() * 1000.0);

    const Box3<float> tank = worldBox(fluid);
    const LiquidCensus initial = takeCensus(fluid);
    LiquidCensus census = initial;
    ProgressReport progress(stdout, options.frames, isatty(STDOUT_FILENO) != 0);
    const Clock::time_point start = Clock::now();
    progress.start();
    if (resumedFrame > 0) std::printf("resumed after frame %u from %s\n", resumedFrame, options.resumePath.c_str());
    for (unsigned int frame = resumedFrame + 1; frame <= options.frames; ++frame) {
        FrameReport report = advanceFrame(scene, fluid, solver, frame);
        census = takeCensus(fluid);
        report.liquidCells = census.cells;
        report.liquidMass = census.mass;
        // The cells changed: have the VOF field rebuilt for this frame.
        fluid.refDirtyFlags().set(fluid::MAC_LBM_Fluid3::VOF_DIRTY);
        printObstacleForces(fluid, scene.obstacleCount());
        const Mesh surface = extractSurface(fluid);
        if (!writeFrameFiles(surface, scene.fixtures(frame), tank, options.output, frame, error) ||
            !writeVolumeFiles(fluid, surface, options.output, frame, options.vtk, options.vdb, error) ||
            !writeFrameState(fluid, options.output, frame, options.checkpointEvery, options.proxyQuality, error)) {
            progress.finish();
            std::fprintf(stderr, "%s: %s\n", kProgram, error.c_str());
            return kExitFailure;
        }
        progress.frameDone(report, secondsSince(start));
    }
    progress.finish();

    printMassSummary(initial, census, scene.exchangesLiquid(), fluid.getDrainedMass());
    std::printf("wall time %.1f s; frames written to %s\n", secondsSince(start),
                std::filesystem::absolute(options.output).string().c_str());
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    DemoOptions options;
    std::string error;
    if (!parseDemoOptions(arguments, options, error)) return usageError(error);
    if (options.help) {
        std::fputs(demoUsage(kProgram).c_str(), stdout);
        return kExitOk;
    }
    try {
        return run(options);
    } catch (const std::bad_alloc&) {
        return usageError("not enough memory for " + std::to_string(options.resolution) +
                          " cells; choose a smaller --resolution");
    }
}
