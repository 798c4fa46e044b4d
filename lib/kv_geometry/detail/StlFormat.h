#pragma once

#include <cstddef>
#include <string>

#include "kv_geometry/Mesh.h"

namespace kelvar::detail {

// Stereolithography triangles, binary or ASCII. Files carry no shared
// vertices: equal corner positions are welded on reading.
bool readStl(const char* data, std::size_t size, const std::string& name, Mesh& out, std::string& error);
void writeStl(const Mesh& mesh, bool ascii, std::string& out);

}  // namespace kelvar::detail
