#pragma once

#include <cstdint>

#include "kv_basic/Export.h"
#include "kv_basic/Tuple.h"
#include "kv_geometry/VoxelLattice3.h"
#include "kv_math/Box3.h"

namespace kelvar {

// The geometry of one voxelisation chunk: a block of consecutive lattice
// cells, each cell one sample box. Samples are numbered
// n = (a * count.second + b) * count.third + c for the cell
// (first.first + a, first.second + b, first.third + c): z fastest, the order
// of the fluid grid.
template <class T>
struct BoxGrid3 {
    Vector3<T> origin{};             // min corner of the lattice's cell (0, 0, 0)
    Vector3<T> cellSize{};           // sample box edges
    Tuple3<unsigned int> first{};    // lattice indices of the chunk's first cell
    Tuple3<unsigned int> count{};    // cells of the chunk per axis

    uint32_t sampleCount() const { return count.first * count.second * count.third; }
    // Lattice indices of sample n.
    Tuple3<unsigned int> sampleCell(uint32_t n) const;
    Box3<T> sampleBox(uint32_t n) const;
    // The chunk's whole box.
    Box3<T> box() const;
};

extern template struct KV_EXPORT BoxGrid3<float>;

}  // namespace kelvar
