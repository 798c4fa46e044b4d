#include "kv_fileio/FileIO.h"

#include <algorithm>
#include <cstring>

#include "kv_basic/ByteOrder.h"

namespace kelvar {

namespace {

static_assert(sizeof(unsigned short) == 2 && sizeof(unsigned int) == 4, "file widths assume 16- and 32-bit ints");
static_assert(sizeof(float) == 4 && sizeof(double) == 8, "file widths assume IEEE single and double");

// Values are converted through a stack buffer of this many bytes, so a
// transfer of any length costs no allocation.
constexpr std::size_t kChunkBytes = 512;

// Width of a value on disk and its conversion to and from those bytes.
template <class T>
struct DiskCodec {
    static constexpr std::size_t kWidth = sizeof(T);
    static void encode(const T& value, unsigned char* out) { storeLittleEndian(value, out); }
    static T decode(const unsigned char* in) { return loadLittleEndian<T>(in); }
};

template <>
struct DiskCodec<bool> {
    static constexpr std::size_t kWidth = 1;
    // The stored byte is inspected rather than the bool, so that a bool
    // holding a stray bit pattern is still written as 0 or 1.
    static void encode(const bool& value, unsigned char* out) {
        unsigned char raw[sizeof(bool)];
        std::memcpy(raw, &value, sizeof(bool));
        *out = std::any_of(raw, raw + sizeof(bool), [](unsigned char b) { return b != 0; }) ? 1 : 0;
    }
    static bool decode(const unsigned char* in) { return *in != 0; }
};

template <class T>
std::size_t writeValues(const T* values, std::size_t count, std::FILE* file) {
    using Codec = DiskCodec<T>;
    if (file == nullptr || (values == nullptr && count != 0)) return 0;
    unsigned char bytes[kChunkBytes];
    constexpr std::size_t perChunk = kChunkBytes / Codec::kWidth;
    std::size_t done = 0;
    while (done < count) {
        const std::size_t n = std::min(perChunk, count - done);
        for (std::size_t i = 0; i < n; ++i) Codec::encode(values[done + i], bytes + i * Codec::kWidth);
        const std::size_t written = std::fwrite(bytes, Codec::kWidth, n, file);
        done += written;
        if (written < n) break;
    }
    return done;
}

template <class T>
std::size_t readValues(T* values, std::size_t count, std::FILE* file) {
    using Codec = DiskCodec<T>;
    if (file == nullptr || (values == nullptr && count != 0)) return 0;
    unsigned char bytes[kChunkBytes];
    constexpr std::size_t perChunk = kChunkBytes / Codec::kWidth;
    std::size_t done = 0;
    while (done < count) {
        const std::size_t n = std::min(perChunk, count - done);
        const std::size_t got = std::fread(bytes, Codec::kWidth, n, file);
        for (std::size_t i = 0; i < got; ++i) values[done + i] = Codec::decode(bytes + i * Codec::kWidth);
        done += got;
        if (got < n) break;
    }
    return done;
}

}  // namespace

std::size_t WriteBool(const bool* values, std::size_t count, std::FILE* file) { return writeValues(values, count, file); }
std::size_t ReadBool(bool* values, std::size_t count, std::FILE* file) { return readValues(values, count, file); }

std::size_t WriteUChar(const unsigned char* values, std::size_t count, std::FILE* file) {
    return writeValues(values, count, file);
}
std::size_t ReadUChar(unsigned char* values, std::size_t count, std::FILE* file) {
    return readValues(values, count, file);
}

std::size_t WriteUShort(const unsigned short* values, std::size_t count, std::FILE* file) {
    return writeValues(values, count, file);
}
std::size_t ReadUShort(unsigned short* values, std::size_t count, std::FILE* file) {
    return readValues(values, count, file);
}

std::size_t WriteUInt(const unsigned int* values, std::size_t count, std::FILE* file) {
    return writeValues(values, count, file);
}
std::size_t ReadUInt(unsigned int* values, std::size_t count, std::FILE* file) {
    return readValues(values, count, file);
}

std::size_t WriteFloat(const float* values, std::size_t count, std::FILE* file) {
    return writeValues(values, count, file);
}
std::size_t ReadFloat(float* values, std::size_t count, std::FILE* file) { return readValues(values, count, file); }

std::size_t WriteDouble(const double* values, std::size_t count, std::FILE* file) {
    return writeValues(values, count, file);
}
std::size_t ReadDouble(double* values, std::size_t count, std::FILE* file) {
    return readValues(values, count, file);
}

std::size_t WriteBuffer(const void* buffer, std::size_t elementSize, std::size_t count, std::FILE* file) {
    if (file == nullptr || elementSize == 0 || buffer == nullptr) return 0;
    return std::fwrite(buffer, elementSize, count, file);
}

std::size_t ReadBuffer(void* buffer, std::size_t elementSize, std::size_t count, std::FILE* file) {
    if (file == nullptr || elementSize == 0 || buffer == nullptr) return 0;
    return std::fread(buffer, elementSize, count, file);
}

}  // namespace kelvar
