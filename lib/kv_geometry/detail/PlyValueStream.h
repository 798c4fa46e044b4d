#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kv_geometry/detail/PlyHeader.h"
#include "kv_geometry/detail/TextScanner.h"

namespace kelvar::detail {

// Reads the values of a PLY body one at a time, in ascii or binary, never
// past the end of the buffer, and says where it is for error messages.
class PlyValueStream {
public:
    PlyValueStream(const char* data, std::size_t size, const PlyHeader& header);

    // Reads one value of the given type; false at the end of the data or on
    // a malformed or non-finite value.
    bool read(PlyHeader::Type type, double& value);
    // Whether `values` more values of `bytesEach` bytes (binary) or of at
    // least one character each (ascii) can still be in the data.
    bool canHold(uint64_t values, std::size_t bytesEach) const;
    // "line N" or "byte offset N" of the current position.
    std::string where() const;

private:
    bool nextAsciiToken(std::string_view& token);

    const char* data_;
    std::size_t size_;
    std::size_t offset_;
    bool ascii_;
    bool bigEndian_;
    TextScanner lines_;
    std::string_view line_;
    std::size_t lineNumberBase_;
};

}  // namespace kelvar::detail
