#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvar::detail {

// The header of a PLY file: its encoding and the declared elements with
// their properties, parsed and checked for form (not yet against the data).
struct PlyHeader {
    enum class Encoding { Ascii, BinaryLittleEndian, BinaryBigEndian };
    enum class Type : uint8_t { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

    struct Property {
        std::string name;
        Type type = Type::Float32;
        bool isList = false;
        Type countType = Type::UInt8;  // lists only
    };
    struct Element {
        std::string name;
        uint64_t count = 0;
        std::vector<Property> properties;
    };

    Encoding encoding = Encoding::Ascii;
    std::vector<Element> elements;
    std::size_t dataOffset = 0;  // first byte after end_header
    std::size_t lines = 0;       // header lines, for numbering ascii data lines

    // Parses the header; on failure `message` says what is wrong and `line` where.
    bool parse(const char* data, std::size_t size, std::string& message, std::size_t& line);

    static std::size_t sizeOf(Type type);
    static bool isInteger(Type type) { return type != Type::Float32 && type != Type::Float64; }
    static const char* nameOf(Type type);
};

}  // namespace kelvar::detail
