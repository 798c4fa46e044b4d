#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "TempFolder.h"
#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::demo {
namespace {

namespace fs = std::filesystem;

struct RunResult {
    int exitCode = -1;
    std::string output;  // stdout and stderr together
};

// Runs the built demo with `arguments` (already quoted for the shell).
RunResult runDemo(const std::string& arguments) {
    RunResult result;
    const std::string command = std::string("'") + KV_DEMO_PROGRAM + "' " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    std::size_t count;
    while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, count);
    const int status = pclose(pipe);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// True for a file that decodes whole as a PNG of at least one pixel.
bool decodesAsPng(const fs::path& path) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0) return false;
    png.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(png));
    return png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr) != 0 && png.width * png.height > 0;
}

// The path in single quotes, for the shell.
std::string quoted(const fs::path& path) { return std::string("'").append(path.string()).append("'"); }

using DemoRun = TempFolderTest;

// A dam break with checkpoints every other frame and a proxy per frame
// writes a mesh and a preview per frame; a second run resumes from the
// checkpoint of frame 2 and writes only the frames after it.
TEST_F(DemoRun, CheckpointsProxiesAndResume) {
    const fs::path out = folder / "saved";
    const RunResult run = runDemo("--resolution 4000 --frames 3 --threads 2 --checkpoint-every 2 --proxy 4 --output " +
                                  quoted(out));
    ASSERT_EQ(run.exitCode, 0) << run.output;
    for (const char* stem : {"frame_0001", "frame_0002", "frame_0003"}) {
        Mesh mesh;
        std::string error;
        ASSERT_TRUE(readMesh((out / (std::string(stem) + ".ply")).string(), mesh, error)) << error;
        EXPECT_GT(mesh.triangleCount(), 0u) << stem;
        EXPECT_TRUE(decodesAsPng(out / (std::string(stem) + ".png"))) << stem;
    }
    EXPECT_FALSE(fs::exists(out / "frame_0004.ply"));
    for (const std::string& line : {std::string("frame    3"), std::string("drift"), out.string()})
        EXPECT_NE(run.output.find(line), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find('\r'), std::string::npos);  // not a terminal: no progress bar
    EXPECT_TRUE(fs::exists(out / "checkpoint_0002.kvc"));
    EXPECT_FALSE(fs::exists(out / "checkpoint_0001.kvc"));
    for (const char* proxy : {"proxy_0001.kvp", "proxy_0002.kvp", "proxy_0003.kvp"})
        EXPECT_GT(fs::file_size(out / proxy), 12u) << proxy;

    const fs::path resumed = folder / "resumed";
    const RunResult again = runDemo("--resolution 4000 --frames 3 --threads 1 --resume " +
                                    quoted(out / "checkpoint_0002.kvc") + " --output " + quoted(resumed));
    ASSERT_EQ(again.exitCode, 0) << again.output;
    EXPECT_NE(again.output.find("resumed after frame 2"), std::string::npos) << again.output;
    EXPECT_FALSE(fs::exists(resumed / "frame_0002.ply"));
    // In another process and on another thread count, frame 3 comes out
    // exactly as in the uninterrupted run.
    const auto bytesOf = [](const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    const std::string uninterrupted = bytesOf(out / "frame_0003.ply");
    EXPECT_FALSE(uninterrupted.empty());
    EXPECT_TRUE(bytesOf(resumed / "frame_0003.ply") == uninterrupted);

    const RunResult otherSize = runDemo("--resolution 5000 --frames 3 --resume " +
                                        quoted(out / "checkpoint_0002.kvc") + " --output " + quoted(resumed));
    EXPECT_EQ(otherSize.exitCode, 2);
    EXPECT_NE(otherSize.output.find("another --resolution"), std::string::npos) << otherSize.output;
    const RunResult badName = runDemo("--frames 3 --resume " + quoted(out / "proxy_0001.kvp"));
    EXPECT_EQ(badName.exitCode, 2);
}

// The obstacle scenes, and a pour with its emitter, sink and two obstacles
// read from files, report a force per obstacle and frame.
TEST_F(DemoRun, ObstacleScenesReportTheirForces) {
    std::string error;
    const auto box = [&](const char* name, Vector3<float> lower, Vector3<float> upper) {
        EXPECT_TRUE(writeMesh((folder / name).string(), makeBoxMesh(Box3<float>(lower, upper)), error)) << error;
        return quoted(folder / name);
    };
    const std::string pour = "pour --threads 1 --emitter " + box("spout.obj", {-0.7f, 0.0f, -0.2f}, {-0.4f, 0.3f, 0.2f}) +
                             " --sink=" + box("drain.stl", {0.5f, -0.5f, -0.2f}, {0.9f, -0.3f, 0.2f}) +
                             " --obstacle " + box("rock.obj", {0.0f, -0.5f, -0.1f}, {0.2f, -0.3f, 0.1f}) +
                             " --obstacle=" + box("pebble.ply", {-0.3f, -0.5f, 0.1f}, {-0.2f, -0.4f, 0.2f});
    const std::pair<std::string, long> runs[] = {{"obstacle --threads 2", 1}, {"paddle --threads 2", 1}, {pour, 2}};
    for (const auto& [scene, obstacles] : runs) {
        const fs::path out = folder / scene.substr(0, scene.find(' '));
        const RunResult run = runDemo("--scene " + scene + " --resolution 6000 --frames 2 --output " + quoted(out));
        ASSERT_EQ(run.exitCode, 0) << run.output;
        const std::size_t forces = run.output.find("obstacle forces (N): (");
        ASSERT_NE(forces, std::string::npos) << run.output;
        const std::string line = run.output.substr(forces, run.output.find('\n', forces) - forces);
        EXPECT_EQ(std::count(line.begin(), line.end(), '('), obstacles + 1) << line;
        EXPECT_TRUE(fs::exists(out / "frame_0002.ply") && fs::exists(out / "frame_0002.png")) << scene;
    }
}

TEST_F(DemoRun, BadInputExitsWithTwoAndAMessageHelpWithZero) {
    const RunResult usage = runDemo("--help");
    EXPECT_EQ(usage.exitCode, 0);
    EXPECT_NE(usage.output.find("--resolution N"), std::string::npos) << usage.output;

    std::ofstream(folder / "broken.ply") << "ply\nformat ascii 1.0\nelement vertex 3\nend_header\n1 2\n";

    const struct {
        std::string arguments;
        const char* message;
    } cases[] = {
        {"--colour blue", "unknown option '--colour'"},
        {"--emitter " + quoted(folder / "missing.obj"), "cannot read the emitter mesh"},
        {"--sink " + quoted(folder / "broken.ply"), "cannot read the sink mesh"},
        {"--obstacle " + quoted(folder / "missing.obj"), "cannot read the obstacle mesh"},
        {"--output " + quoted(folder / "broken.ply" / "inside"), "cannot create the output folder"},
    };
    for (const auto& c : cases) {
        const RunResult run = runDemo(c.arguments + " --frames 1 --resolution 1000");
        EXPECT_EQ(run.exitCode, 2) << c.arguments << "\n" << run.output;
        EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
        EXPECT_NE(run.output.find("--help"), std::string::npos) << run.output;
    }
}

}  // namespace
}  // namespace kelvar::demo
