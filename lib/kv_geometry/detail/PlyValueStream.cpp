#include "kv_geometry/detail/PlyValueStream.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "kv_basic/ByteOrder.h"

namespace kelvar::detail {

namespace {

template <class T>
T loadBinary(const unsigned char* p, bool bigEndian) {
    if (!bigEndian) return loadLittleEndian<T>(p);
    unsigned char bytes[sizeof(T)];
    std::reverse_copy(p, p + sizeof(T), bytes);
    return loadLittleEndian<T>(bytes);
}

bool integerInRange(PlyHeader::Type type, int64_t v) {
    switch (type) {
        case PlyHeader::Type::Int8: return v >= INT8_MIN && v <= INT8_MAX;
        case PlyHeader::Type::UInt8: return v >= 0 && v <= UINT8_MAX;
        case PlyHeader::Type::Int16: return v >= INT16_MIN && v <= INT16_MAX;
        case PlyHeader::Type::UInt16: return v >= 0 && v <= UINT16_MAX;
        case PlyHeader::Type::Int32: return v >= INT32_MIN && v <= INT32_MAX;
        case PlyHeader::Type::UInt32: return v >= 0 && v <= int64_t(UINT32_MAX);
        default: return true;
    }
}

}  // namespace

PlyValueStream::PlyValueStream(const char* data, std::size_t size, const PlyHeader& header)
    : data_(data),
      size_(size),
      offset_(header.dataOffset),
      ascii_(header.encoding == PlyHeader::Encoding::Ascii),
      bigEndian_(header.encoding == PlyHeader::Encoding::BinaryBigEndian),
      lines_(data + header.dataOffset, data + size),
      lineNumberBase_(header.lines) {}

bool PlyValueStream::nextAsciiToken(std::string_view& token) {
    while (!nextToken(line_, token))
        if (!lines_.nextLine(line_)) return false;
    return true;
}

bool PlyValueStream::read(PlyHeader::Type type, double& value) {
    if (ascii_) {
        std::string_view token;
        if (!nextAsciiToken(token)) return false;
        if (PlyHeader::isInteger(type)) {
            int64_t v = 0;
            if (!parseInteger(token, v) || !integerInRange(type, v)) return false;
            value = double(v);
            return true;
        }
        double v = 0.0;
        if (!parseFiniteDouble(token, v)) return false;
        if (type == PlyHeader::Type::Float32 && !std::isfinite(float(v))) return false;
        value = v;
        return true;
    }
    const std::size_t bytes = PlyHeader::sizeOf(type);
    if (bytes > size_ - offset_) return false;
    const auto* p = reinterpret_cast<const unsigned char*>(data_ + offset_);
    offset_ += bytes;
    switch (type) {
        case PlyHeader::Type::Int8: value = double(int8_t(p[0])); return true;
        case PlyHeader::Type::UInt8: value = double(p[0]); return true;
        case PlyHeader::Type::Int16: value = double(loadBinary<int16_t>(p, bigEndian_)); return true;
        case PlyHeader::Type::UInt16: value = double(loadBinary<uint16_t>(p, bigEndian_)); return true;
        case PlyHeader::Type::Int32: value = double(loadBinary<int32_t>(p, bigEndian_)); return true;
        case PlyHeader::Type::UInt32: value = double(loadBinary<uint32_t>(p, bigEndian_)); return true;
        case PlyHeader::Type::Float32: value = double(loadBinary<float>(p, bigEndian_)); break;
        case PlyHeader::Type::Float64: value = loadBinary<double>(p, bigEndian_); break;
    }
    return std::isfinite(value);
}

bool PlyValueStream::canHold(uint64_t values, std::size_t bytesEach) const {
    const uint64_t remaining = size_ - (ascii_ ? std::size_t(lines_.position() - data_) : offset_) +
                               (ascii_ ? line_.size() : 0);
    if (ascii_) return values <= remaining / 2 + 1;  // a character and a separator per value
    return bytesEach == 0 || values <= remaining / bytesEach;
}

std::string PlyValueStream::where() const {
    if (ascii_) return "line " + std::to_string(lineNumberBase_ + lines_.lineNumber());
    return "byte offset " + std::to_string(offset_);
}

}  // namespace kelvar::detail
