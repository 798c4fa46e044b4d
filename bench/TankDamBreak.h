#pragma once

// The reference dam break that the library's speed is compared on: a tank
// of 206 x 64 x 64 cells (3.22 m x 1 m x 1 m at 64 cells per metre) with a
// water column of 79 x 35 x 62 cells against its -x wall, gravity 9.81,
// viscosity 0.05 and compressibility 1, filled from a box mesh as a host
// would, and a few sub-steps run. Shared by the benchmarks that use it.

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::bench {

using fluid::MAC_LBM_Fluid3;
using fluid::MAC_LBM_Solver3;

inline constexpr unsigned kNx = 206, kNy = 64, kNz = 64;
// The column in cells, from the first cell inside the walls.
inline constexpr unsigned kColumnX = 79, kColumnY = 35, kColumnZ = 62;
inline constexpr float kCellsPerMetre = 64.0f;
inline constexpr float kGravity = 9.81f;
inline constexpr float kViscosity = 0.05f;
inline constexpr float kCompressibility = 1.0f;
inline constexpr float kExpectedSpeed = 3.0f;
inline constexpr unsigned kWarmUpSubSteps = 3;

struct TankDamBreak {
    explicit TankDamBreak(unsigned threads) {
        const float length = float(kNx) / kCellsPerMetre;
        fluid.setLargestLength(length);
        fluid.setScale(Vector3<float>(length, float(kNy) / kCellsPerMetre, float(kNz) / kCellsPerMetre));
        fluid.setDensity(1000.0f);
        fluid.setViscosity(kViscosity);
        fluid.setCompressibility(kCompressibility);
        fluid.setMaxForce(kGravity);
        fluid.setMaxInitialSpeed(kExpectedSpeed);
        fluid.setResolution(kNx * kNy * kNz);
        fluid.initialize();
        fluid.setDomainBoundaryCells();
        // Faces on the cell-centre planes of the column's first and last
        // cells, so that its outer layer becomes the interface.
        const Vector3<float>& origin = fluid.getGrid().getBox().min;
        const Vector3<float> low = origin + Vector3<float>(1.5f, 1.5f, 1.5f);
        const Vector3<float> high = origin + Vector3<float>(float(kColumnX) + 0.5f, float(kColumnY) + 0.5f,
                                                            float(kColumnZ) + 0.5f);
        fluid.setFluidCells(makeBoxMesh(Box3<float>(fluid.gridToWorldPosition(low), fluid.gridToWorldPosition(high))),
                            Vector3<float>(), 0.5f, 1, 1);
        solver.attach(fluid);
        solver.initialize(threads);
        for (unsigned s = 0; s < kWarmUpSubSteps; ++s) step();
    }

    void step() {
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
        solver.solve(fluid.getSolverContext().getDt());
    }

    MAC_LBM_Fluid3 fluid;
    MAC_LBM_Solver3 solver;
};

}  // namespace kelvar::bench
