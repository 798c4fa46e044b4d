#include <gtest/gtest.h>

#include "DemoOptions.h"

namespace kelvar::demo {
namespace {

TEST(DemoOptions, EveryOptionInBothForms) {
    DemoOptions options;
    std::string error;
    ASSERT_TRUE(parseDemoOptions({"--resolution", "5000", "--frames=3", "--threads", "4", "--output=out dir", "--scene",
                                  "pour", "--emitter", "e.obj", "--sink=s.stl", "--checkpoint-every", "5",
                                  "--resume=c.kvc", "--proxy", "0", "--obstacle", "a.obj", "--obstacle=b.stl", "--vtk", "-h"},
                                 options, error))
        << error;
    EXPECT_EQ(options.resolution, 5000u);
    EXPECT_EQ(options.frames, 3u);
    EXPECT_EQ(options.threads, 4u);
    EXPECT_EQ(options.output, "out dir");
    EXPECT_EQ(options.scene, SceneKind::Pour);
    EXPECT_EQ(options.emitterPath, "e.obj");
    EXPECT_EQ(options.sinkPath, "s.stl");
    EXPECT_EQ(options.checkpointEvery, 5u);
    EXPECT_EQ(options.resumePath, "c.kvc");
    EXPECT_EQ(options.proxyQuality, 0);
    EXPECT_EQ(options.obstaclePaths, (std::vector<std::string>{"a.obj", "b.stl"}));
    EXPECT_TRUE(options.help);
    EXPECT_TRUE(options.vtk);
    EXPECT_FALSE(options.vdb);
}

TEST(DemoOptions, BadInputNamesTheProblem) {
    const struct {
        std::vector<std::string> arguments;
        const char* message;
    } cases[] = {
        {{"--speed=3"}, "unknown option '--speed'"},
        {{"frames"}, "unexpected argument 'frames'"},
        {{"--frames"}, "option --frames needs a value"},
        {{"--frames", "0"}, "invalid value '0' for --frames"},
        {{"--frames", "12x"}, "invalid value '12x' for --frames"},
        {{"--frames", "-3"}, "invalid value '-3' for --frames"},
        {{"--resolution", "99999999999999999999"}, "invalid value '99999999999999999999' for --resolution"},
        {{"--threads", "257"}, "invalid value '257' for --threads"},
        {{"--scene", "flood"}, "invalid value 'flood' for --scene: expected dam-break, pour, obstacle or paddle"},
        {{"--output="}, "invalid value '' for --output"},
        {{"--proxy", "5"}, "invalid value '5' for --proxy"},
        {{"--checkpoint-every", "0"}, "invalid value '0' for --checkpoint-every"},
        {{"--vdb=1"}, "option --vdb takes no value"},
    };
    for (const auto& c : cases) {
        DemoOptions options;
        std::string error;
        EXPECT_FALSE(parseDemoOptions(c.arguments, options, error)) << c.message;
        EXPECT_EQ(error.rfind(c.message, 0), 0u) << error;
    }
}

}  // namespace
}  // namespace kelvar::demo
