#pragma once

#include <cstdint>
#include <vector>

#include "kv_geometry/Mesh.h"

namespace kelvar::detail {

// The orientation of every triangle's part: +1 where the part encloses a
// positive signed volume (faces wound outwards), -1 where it encloses a
// negative one (wound inside out), +1 for a part of zero volume.
//
// A part is a set of triangles connected through shared corners; corners are
// shared when their positions are equal to the bit, whether or not they use
// the same vertex index (files that repeat vertices per face still form one
// part). Triangles with out-of-range indices form no part and get +1.
// Multiplying a ray crossing's sign by its triangle's part orientation makes
// every closed part wind +1 inside, so that overlapping parts of opposite
// orientations add up instead of cancelling.
std::vector<int8_t> partOrientations(const Mesh& mesh);

}  // namespace kelvar::detail
