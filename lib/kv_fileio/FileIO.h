#pragma once

#include <cstddef>
#include <cstdio>

#include "kv_basic/Export.h"

namespace kelvar {

// Typed reads and writes of binary files. Values are little-endian on disk
// whatever the host, so files move between machines; on a big-endian host
// each value is converted on the way. Widths on disk: bool 1 byte (written
// as 0 or 1, any non-zero byte reads as true), unsigned char 1, unsigned
// short 2, unsigned int 4, float 4, double 8.
//
// Each function takes a pointer to the first value, a count and an open
// file, and returns how many whole values it transferred. A short read
// leaves the values it did not reach untouched. A null file, or a null
// pointer with a non-zero count, transfers nothing.

KV_EXPORT std::size_t WriteBool(const bool* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadBool(bool* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t WriteUChar(const unsigned char* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadUChar(unsigned char* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t WriteUShort(const unsigned short* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadUShort(unsigned short* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t WriteUInt(const unsigned int* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadUInt(unsigned int* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t WriteFloat(const float* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadFloat(float* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t WriteDouble(const double* values, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadDouble(double* values, std::size_t count, std::FILE* file);

// Raw bytes, moved as they are: `count` elements of `elementSize` bytes.
// Returns the number of whole elements transferred.
KV_EXPORT std::size_t WriteBuffer(const void* buffer, std::size_t elementSize, std::size_t count, std::FILE* file);
KV_EXPORT std::size_t ReadBuffer(void* buffer, std::size_t elementSize, std::size_t count, std::FILE* file);

}  // namespace kelvar
