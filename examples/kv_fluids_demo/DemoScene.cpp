#include "DemoScene.h"

#include <algorithm>
#include <cmath>

#include "kv_fluids_dyn/domain/FrictionData.h"
#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::demo {

namespace {

using fluid::MAC_LBM_Fluid3;

// The tank, centred on the origin.
const Vector3<float> kTankSize(2.0f, 1.0f, 1.0f);

// Liquid parameters: water's density, and the viscosity and compressibility
// that the validation host chose (docs/validation.md): still water comes to
// rest and a dam-break front keeps within 10 % of experiment.
constexpr float kDensity = 1000.0f;
constexpr float kViscosity = 0.05f;
constexpr float kCompressibility = 0.2f;
// The fastest the liquid is expected to move: 1.2 times the free fall over
// the 0.7 m column. It bounds the lattice speed and so sets the sub-step;
// a bound below the dam-break front's speed would hold the front back.
constexpr float kExpectedSpeed = 4.5f;

// Dam break: a column against the -x wall, 0.7 of the tank high.
const Box3<float> kDamColumn({-1.0f, -0.5f, -0.5f}, {-0.4f, 0.2f, 0.5f});
// Pour: a spout high over the -x half throwing liquid towards +x, and a
// drain in the floor at the far end.
const Box3<float> kSpout({-0.8f, 0.15f, -0.1f}, {-0.6f, 0.3f, 0.1f});
const Vector3<float> kSpoutVelocity(1.0f, -0.5f, 0.0f);
const Box3<float> kDrain({0.6f, -0.5f, -0.15f}, {0.9f, -0.4f, 0.15f});

// Obstacle: a box on the floor in the dam break's way.
const Box3<float> kFloorBox({0.2f, -0.5f, -0.2f}, {0.5f, -0.25f, 0.2f});
// Paddle: still water 0.4 m deep, and a plate across the tank sweeping
// along +x from x = -0.8 at 0.5 m/s.
const Box3<float> kStillWater({-1.0f, -0.5f, -0.5f}, {1.0f, -0.1f, 0.5f});
const Box3<float> kPaddleStart({-0.8f, -0.45f, -0.45f}, {-0.75f, 0.1f, 0.45f});
const Vector3<float> kPaddleVelocity(0.5f, 0.0f, 0.0f);
// Every obstacle is no-slip.
constexpr float kObstacleFriction = 1.0f;

constexpr unsigned short kSourceId = 1;
constexpr uint32_t kDrainId = 1;
constexpr uint32_t kFirstObstacleId = 10;
// Marker particles start half a sub-cell off the regular pattern at most.
constexpr float kJitter = 0.5f;

// The box snapped to the cells it covers, with each face a quarter cell
// outside the centres of its outer layer. The voxeliser makes a cell a
// fluid cell when its centre is inside the mesh and an interface cell when
// a face crosses it without its centre being inside, so the layer just
// outside the centres becomes interface cells at every resolution: the
// liquid starts with a free surface. (Faces through the centres themselves
// gave no surface at all at some resolutions, and the column never moved.)
Box3<float> fittedToCells(const MAC_LBM_Fluid3& fluid, const Box3<float>& box) {
    const Vector3<float>& origin = fluid.getGrid().getBox().min;
    auto fit = [&](const Vector3<float>& world, float offset) {
        const Vector3<float> cells = fluid.worldToGridPosition(world) - origin;
        const Vector3<float> face(std::floor(cells.x) + offset, std::floor(cells.y) + offset,
                                  std::floor(cells.z) + offset);
        return fluid.gridToWorldPosition(origin + face);
    };
    return Box3<float>(fit(box.min, 0.75f), fit(box.max, 0.25f));
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
    scene.drain.clear();
    scene.obstacles.clear();
    scene.paddle = scene.kind == SceneKind::Paddle;
    if (scene.kind == SceneKind::Pour) {
        scene.sourceBox = kSpout;
        scene.sourceVelocity = kSpoutVelocity;
        scene.drain = makeBoxMesh(kDrain);
    } else {
        scene.sourceBox = scene.kind == SceneKind::Paddle ? kStillWater : kDamColumn;
    }
    if (scene.kind == SceneKind::Obstacle) scene.obstacles.push_back(makeBoxMesh(kFloorBox));
    for (const std::string& path : options.obstaclePaths) {
        Mesh obstacle;
        if (!readSceneMesh(path, "obstacle", obstacle, error)) return false;
        scene.obstacles.push_back(obstacle);
    }
    for (std::size_t n = 0; n < scene.obstacles.size(); ++n) scene.obstacles[n].setId(kFirstObstacleId + uint32_t(n));
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
    // Liquid that reaches a drain leaves for good, and none is lost on the way.
    fluid.setSinksDrain(true);
    fluid.setConserveMass(true);
    fluid.setDomainBoundaryCells();
    if (source.triangleCount() == 0) source = makeBoxMesh(fittedToCells(fluid, sourceBox));
    if (drain.triangleCount() > 0) fluid.setSinkCells(drain, true);
    if (kind != SceneKind::Pour) fluid.setFluidCells(source, sourceVelocity, kJitter, 0, kSourceId);
    if (obstacles.empty()) return;
    ArrayOfPtr<const Mesh, KV_NO> meshes;
    Array<fluid::FrictionData> friction;
    for (const Mesh& obstacle : obstacles) {
        meshes.push_back(&obstacle);
        friction.push_back(fluid::FrictionData());
        friction[friction.size() - 1].set(kObstacleFriction);
    }
    fluid.setStaticSolidCells(meshes, friction);
}

void DemoScene::beforeFrame(MAC_LBM_Fluid3& fluid, unsigned int frame) const {
    if (kind == SceneKind::Pour) fluid.setFluidCells(source, sourceVelocity, kJitter, int(frame), kSourceId);
    if (!paddle) return;
    const Mesh moved = paddleAt(frame);
    fluid::FrictionData grip;
    grip.set(kObstacleFriction);
    fluid.setDynamicSolidCells({&moved}, {grip});
}

const char* DemoScene::name() const {
    switch (kind) {
        case SceneKind::Pour: return "pour";
        case SceneKind::Obstacle: return "dam break against an obstacle";
        case SceneKind::Paddle: return "paddle";
        default: return "dam break";
    }
}

unsigned int DemoScene::obstacleCount() const { return unsigned(obstacles.size()) + (paddle ? 1u : 0u); }

Mesh DemoScene::paddleAt(unsigned int frame) const {
    const Vector3<float> shift = kPaddleVelocity * (float(frame) / float(kFramesPerSecond));
    Mesh plate = makeBoxMesh(Box3<float>(kPaddleStart.min + shift, kPaddleStart.max + shift));
    plate.setId(kFirstObstacleId + uint32_t(obstacles.size()));
    MeshAttribute* velocity = plate.addAttribute(Mesh::kVelocity, MeshAttributeDomain::Vertex, 3, false);
    for (uint32_t v = 0; v < plate.vertexCount(); ++v) {
        velocity->floats[3 * v] = kPaddleVelocity.x;
        velocity->floats[3 * v + 1] = kPaddleVelocity.y;
        velocity->floats[3 * v + 2] = kPaddleVelocity.z;
    }
    return plate;
}

Mesh DemoScene::fixtures(unsigned int frame) const {
    Mesh all;
    all.addMesh(drain);
    for (const Mesh& obstacle : obstacles) all.addMesh(obstacle);
    if (paddle) all.addMesh(paddleAt(frame));
    return all;
}

}  // namespace kelvar::demo
