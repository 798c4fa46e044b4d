#include <gtest/gtest.h>

#include "DemoOptions.h"

namespace kelvar::demo {
namespace {

// Option values reaching the runs are checked by DemoRun; here each way
// parsing can fail.
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
