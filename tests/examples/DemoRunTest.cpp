#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

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

TEST_F(DemoRun, DamBreakWritesAMeshAndAPreviewPerFrame) {
    const fs::path out = folder / "frames";
    const RunResult run = runDemo("--resolution 6000 --frames 3 --threads 2 --output " + quoted(out));
    ASSERT_EQ(run.exitCode, 0) << run.output;
    for (unsigned frame = 1; frame <= 3; ++frame) {
        const std::string stem = "frame_000" + std::to_string(frame);
        Mesh mesh;
        std::string error;
        ASSERT_TRUE(readMesh((out / (stem + ".ply")).string(), mesh, error)) << error;
        EXPECT_GT(mesh.triangleCount(), 0u) << stem;
        EXPECT_TRUE(decodesAsPng(out / (stem + ".png"))) << stem;
    }
    EXPECT_FALSE(fs::exists(out / "frame_0004.ply"));
    EXPECT_NE(run.output.find("frame    3"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("drift"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(out.string()), std::string::npos) << run.output;
    // Not a terminal: plain lines, no progress bar.
    EXPECT_EQ(run.output.find('\r'), std::string::npos);
}

// Checkpoints every other frame and a proxy per frame; a second run resumes
// from the checkpoint of frame 2 and writes only the frames after it.
TEST_F(DemoRun, CheckpointsProxiesAndResume) {
    const fs::path out = folder / "saved";
    const RunResult run = runDemo("--resolution 4000 --frames 3 --threads 2 --checkpoint-every 2 --proxy 4 --output " +
                                  quoted(out));
    ASSERT_EQ(run.exitCode, 0) << run.output;
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

// The obstacle scenes run and report a force per obstacle and frame.
TEST_F(DemoRun, ObstacleScenesReportTheirForces) {
    for (const char* scene : {"obstacle", "paddle"}) {
        const RunResult run = runDemo(std::string("--scene ") + scene + " --resolution 6000 --frames 2 --threads 2 " +
                                      "--output " + quoted(folder / scene));
        ASSERT_EQ(run.exitCode, 0) << run.output;
        EXPECT_NE(run.output.find("obstacle forces (N): ("), std::string::npos) << run.output;
        EXPECT_TRUE(fs::exists(folder / scene / "frame_0002.png")) << scene;
    }
}

// Emitter, sink and an obstacle, each read from a file of its own format.
TEST_F(DemoRun, PourWithMeshesFromFiles) {
    std::string error;
    ASSERT_TRUE(writeMesh((folder / "spout.obj").string(),
                          makeBoxMesh(Box3<float>({-0.7f, 0.0f, -0.2f}, {-0.4f, 0.3f, 0.2f})), error));
    ASSERT_TRUE(writeMesh((folder / "drain.stl").string(),
                          makeBoxMesh(Box3<float>({0.5f, -0.5f, -0.2f}, {0.9f, -0.3f, 0.2f})), error));
    ASSERT_TRUE(writeMesh((folder / "rock.obj").string(),
                          makeBoxMesh(Box3<float>({0.0f, -0.5f, -0.1f}, {0.2f, -0.3f, 0.1f})), error));
    const RunResult run = runDemo("--scene pour --resolution 6000 --frames 2 --threads 1 --emitter " +
                                  quoted(folder / "spout.obj") + " --sink=" + quoted(folder / "drain.stl") +
                                  " --obstacle " + quoted(folder / "rock.obj") + " --output " + quoted(folder / "pour"));
    ASSERT_EQ(run.exitCode, 0) << run.output;
    EXPECT_NE(run.output.find("obstacle forces (N): ("), std::string::npos) << run.output;
    EXPECT_TRUE(fs::exists(folder / "pour" / "frame_0002.ply"));
    EXPECT_TRUE(fs::exists(folder / "pour" / "frame_0002.png"));
}

TEST_F(DemoRun, BadInputExitsWithTwoAndAMessageHelpWithZero) {
    const RunResult usage = runDemo("--help");
    EXPECT_EQ(usage.exitCode, 0);
    for (const char* option : {"--resolution N", "--frames N", "--threads N", "--output DIR", "--scene NAME",
                               "--emitter FILE", "--sink FILE"})
        EXPECT_NE(usage.output.find(option), std::string::npos) << option;

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
