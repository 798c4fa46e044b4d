#pragma once

#include <string>
#include <vector>

namespace kelvar::demo {

// Frames per simulated second; every frame advances the scene by its inverse.
constexpr unsigned int kFramesPerSecond = 20;

// The scenes the demo can build.
// DamBreak: a column collapses; Pour: a spout fills a draining tank;
// Obstacle: the dam break hits a box on the tank floor; Paddle: a paddle
// sweeps through a layer of still water.
enum class SceneKind { DamBreak, Pour, Obstacle, Paddle };

// What the command line asks for. Defaults are the embedded dam break.
struct DemoOptions {
    unsigned int resolution = 88 * 44 * 44;
    unsigned int frames = 60;
    unsigned int threads = 0;  // 0: one per hardware thread
    std::string output = "kv_fluids_demo-output";
    SceneKind scene = SceneKind::DamBreak;
    std::string emitterPath;  // empty: the scene's own liquid source
    std::string sinkPath;     // empty: the scene's own drain (pour) or none
    std::vector<std::string> obstaclePaths;  // static obstacle meshes
    unsigned int checkpointEvery = 0;  // frames between checkpoints; 0: none
    std::string resumePath;            // empty: start from the scene's first frame
    int proxyQuality = -1;             // 0..4: a proxy file per frame; -1: none
    bool vtk = false;                  // frame_NNNN.vti per frame (fill and velocity)
    bool vdb = false;                  // frame_NNNN.vdb per frame (density, surface, vel)
    bool help = false;
};

// Exit codes of the demo.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  // a frame could not be written
constexpr int kExitUsage = 2;    // bad options or input, or too little memory for them

// Reads the arguments (without the program name). Returns false with a
// one-line message in `error` when an option is unknown, lacks its value or
// has a value out of range; `options` is then incomplete.
bool parseDemoOptions(const std::vector<std::string>& arguments, DemoOptions& options, std::string& error);

// The text printed by --help.
std::string demoUsage(const std::string& program);

}  // namespace kelvar::demo
