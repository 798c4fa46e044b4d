#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "kv_fileio/FileIO.h"

namespace kelvar {
namespace {

using Bytes = std::vector<unsigned char>;

// An anonymous temporary file, closed when the test ends, holding `bytes`.
struct TempFile {
    explicit TempFile(const Bytes& bytes = {}) {
        if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), get());
        std::rewind(get());
    }
    std::FILE* get() const { return file.get(); }
    // Everything in the file; leaves it at its start.
    Bytes contents() const {
        std::rewind(get());
        Bytes bytes;
        for (int c; (c = std::fgetc(get())) != EOF;) bytes.push_back(static_cast<unsigned char>(c));
        std::rewind(get());
        return bytes;
    }
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{std::tmpfile(), &std::fclose};
};

struct Typed {
    unsigned short us[2];
    unsigned int ui;
    float f;
    double d;
    unsigned char uc;
    bool b[3];
    bool operator==(const Typed&) const = default;
};

// The bytes are pinned, so reading them back checks the decoding exactly too.
TEST(FileIO, TypedValuesAreLittleEndianOnDiskAndReadBack) {
    const Typed in{{0x1234, 0xABCD}, 0x12345678u, 1.0f, -2.0, 0x9C, {true, false, true}};
    TempFile tmp;
    ASSERT_NE(tmp.get(), nullptr);
    EXPECT_EQ(WriteUShort(in.us, 2, tmp.get()), 2u);
    EXPECT_EQ(WriteUInt(&in.ui, 1, tmp.get()), 1u);
    EXPECT_EQ(WriteFloat(&in.f, 1, tmp.get()), 1u);
    EXPECT_EQ(WriteDouble(&in.d, 1, tmp.get()), 1u);
    EXPECT_EQ(WriteUChar(&in.uc, 1, tmp.get()), 1u);
    EXPECT_EQ(WriteBool(in.b, 3, tmp.get()), 3u);
    const Bytes expected = {0x34, 0x12, 0xCD, 0xAB,                          // two unsigned shorts
                            0x78, 0x56, 0x34, 0x12,                          // unsigned int
                            0x00, 0x00, 0x80, 0x3F,                          // 1.0f
                            0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0,  // -2.0
                            0x9C, 1, 0, 1};  // unsigned char, three bools
    EXPECT_EQ(tmp.contents(), expected);

    Typed back{};
    EXPECT_EQ(ReadUShort(back.us, 2, tmp.get()), 2u);
    EXPECT_EQ(ReadUInt(&back.ui, 1, tmp.get()), 1u);
    EXPECT_EQ(ReadFloat(&back.f, 1, tmp.get()), 1u);
    EXPECT_EQ(ReadDouble(&back.d, 1, tmp.get()), 1u);
    EXPECT_EQ(ReadUChar(&back.uc, 1, tmp.get()), 1u);
    EXPECT_EQ(ReadBool(back.b, 3, tmp.get()), 3u);
    EXPECT_TRUE(back == in);

    TempFile bools({0x00, 0x02, 0xFF});  // any non-zero byte reads as true
    bool read[3] = {true, false, false};
    EXPECT_EQ(ReadBool(read, 3, bools.get()), 3u);
    EXPECT_TRUE(!read[0] && read[1] && read[2]);
}

TEST(FileIO, ArraysLongerThanOneConversionChunkRoundTrip) {
    std::vector<unsigned int> ints(1000);
    for (unsigned i = 0; i < ints.size(); ++i) ints[i] = i * 2654435761u;
    TempFile tmp;
    EXPECT_EQ(WriteUInt(ints.data(), ints.size(), tmp.get()), ints.size());
    EXPECT_EQ(tmp.contents().size(), 4000u);
    std::vector<unsigned int> back(1000);
    EXPECT_EQ(ReadUInt(back.data(), 1000, tmp.get()), 1000u);
    EXPECT_EQ(back, ints);
}

TEST(FileIO, NullArgumentsTransferNothing) {
    unsigned int value = 5;
    EXPECT_EQ(WriteUInt(&value, 1, nullptr), 0u);
    EXPECT_EQ(ReadUInt(&value, 1, nullptr), 0u);
    EXPECT_EQ(value, 5u);
    TempFile tmp;
    EXPECT_EQ(WriteUInt(nullptr, 1, tmp.get()), 0u);
    EXPECT_EQ(WriteBuffer(nullptr, 1, 4, tmp.get()), 0u);
    EXPECT_EQ(WriteBuffer(&value, 0, 4, tmp.get()), 0u);
    EXPECT_EQ(ReadBuffer(&value, 4, 1, nullptr), 0u);
    EXPECT_TRUE(tmp.contents().empty());
}

// A short read counts whole values only and leaves the rest of the array alone.
TEST(FileIO, BufferMovesBytesAsTheyAreAndShortReadsCountWholeValues) {
    const unsigned char raw[6] = {9, 8, 7, 6, 5, 4};
    TempFile tmp;
    EXPECT_EQ(WriteBuffer(raw, 2, 3, tmp.get()), 3u);
    EXPECT_EQ(tmp.contents(), (Bytes{9, 8, 7, 6, 5, 4}));
    unsigned char back[8] = {};
    EXPECT_EQ(ReadBuffer(back, 4, 2, tmp.get()), 1u);
    EXPECT_EQ(back[3], 6);

    TempFile shortFile({1, 0, 0, 0, 2, 0});
    unsigned int values[3] = {7, 7, 7};
    EXPECT_EQ(ReadUInt(values, 3, shortFile.get()), 1u);
    EXPECT_EQ(std::vector<unsigned int>(values, values + 3), (std::vector<unsigned int>{1, 7, 7}));
}

}  // namespace
}  // namespace kelvar
