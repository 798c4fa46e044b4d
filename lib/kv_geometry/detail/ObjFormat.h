#pragma once

#include <cstddef>
#include <string>

#include "kv_geometry/Mesh.h"

namespace kelvar::detail {

// Wavefront OBJ text: positions, texture coordinates and polygon faces.
bool readObj(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error);
void writeObj(const Mesh& mesh, std::string& out);

}  // namespace kelvar::detail
