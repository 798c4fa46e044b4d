#include <benchmark/benchmark.h>

#include "kv_geometry/MeshPrimitives.h"
#include "kv_geometry/MeshVoxelizer3.h"

namespace {

using namespace kelvar;

// A closed sphere of 2 * 250 * 200 = 100 000 triangles in a 256^3 lattice.
struct Scene {
    Mesh mesh = makeSphereMesh({0.3f, -0.2f, 0.1f}, 110.0f, 250, 201);
    VoxelLattice3<float> lattice;
    Array<Box3<float>> regions;
    Scene() {
        lattice.origin = {-128, -128, -128};
        lattice.resolution = {256, 256, 256};
        regions.push_back(Box3<float>({-128, -128, -128}, {128, 128, 128}));
    }
};

void BM_RasterizeSurfaceAndInside(benchmark::State& state) {
    const Scene scene;
    MeshVoxelizer3<float> voxelizer(scene.lattice);
    voxelizer.setThreads(unsigned(state.range(0)));
    Array<MeshGrid3BoxesFaces<float>> chunks;
    for (auto _ : state) benchmark::DoNotOptimize(voxelizer.rasterize(scene.mesh, scene.regions, chunks));
    state.counters["triangles"] = double(scene.mesh.triangleCount());
    state.counters["cells/s"] = benchmark::Counter(256.0 * 256.0 * 256.0 * double(state.iterations()),
                                                   benchmark::Counter::kIsRate);
}
BENCHMARK(BM_RasterizeSurfaceAndInside)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RasterizeSolid(benchmark::State& state) {
    const Scene scene;
    MeshVoxelizer3<float> voxelizer(scene.lattice);
    voxelizer.setThreads(unsigned(state.range(0)));
    Array<Box3BoxesBits<float>> chunks;
    for (auto _ : state) benchmark::DoNotOptimize(voxelizer.rasterizeSolid(scene.mesh, scene.regions, chunks));
    state.counters["cells/s"] = benchmark::Counter(256.0 * 256.0 * 256.0 * double(state.iterations()),
                                                   benchmark::Counter::kIsRate);
}
BENCHMARK(BM_RasterizeSolid)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
