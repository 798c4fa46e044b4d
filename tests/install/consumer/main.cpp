// A host built against the installed package. It reaches every class and
// free function the shared library exports, so that a declaration that is
// installed but not exported fails to link here, and exits non-zero naming
// what misbehaved.
#include <atomic>
#include <cstdio>
#include <string>

#include <kv_fluids_dyn/kv_fluids_dyn.h>

namespace {

using namespace kelvar;
using namespace kelvar::fluid;

std::string touchLattice() {
    LBM_Q19_MAC_Cell3F cell;
    if (cell.getWeights().size() != 19 || LBM_Q19_Cell3Shifter::instance()->size() != 19 ||
        LBM_Q19_Cell3OppositeIndices::instance()->size() != 19 || LBM_Q19_Cell3StreamIndices::instance()->empty() ||
        LBM_Q19_Cell3MirrorIndices::instance()->empty() || LBM_Q19_Cell3StreamFreeSlipTable::instance()->empty())
        return "lattice tables";
    cell.setEmpty();
    cell.updateEpsilon();
    LBM_SolidCell3<float> solid;
    LBM_SinkCell3<float> sink;
    if (!solid.isSolid() || sink.getType() != LBM_CELL_SINK) return "solid and sink cells";
    return {};
}

std::string touchGeometryAndFiles() {
    Mesh box = makeBoxMesh(Box3<float>({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}));
    std::string bytes, error;
    if (!writeMeshToMemory(box, MeshFileFormat::Stl, false, bytes, error)) return "mesh writer: " + error;
    Mesh back;
    if (!readMeshFromMemory(bytes.data(), bytes.size(), MeshFileFormat::Stl, "box.stl", back, error)) return "mesh reader: " + error;
    ScalarField3<float> field({4, 4, 4}, {1.0f, 1.0f, 1.0f});
    Mesh surface;
    IsosurfaceExtractor3::extractMesh(field, surface, 0.5f, 1, 1, 1, 1, 1, 1, 0, nullptr);
    VoxelLattice3<float> lattice;
    lattice.resolution = {2, 2, 2};
    MeshVoxelizer3<float> voxelizer(lattice);
    Array<Box3<float>> regions;
    regions.push_back(Box3<float>({0.0f, 0.0f, 0.0f}, {2.0f, 2.0f, 2.0f}));
    Array<BoxGrid3<float>> grids;
    voxelizer.createGridChunks(regions, grids);
    Image image;
    if (!image.create(2, 2, 8, 3)) return "image";
    Transform3<float> transform(Transform3Rts<float>{});
    Transform3<float>::concatenate(transform, transform);
    std::FILE* file = std::tmpfile();
    if (file == nullptr) return {};
    const unsigned int value = 0x01020304u;
    unsigned int read = 0;
    WriteUInt(&value, 1, file);
    std::rewind(file);
    ReadUInt(&read, 1, file);
    std::fclose(file);
    return read == value ? std::string() : "typed file io";
}

std::string touchParallel() {
    Thread thread;
    static std::atomic<unsigned int> ran{0};
    thread.start([](void*) -> unsigned int { ran.fetch_add(1); return 0; }, nullptr);
    thread.join();
    Array<unsigned int> values(100);
    for (unsigned int& v : values) v = 1;
    std::atomic<unsigned int> sum{0};
    runParallel(values, [&](const unsigned int&, unsigned int& v) { sum.fetch_add(v); }, 2);
    return ran.load() == 1 && sum.load() == 100 ? std::string() : "thread and parallel loop";
}

std::string touchDomainSolverAndOutput() {
    MAC_LBM_Fluid3 fluid;
    fluid.setMaxForce(9.81f);
    fluid.setMaxInitialSpeed(1.0f);
    fluid.setScale({1.0f, 1.0f, 1.0f});
    fluid.setLargestLength(1.0f);
    fluid.setResolution(10 * 10 * 10);
    fluid.initialize();
    fluid.setDomainBoundaryCells();
    fluid.setFluidCells(makeBoxMesh(Box3<float>({-0.4f, -0.4f, -0.4f}, {0.0f, 0.0f, 0.4f})), {}, 0.5f, 1, 1);
    fluid.setSinkCells(makeBoxMesh(Box3<float>({0.3f, -0.45f, -0.1f}, {0.4f, -0.35f, 0.1f})), true);
    fluid.addForce({0.0f, 0.1f, 0.0f});
    MAC_LBM_Solver3 solver;
    SolverPassTimes times;
    solver.setPassTimes(&times);
    solver.attach(fluid);
    solver.initialize(2);
    fluid.setAcceleration({0.0f, -9.81f, 0.0f});
    solver.preSolve();
    solver.solve(0.01f);
    solver.postSolve();
    KV_Combo random(7);
    random.nextUnit();
    fluid.compute_VOF_Field();
    Mesh surface;
    FreeSurfaceExtractor::extractMesh(fluid, 0.35f, true, 0.0f, true, 0, surface, nullptr);
    ArrayOfPtr<MAC_Particle3, KV_NO> selected;
    MAC_ParticleSystemFilter::filter(fluid.get_MAC_ParticleSystem(), fluid, MAC_FILTER_INTERFACE, 1, selected);
    Array<Vector3<float>> momentum;
    fluid.computeMomentum(momentum);
    MAC_ParticleSystem3& particles = fluid.ref_MAC_ParticleSystem();
    const unsigned int count = particles.getParticlesCount();
    unsigned int iterated = 0;
    for (const MAC_Particle3& particle : particles) iterated += particle.sourceId;
    const MAC_Particle3* first = count > 0 ? particles.getParticlesArray()[0] : nullptr;
    if (first == nullptr || iterated != count || particles.find(first->id).id != first->id ||
        particles.computeSignature_v1() == 0)
        return "particles";
    const MAC_LBM_SolverContext3& context = fluid.getSolverContext();
    if (!(context.getDt() > 0.0f) || fluid.getLiquidCellCount() == 0 || times.subSteps == 0 ||
        fluid.get_VOF_Field().getValues().empty() || surface.triangleCount() == 0)
        return "domain and solver";
    return {};
}

}  // namespace

int main() {
    for (auto touch : {touchLattice, touchGeometryAndFiles, touchParallel, touchDomainSolverAndOutput}) {
        const std::string failure = touch();
        if (!failure.empty()) {
            std::fprintf(stderr, "kv_consumer: %s\n", failure.c_str());
            return 1;
        }
    }
    std::printf("kv_fluids_dyn consumer ok\n");
    return 0;
}
