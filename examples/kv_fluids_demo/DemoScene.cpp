#include "DemoScene.h"

#include <algorithm>
#include <cmath>

#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::demo {

namespace {

using fluid::MAC_LBM_Fluid3;

// The tank, centred on the origin.
const Vector3<float> kTankSize(2.0f, 1.0f, 1.0f);

// Liquid parameters: water's density; a viscosity and compressibility that
// keep the lattice stable at coarse resolutions with a usable sub-step.
constexpr float kDensity = 1000.0f;
constexpr float kViscosity = 0.05f;
constexpr float kCompressibility = 1.0f;
// The fastest the liquid is expected to move (about a free fall over the
// tank's height); it bounds the lattice speed and so sets the sub-step.
constexpr float kExpectedSpeed = 3.0f;

// Dam break: a column against the -x wall, 0.7 of the tank high.
const Box3<float> kDamColumn({-1.0f, -0.5f, -0.5f}, {-0.4f, 0.2f, 0.5f});
// Pour: a spout high over the -x half throwing liquid towards +x, and a
// drain in the floor at the far end.
const Box3<float> kSpout({-0.8f, 0.15f, -0.1f}, {-0.6f, 0.3f, 0.1f});
const Vector3<float> kSpoutVelocity(1.0f, -0.5f, 0.0f);
const Box3<float> kDrain({0.6f, -0.5f, -0.15f}, {0.9f, -0.4f, 0.15f});

constexpr unsigned short kSourceId = 1;
constexpr uint32_t kDrainId = 1;
// Marker particles start half a sub-cell off the regular pattern at most.
constexpr float kJitter = 0.5f;

// The box with its faces moved to the nearest planes through cell centres.
// The voxeliser samples cells at their centres, so faces there make the
// cells they cross interface cells: the liquid starts with a free surface.
Box3<float> fittedToCellCentres(const MAC_LBM_Fluid3& fluid, const Box3<float>& box) {
    const Vector3<float>& origin = fluid.getGrid().getBox().min;
    auto fit = [&](const Vector3<float>& world) {
        const Vector3<float> cells = fluid.worldToGridPosition(world) - origin;
        const Vector3<float> centre(std::floor(cells.x) + 0.5f, std::floor(cells.y) + 0.5f, std::floor(cells.z) + 0.5f);
        return fluid.gridToWorldPosition(origin + centre);
    };
    return Box3<float>(fit(box.min), fit(box.max));
}

bool readSceneMesh(const std::string& path, const char* role, Mesh& mesh, std::string& error) {
    if (!readMesh(path, mesh, error)) {
        error = "cannot read the " + std::string(role) + " mesh: " + error;
        return false;
    }
    if (mesh.triangleCount() == 0) {
        error = "the " + std::string(role) + " mesh " + path + " holds no triangles";
        return false;
    }
    return true;
}

}  // namespace

bool DemoScene::create(const DemoOptions& options, DemoScene& scene, std::string& error) {
    scene.kind = options.scene;
    if (scene.kind == SceneKind::DamBreak) {
        scene.sourceBox = kDamColumn;
        scene.drain.clear();
    } else {
        scene.sourceBox = kSpout;
        scene.sourceVelocity = kSpoutVelocity;
        scene.drain = makeBoxMesh(kDrain);
    }
    if (!options.emitterPath.empty() && !readSceneMesh(options.emitterPath, "emitter", scene.source, error))
        return false;
    if (!options.sinkPath.empty() && !readSceneMesh(options.sinkPath, "sink", scene.drain, error)) return false;
    scene.drain.setId(kDrainId);
    return true;
}

void DemoScene::build(MAC_LBM_Fluid3& fluid, unsigned int requestedCells) {
    fluid.setDensity(kDensity);
    fluid.setViscosity(kViscosity);
    fluid.setCompressibility(kCompressibility);
    fluid.setMaxForce(kGravity);
    fluid.setMaxInitialSpeed(std::max(kExpectedSpeed, sourceVelocity.length()));
    fluid.setScale(kTankSize);
    fluid.setLargestLength(std::max({kTankSize.x, kTankSize.y, kTankSize.z}));
    fluid.setResolution(requestedCells);
    fluid.initialize();
    // Liquid that reaches a drain leaves for good.
    fluid.setSinksDrain(true);
    fluid.setDomainBoundaryCells();
    if (source.triangleCount() == 0) source = makeBoxMesh(fittedToCellCentres(fluid, sourceBox));
    if (drain.triangleCount() > 0) fluid.setSinkCells(drain, true);
    if (kind == SceneKind::DamBreak) fluid.setFluidCells(source, sourceVelocity, kJitter, 0, kSourceId);
}

void DemoScene::beforeFrame(MAC_LBM_Fluid3& fluid, unsigned int frame) const {
    if (kind == SceneKind::Pour) fluid.setFluidCells(source, sourceVelocity, kJitter, int(frame), kSourceId);
}

}  // namespace kelvar::demo
