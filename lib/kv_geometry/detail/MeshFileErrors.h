#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kelvar::detail {

// Messages of the mesh readers: the file, where in it, and what is wrong.
inline std::string lineError(const std::string& file, std::size_t line, std::string_view message) {
    return file + ": line " + std::to_string(line) + ": " + std::string(message);
}

inline std::string offsetError(const std::string& file, std::size_t offset, std::string_view message) {
    return file + ": byte offset " + std::to_string(offset) + ": " + std::string(message);
}

}  // namespace kelvar::detail
