// Uses inline types from the installed headers and symbols exported by the
// installed shared library; exits non-zero when any of them misbehaves.
#include <cstdio>

#include <kv_fluids_dyn/kv_fluids_dyn.h>
#include <kv_math/Transform3Rts.h>

#include "ExportedClasses.h"

int main() {
    const kelvar::Vector3<float> p{1.0f, 2.0f, 3.0f};
    kelvar::Transform3Rts<float> placement;
    placement.setTranslation({1.0f, 0.0f, 0.0f});
    placement.setScale({2.0f, 2.0f, 2.0f});
    const kelvar::Vector3<float> moved = placement.transformPoint(p);
    const kelvar::Vector3<float> back = placement.inverseTransformPoint(moved);
    if (!(moved == kelvar::Vector3<float>{3.0f, 4.0f, 6.0f}) || !(back == p)) {
        std::fprintf(stderr, "transform gave (%g %g %g)\n", moved.x, moved.y, moved.z);
        return 1;
    }
    if (kelvar::fluid::streamVersion != 17) {
        std::fprintf(stderr, "unexpected stream version %u\n", kelvar::fluid::streamVersion);
        return 1;
    }
    // The whole host path through exported symbols only: fill, solve, read
    // back cells, the volume-of-fluid field, the surface and the particles.
    using namespace kelvar;
    using namespace kelvar::fluid;
    MAC_LBM_Fluid3 fluid;
    fluid.setScale({1.0f, 1.0f, 1.0f});
    fluid.setLargestLength(1.0f);
    fluid.setResolution(12 * 12 * 12);
    fluid.initialize();
    fluid.setDomainBoundaryCells();
    fluid.setFluidCells(makeBoxMesh(Box3<float>({-0.4f, -0.4f, -0.4f}, {0.0f, 0.1f, 0.4f})), {}, 0.5f, 1, 1);
    MAC_LBM_Solver3 solver;
    solver.attach(fluid);
    solver.initialize(2);
    fluid.setAcceleration({0.0f, -9.81f, 0.0f});
    solver.preSolve();
    solver.solve(0.02f);
    solver.postSolve();
    fluid.compute_VOF_Field();
    Mesh surface;
    FreeSurfaceExtractor::extractMesh(fluid, 0.35f, true, 0.0f, true, 0, surface, nullptr);
    MAC_ParticleSystem3& particles = fluid.ref_MAC_ParticleSystem();
    const unsigned int count = particles.getParticlesCount();
    unsigned int iterated = 0;
    for (const MAC_Particle3& particle : particles) iterated += particle.sourceId;
    const MAC_Particle3* first = count > 0 ? particles.getParticlesArray()[0] : nullptr;
    if (fluid.getLiquidCellCount() == 0 || count == 0 || iterated != count || first == nullptr ||
        particles.find(first->id).id != first->id || particles.computeSignature_v1() == 0 ||
        fluid.get_VOF_Field().getValues().empty() || surface.triangleCount() == 0) {
        std::fprintf(stderr, "host path failed: %u cells, %u particles\n", fluid.getLiquidCellCount(), count);
        return 1;
    }
    const std::string failure = touchExportedClasses();
    if (!failure.empty()) {
        std::fprintf(stderr, "exported classes: %s\n", failure.c_str());
        return 1;
    }
    std::printf("kv_fluids_dyn consumer ok\n");
    return 0;
}
