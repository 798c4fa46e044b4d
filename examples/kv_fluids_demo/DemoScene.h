#pragma once

#include <string>
#include <vector>

#include "DemoOptions.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/Mesh.h"
#include "kv_math/Box3.h"

namespace kelvar::demo {

// One scene of the demo: a walled tank, where liquid comes from and where it
// drains, all in world units (metres; the tank spans x -1..1, y -0.5..0.5,
// z -0.5..0.5). It builds the fluid through the library's public interface
// and feeds it before every frame; gravity is applied by the caller.
class DemoScene {
public:
    static constexpr float kGravity = 9.81f;

    // The scene the options name, with the emitter and sink read from their
    // files when given. Returns false with a message when a mesh file cannot
    // be read or holds no triangles.
    static bool create(const DemoOptions& options, DemoScene& scene, std::string& error);

    // Sets the fluid's parameters, size and resolution, walls the tank and
    // places the initial liquid and the drain.
    void build(fluid::MAC_LBM_Fluid3& fluid, unsigned int requestedCells);
    // Adds the liquid of one frame's pouring, if the scene pours, and moves
    // the paddle to where it is at the frame's end, if the scene has one.
    void beforeFrame(fluid::MAC_LBM_Fluid3& fluid, unsigned int frame) const;

    // The obstacles, static ones first, then the paddle at `frame`: what
    // the force report names and the preview draws.
    unsigned int obstacleCount() const;
    Mesh fixtures(unsigned int frame) const;

    // Whether liquid enters or leaves during the run (pouring or a drain),
    // so that its mass is not expected to stay constant.
    bool exchangesLiquid() const { return kind == SceneKind::Pour || drain.triangleCount() > 0; }
    // The drain mesh, empty when the scene has none.
    const Mesh& getDrain() const { return drain; }
    const char* name() const;

private:
    SceneKind kind = SceneKind::DamBreak;
    // The initial liquid (dam break) or the emitter (pour): the scene's own
    // box, fitted to the grid once it is sized, or a mesh read from a file.
    Box3<float> sourceBox;
    Mesh source;
    Vector3<float> sourceVelocity;
    Mesh drain;  // empty: no sink
    std::vector<Mesh> obstacles;  // static, world units
    bool paddle = false;

    Mesh paddleAt(unsigned int frame) const;
};

}  // namespace kelvar::demo
