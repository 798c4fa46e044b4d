#include <gtest/gtest.h>

#include <cstdio>

#include "CheckpointFiles.h"
#include "kv_fluids_dyn/io/FileStream.h"
#include "kv_fluids_dyn/io/internal/StreamValues.h"

namespace kelvar::fluid::test {
namespace {

// Every value type round-trips bit for bit through each stream class, and
// the file holds it little-endian whichever class wrote it.
TEST(FileStreams, ValuesRoundTripLittleEndianThroughEveryClass) {
    TempFile file("streams.bin");
    const auto writeAll = [](auto& s) {
        stream::put(s, true);
        stream::put(s, static_cast<unsigned char>(0xAB));
        stream::put(s, static_cast<unsigned short>(0x1234));
        stream::put(s, 0xDEADBEEFu);
        stream::put(s, -1.5f);
        stream::put(s, 0.1);
    };
    const auto expectAll = [](auto& s) {
        bool b = false;
        unsigned char c = 0;
        unsigned short h = 0;
        unsigned int u = 0;
        float f = 0.0f;
        double d = 0.0;
        stream::get(s, b);
        stream::get(s, c);
        stream::get(s, h);
        stream::get(s, u);
        stream::get(s, f);
        stream::get(s, d);
        EXPECT_TRUE(b && c == 0xAB && h == 0x1234 && u == 0xDEADBEEFu && f == -1.5f && d == 0.1);
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

// The endian stream moves values only through the typed functions: through
// the base interface it writes nothing. An external file stays open.
TEST(FileStreams, EndianBufferCallsDoNothingAndExternalFilesStayOpen) {
    TempFile file("external.bin");
    std::FILE* f = std::fopen(file.path().c_str(), "wb");
    ASSERT_NE(f, nullptr);
    {
        FileStreamEndian endian;
        endian.file = f;
        endian.externalFile = true;
        FileStreamBase& base = endian;
        const unsigned int value = 7;
        base.write(&value, sizeof value);
    }
    EXPECT_EQ(std::fputc('x', f), 'x') << "the file is still open";
    std::fclose(f);
    EXPECT_EQ(file.bytes(), "x");
}

}  // namespace
}  // namespace kelvar::fluid::test
