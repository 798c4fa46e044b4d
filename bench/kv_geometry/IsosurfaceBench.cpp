#include <benchmark/benchmark.h>

#include "kv_geometry/IsosurfaceExtractor3.h"

namespace {

using kelvar::ScalarField3;
using kelvar::Vector3;

// Signed distance to a sphere filling most of an n^3 field.
ScalarField3<float> sphereField(unsigned n) {
    ScalarField3<float> field({n, n, n}, {1, 1, 1});
    const float radius = 0.4f * float(n);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned k = 0; k < n; ++k) field.at(i, j, k) = field.voxelPosition(i, j, k).length() - radius;
    return field;
}

void BM_ExtractSphere(benchmark::State& state) {
    const unsigned n = unsigned(state.range(0));
    const ScalarField3<float> field = sphereField(n);
    kelvar::Mesh mesh;
    unsigned long triangles = 0;
    for (auto _ : state) {
        triangles = kelvar::IsosurfaceExtractor3::extractMesh<float>(field, mesh, 0.0f, 1, 1, 1, 1, 1, 1, 0, nullptr);
        benchmark::DoNotOptimize(triangles);
    }
    state.counters["voxels/s"] = benchmark::Counter(double(field.voxelCount()) * double(state.iterations()),
                                                    benchmark::Counter::kIsRate);
    state.counters["triangles"] = double(triangles);
}
BENCHMARK(BM_ExtractSphere)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);

}  // namespace
