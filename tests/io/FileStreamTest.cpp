#include <gtest/gtest.h>

#include <cstdio>
#include <tuple>

#include "CheckpointFiles.h"
#include "kv_fluids_dyn/io/FileStream.h"
#include "kv_fluids_dyn/io/internal/StreamValues.h"

namespace kelvar::fluid::test {
namespace {

// Every value type round-trips bit for bit through each stream class, and
// the file holds it little-endian whichever class wrote it.
TEST(FileStreams, ValuesRoundTripLittleEndianThroughEveryClass) {
    TempFile file("streams.bin");
    using Values = std::tuple<bool, unsigned char, unsigned short, unsigned int, float, double>;
    const Values values{true, static_cast<unsigned char>(0xAB), static_cast<unsigned short>(0x1234), 0xDEADBEEFu,
                        -1.5f, 0.1};
    const auto writeAll = [&values](auto& s) {
        std::apply([&s](const auto&... v) { (stream::put(s, v), ...); }, values);
    };
    const auto expectAll = [&values](auto& s) {
        Values back{};
        std::apply([&s](auto&... v) { (stream::get(s, v), ...); }, back);
        EXPECT_EQ(back, values);
    };
    // op on a stream of the given kind over the file opened with `mode`.
    const auto withStream = [&file](int kind, const char* mode, const auto& op) {
        FileStream wrapped;
        FileStreamRaw raw;
        FileStreamEndian endian;
        std::FILE* f = std::fopen(file.path().c_str(), mode);
        ASSERT_NE(f, nullptr);
        if (kind == 0) (wrapped.inner->file = f, op(wrapped));
        if (kind == 1) (raw.file = f, op(raw));
        if (kind == 2) (endian.file = f, op(endian));
    };
    for (int kind = 0; kind < 3; ++kind) {
        withStream(kind, "wb", writeAll);
        const std::string bytes = file.bytes();
        ASSERT_EQ(bytes.size(), 20u) << kind;
        EXPECT_EQ(bytes.substr(0, 4), std::string("\x01\xAB\x34\x12", 4)) << kind;
        EXPECT_EQ(valueAt<uint32_t>(bytes, 4), 0xDEADBEEFu) << kind;
        withStream(kind, "rb", expectAll);
    }
}

}  // namespace
}  // namespace kelvar::fluid::test
