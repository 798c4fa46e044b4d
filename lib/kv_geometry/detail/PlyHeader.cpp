#include "kv_geometry/detail/PlyHeader.h"

#include <string_view>

#include "kv_geometry/detail/TextScanner.h"

namespace kelvar::detail {

namespace {

struct TypeName {
    const char* name;
    PlyHeader::Type type;
};

constexpr TypeName kTypeNames[] = {
    {"char", PlyHeader::Type::Int8},     {"int8", PlyHeader::Type::Int8},       {"uchar", PlyHeader::Type::UInt8},
    {"uint8", PlyHeader::Type::UInt8},   {"short", PlyHeader::Type::Int16},     {"int16", PlyHeader::Type::Int16},
    {"ushort", PlyHeader::Type::UInt16}, {"uint16", PlyHeader::Type::UInt16},   {"int", PlyHeader::Type::Int32},
    {"int32", PlyHeader::Type::Int32},   {"uint", PlyHeader::Type::UInt32},     {"uint32", PlyHeader::Type::UInt32},
    {"float", PlyHeader::Type::Float32}, {"float32", PlyHeader::Type::Float32}, {"double", PlyHeader::Type::Float64},
    {"float64", PlyHeader::Type::Float64},
};

bool typeFromName(std::string_view name, PlyHeader::Type& type) {
    for (const TypeName& t : kTypeNames)
        if (name == t.name) {
            type = t.type;
            return true;
        }
    return false;
}

}  // namespace

std::size_t PlyHeader::sizeOf(Type type) {
    switch (type) {
        case Type::Int8:
        case Type::UInt8: return 1;
        case Type::Int16:
        case Type::UInt16: return 2;
        case Type::Int32:
        case Type::UInt32:
        case Type::Float32: return 4;
        case Type::Float64: return 8;
    }
    return 0;
}

const char* PlyHeader::nameOf(Type type) {
    switch (type) {
        case Type::Int8: return "char";
        case Type::UInt8: return "uchar";
        case Type::Int16: return "short";
        case Type::UInt16: return "ushort";
        case Type::Int32: return "int";
        case Type::UInt32: return "uint";
        case Type::Float32: return "float";
        case Type::Float64: return "double";
    }
    return "";
}

bool PlyHeader::parse(const char* data, std::size_t size, std::string& message, std::size_t& line) {
    TextScanner scanner(data, data + size);
    std::string_view text;
    bool formatSeen = false;
    while (scanner.nextLine(text)) {
        line = scanner.lineNumber();
        std::string_view keyword;
        const bool hasKeyword = nextToken(text, keyword);
        if (line == 1) {
            if (!hasKeyword || keyword != "ply") {
                message = "not a PLY file (no 'ply' magic)";
                return false;
            }
            continue;
        }
        if (!hasKeyword || keyword == "comment" || keyword == "obj_info") continue;
        std::string_view a;
        std::string_view b;
        std::string_view c;
        std::string_view d;
        if (keyword == "end_header") {
            if (!formatSeen) {
                message = "header has no format line";
                return false;
            }
            dataOffset = std::size_t(scanner.position() - data);
            lines = line;
            return true;
        }
        if (keyword == "format") {
            if (!nextToken(text, a) || !nextToken(text, b) || b != "1.0") {
                message = "bad format line";
                return false;
            }
            if (a == "ascii")
                encoding = Encoding::Ascii;
            else if (a == "binary_little_endian")
                encoding = Encoding::BinaryLittleEndian;
            else if (a == "binary_big_endian")
                encoding = Encoding::BinaryBigEndian;
            else {
                message = "unknown format '" + std::string(a) + "'";
                return false;
            }
            formatSeen = true;
        } else if (keyword == "element") {
            int64_t count = 0;
            if (!nextToken(text, a) || !nextToken(text, b) || !parseInteger(b, count) || count < 0) {
                message = "bad element line";
                return false;
            }
            elements.push_back({std::string(a), uint64_t(count), {}});
        } else if (keyword == "property") {
            if (elements.empty()) {
                message = "property before any element";
                return false;
            }
            Property property;
            if (!nextToken(text, a)) {
                message = "bad property line";
                return false;
            }
            if (a == "list") {
                property.isList = true;
                if (!nextToken(text, b) || !nextToken(text, c) || !nextToken(text, d) ||
                    !typeFromName(b, property.countType) || !typeFromName(c, property.type) ||
                    !isInteger(property.countType)) {
                    message = "bad list property line";
                    return false;
                }
                property.name = std::string(d);
            } else {
                if (!typeFromName(a, property.type) || !nextToken(text, b)) {
                    message = "bad property line";
                    return false;
                }
                property.name = std::string(b);
            }
            elements.back().properties.push_back(property);
        } else {
            message = "unknown header keyword '" + std::string(keyword) + "'";
            return false;
        }
    }
    message = "header ends without end_header";
    return false;
}

}  // namespace kelvar::detail
