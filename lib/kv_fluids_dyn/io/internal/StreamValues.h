#pragma once

#include <cstdint>
#include <cstdio>
#include <type_traits>

#include "kv_fileio/FileIO.h"
#include "kv_fluids_dyn/io/FileStream.h"

namespace kelvar::fluid::stream {

// One value at a time, the way each stream class moves it: a FileStream
// through the typed little-endian functions on a big-endian host and as
// bytes otherwise, a FileStreamEndian always through the typed functions,
// any other stream through its byte-buffer operations. A bool travels as
// one byte 0 or 1; any non-zero byte reads as true. A value that could not
// be read keeps what it held.

inline void typedWrite(std::FILE* f, const bool& v) { WriteBool(&v, 1, f); }
inline void typedWrite(std::FILE* f, const unsigned char& v) { WriteUChar(&v, 1, f); }
inline void typedWrite(std::FILE* f, const unsigned short& v) { WriteUShort(&v, 1, f); }
inline void typedWrite(std::FILE* f, const unsigned int& v) { WriteUInt(&v, 1, f); }
inline void typedWrite(std::FILE* f, const float& v) { WriteFloat(&v, 1, f); }
inline void typedWrite(std::FILE* f, const double& v) { WriteDouble(&v, 1, f); }

inline void typedRead(std::FILE* f, bool& v) { ReadBool(&v, 1, f); }
inline void typedRead(std::FILE* f, unsigned char& v) { ReadUChar(&v, 1, f); }
inline void typedRead(std::FILE* f, unsigned short& v) { ReadUShort(&v, 1, f); }
inline void typedRead(std::FILE* f, unsigned int& v) { ReadUInt(&v, 1, f); }
inline void typedRead(std::FILE* f, float& v) { ReadFloat(&v, 1, f); }
inline void typedRead(std::FILE* f, double& v) { ReadDouble(&v, 1, f); }

template <class T>
void bytesWrite(FileStreamBase& s, const T& v) {
    if constexpr (std::is_same_v<T, bool>) {
        const unsigned char byte = v ? 1 : 0;
        s.write(&byte, 1);
    } else {
        s.write(&v, sizeof(T));
    }
}

template <class T>
void bytesRead(FileStreamBase& s, T& v) {
    if constexpr (std::is_same_v<T, bool>) {
        unsigned char byte = v ? 1 : 0;
        s.read(&byte, 1);
        v = byte != 0;
    } else {
        s.read(&v, sizeof(T));
    }
}

template <class T>
void put(FileStream& s, const T& v) {
    if (s.useTypedIO)
        typedWrite(s.inner->file, v);
    else
        bytesWrite(*s.inner, v);
}
template <class T>
void put(FileStreamEndian& s, const T& v) {
    typedWrite(s.file, v);
}
template <class T>
void put(FileStreamBase& s, const T& v) {
    bytesWrite(s, v);
}

template <class T>
void get(FileStream& s, T& v) {
    if (s.useTypedIO)
        typedRead(s.inner->file, v);
    else
        bytesRead(*s.inner, v);
}
template <class T>
void get(FileStreamEndian& s, T& v) {
    typedRead(s.file, v);
}
template <class T>
void get(FileStreamBase& s, T& v) {
    bytesRead(s, v);
}

inline std::FILE* fileOf(FileStream& s) { return s.inner->file; }
inline std::FILE* fileOf(FileStreamBase& s) { return s.file; }

// Reads values from a stream without ever going past the end of its file:
// every read is checked against the bytes left, and counts read from the
// file can be checked against them before anything is sized by them. Once
// a read falls short the reader stays failed and reads nothing more.
template <class S>
class BoundedReader {
public:
    explicit BoundedReader(S& stream) : stream_(stream), remaining_(bytesLeft(fileOf(stream))) {}

    template <class T>
    bool get(T& v) {
        static_assert(sizeof(T) <= 8);
        if (failed_ || remaining_ < sizeof(T)) return fail();
        stream::get(stream_, v);
        remaining_ -= sizeof(T);
        std::FILE* f = fileOf(stream_);
        if (f == nullptr || std::ferror(f) || std::feof(f)) return fail();
        return true;
    }

    // Whether `count` more records of `bytesEach` bytes can be in the file.
    bool fits(const uint64_t& count, const uint64_t& bytesEach) const {
        return !failed_ && (bytesEach == 0 || remaining_ / bytesEach >= count);
    }

    bool ok() const { return !failed_; }
    bool atEnd() const { return remaining_ == 0; }
    uint64_t remaining() const { return remaining_; }
    bool fail() {
        failed_ = true;
        return false;
    }

private:
    // Bytes from the position to the end of the file; as good as unbounded
    // when the file cannot tell (a pipe), where short reads still stop us.
    static uint64_t bytesLeft(std::FILE* f) {
        if (f == nullptr) return 0;
        const long here = std::ftell(f);
        if (here < 0 || std::fseek(f, 0, SEEK_END) != 0) return UINT64_MAX;
        const long end = std::ftell(f);
        std::fseek(f, here, SEEK_SET);
        return end >= here ? uint64_t(end - here) : 0;
    }

    S& stream_;
    uint64_t remaining_;
    bool failed_ = false;
};

}  // namespace kelvar::fluid::stream
