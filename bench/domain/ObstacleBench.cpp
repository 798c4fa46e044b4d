// Re-placing a moving obstacle every frame: a sphere of about 10,000
// triangles moved through a 128^3 grid half full of liquid, with
// setDynamicSolidCells, per call. Compare with a frame's solve at the same
// size (solver_bench, 128 x 128 x 128).
//
//   bench/bin/domain_obstacle_bench

#include <benchmark/benchmark.h>

#include "kv_fluids_dyn/domain/FrictionData.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/MeshPrimitives.h"

namespace {

using namespace kelvar;
using namespace kelvar::fluid;

void BM_MovingObstacle(benchmark::State& state) {
    const unsigned threads = unsigned(state.range(0));
    MAC_LBM_Fluid3 fluid;
    fluid.setScale({1.0f, 1.0f, 1.0f});
    fluid.setLargestLength(1.0f);
    fluid.setResolution(128 * 128 * 128);
    fluid.setThreads(threads);
    fluid.initialize();
    fluid.setDomainBoundaryCells();
    fluid.setFluidCells(makeBoxMesh(Box3<float>({-0.49f, -0.49f, -0.49f}, {0.49f, 0.0f, 0.49f})), {}, 0.0f, 1, 1);
    FrictionData grip;
    grip.set(1.0f);
    Mesh sphere = makeSphereMesh({0.0f, 0.0f, 0.0f}, 0.15f, 100, 50);
    sphere.setId(1);
    float x = -0.3f;
    for (auto _ : state) {
        Mesh moved = sphere;
        moved.transform(Matrix4<float>::translation({x, 0.0f, 0.0f}));
        fluid.setDynamicSolidCells({&moved}, {grip});
        x = x > 0.3f ? -0.3f : x + 0.01f;
    }
    state.counters["triangles"] = sphere.triangleCount();
    state.counters["solid_cells"] = double(fluid.getDynamicSolidMeshIds().size());
}
BENCHMARK(BM_MovingObstacle)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
