// Runs the scene of test_bindings.py through the C++ interface and writes
// what the Python module reads back, as raw little-endian arrays, so that
// the test can require the two to agree to the bit.
//
// Usage: kv_python_reference EMITTER OBSTACLE SINK OUTPUT_DIR FRAMES THREADS

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "kv_fluids_dyn/kv_fluids_dyn.h"

namespace {

using namespace kelvar;
using namespace kelvar::fluid;

bool writeRaw(const std::filesystem::path& path, const void* data, std::size_t bytes) {
    std::FILE* file = std::fopen(path.string().c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = bytes == 0 || std::fwrite(data, 1, bytes, file) == bytes;
    return std::fclose(file) == 0 && written;
}

template <class T>
bool writeVector(const std::filesystem::path& path, const std::vector<T>& values) {
    return writeRaw(path, values.data(), values.size() * sizeof(T));
}

// The frame's figures, in the record the test packs with struct "<IIdd".
struct StatsRecord {
    uint32_t cells = 0, subSteps = 0;
    double mass = 0.0, drained = 0.0;
};

StatsRecord frameStats(const MAC_LBM_Fluid3& fluid, float accumulatorBefore, float frameTime) {
    StatsRecord record;
    for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells())
        if (cell != nullptr && cell->isFluid()) ++record.cells;
    record.mass = fluid.computeLiquidMass();
    const auto& context = fluid.getSolverContext();
    record.subSteps =
        unsigned(std::lround((accumulatorBefore + frameTime - context.getTimeAccumulator()) / context.getDt()));
    record.drained = fluid.getDrainedMass();
    return record;
}

bool writeResults(MAC_LBM_Fluid3& fluid, const std::filesystem::path& out) {
    const auto& grid = fluid.getGrid();
    std::vector<float> fill, velocity;
    for (unsigned i = 0; i < grid.getNx(); ++i)
        for (unsigned j = 0; j < grid.getNy(); ++j)
            for (unsigned k = 0; k < grid.getNz(); ++k) {
                const LBM_Cell3<float>* cell = grid.at(i, j, k);
                fill.push_back(cell != nullptr && cell->isFluid()
                                   ? static_cast<const LBM_Q19_MAC_Cell3F*>(cell)->getEpsilon()
                                   : 0.0f);
                const Vector3<float> v = fluid.gridToWorldVelocity(fluid.getVelocityAt(i, j, k));
                velocity.insert(velocity.end(), {v.x, v.y, v.z});
            }
    fluid.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
    fluid.compute_VOF_Field();
    const Array<float>& vof = fluid.get_VOF_Field().getValues();
    const std::vector<float> vofValues(vof.data(), vof.data() + fluid.get_VOF_Field().voxelCount());

    // Particles packed field by field: id, position, velocity, source id, uv.
    std::vector<unsigned char> particles;
    const auto append = [&](const void* data, std::size_t bytes) {
        particles.insert(particles.end(), static_cast<const unsigned char*>(data),
                         static_cast<const unsigned char*>(data) + bytes);
    };
    for (const MAC_Particle3& p : fluid.get_MAC_ParticleSystem()) {
        append(&p.id, 4);
        append(&p.position, 12);
        append(&p.velocity, 12);
        append(&p.sourceId, 2);
        append(&p.uv, 8);
    }

    Mesh surface;
    FreeSurfaceExtractor::extractMesh<MAC_LBM_Fluid3>(fluid, 0.35f, true, 1.0f, true, 0, surface, nullptr);
    surface.transform(fluid.getXformGridToWorld().getMatrix());

    return writeVector(out / "fill.bin", fill) && writeVector(out / "velocity.bin", velocity) &&
           writeVector(out / "vof.bin", vofValues) && writeVector(out / "particles.bin", particles) &&
           writeRaw(out / "surface_vertices.bin", surface.getVertices().data(), surface.vertexCount() * 12u) &&
           writeRaw(out / "surface_faces.bin", surface.getTriangles().data(), surface.triangleCount() * 12u);
}

}  // namespace

int main(int argc, char** argv) {
    Mesh emitter, obstacle, sink;
    std::string error;
    if (argc != 7 || !readMesh(argv[1], emitter, error) || !readMesh(argv[2], obstacle, error) ||
        !readMesh(argv[3], sink, error)) {
        std::fprintf(stderr, "usage: %s EMITTER OBSTACLE SINK OUTPUT_DIR FRAMES THREADS\n%s\n", argv[0], error.c_str());
        return 2;
    }
    const std::filesystem::path out = argv[4];
    const int frames = std::atoi(argv[5]);
    const unsigned threads = unsigned(std::atoi(argv[6]));

    MAC_LBM_Fluid3 fluid;
    fluid.setViscosity(0.05f);
    fluid.setCompressibility(1.0f);
    fluid.setMaxForce(9.81f);
    fluid.setMaxInitialSpeed(3.0f);
    fluid.setScale({1.0f, 0.5f, 0.5f});
    fluid.setLargestLength(1.0f);
    fluid.setResolution(24 * 12 * 12);
    fluid.initialize();
    fluid.setSinksDrain(true);
    fluid.setConserveMass(true);
    fluid.setDomainBoundaryCells();
    fluid.setFluidCells(emitter, {0.5f, 0.0f, 0.0f}, 0.5f, 3, 2);
    sink.setId(1);
    fluid.setSinkCells(sink, true);
    obstacle.setId(10);
    FrictionData grip;
    grip.set(1.0f);
    fluid.setStaticSolidCells({&obstacle}, {grip});

    MAC_LBM_Solver3 solver;
    solver.attach(fluid);
    solver.initialize(threads);
    std::vector<StatsRecord> stats;
    const float frameTime = 1.0f / 20.0f;
    for (int frame = 0; frame < frames; ++frame) {
        solver.preSolve();
        fluid.setAcceleration({0.0f, -9.81f, 0.0f});
        const float before = fluid.getSolverContext().getTimeAccumulator();
        solver.solve(frameTime);
        solver.postSolve();
        stats.push_back(frameStats(fluid, before, frameTime));
    }
    if (!writeVector(out / "stats.bin", stats) || !writeResults(fluid, out)) {
        std::fprintf(stderr, "kv_python_reference: cannot write into %s\n", out.string().c_str());
        return 1;
    }
    return 0;
}
