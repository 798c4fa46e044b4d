#pragma once

#include <cstddef>
#include <string>

#include "kv_geometry/Mesh.h"

namespace kelvar::detail {

// Polygon file format: ascii, binary little- and big-endian reading; ascii
// and binary little-endian writing, with every mesh attribute as properties.
bool readPly(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error);
void writePly(const Mesh& mesh, bool ascii, std::string& out);

}  // namespace kelvar::detail
