#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace kelvar {

// Conversion of plain values to and from little-endian bytes, the byte order
// of every file and binary record the library writes, whatever the host.

template <class T>
void storeLittleEndian(const T& value, unsigned char* out) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(out, &value, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) std::reverse(out, out + sizeof(T));
}

template <class T>
T loadLittleEndian(const unsigned char* in) {
    static_assert(std::is_trivially_copyable_v<T>);
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, in, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes, bytes + sizeof(T));
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

// Stores `count` values one after the other; returns the end of the bytes.
template <class T>
unsigned char* storeLittleEndian(const T* values, std::size_t count, unsigned char* out) {
    for (std::size_t i = 0; i < count; ++i, out += sizeof(T)) storeLittleEndian(values[i], out);
    return out;
}

// Loads `count` values one after the other; returns the end of the bytes.
template <class T>
const unsigned char* loadLittleEndian(T* values, std::size_t count, const unsigned char* in) {
    for (std::size_t i = 0; i < count; ++i, in += sizeof(T)) values[i] = loadLittleEndian<T>(in);
    return in;
}

}  // namespace kelvar
