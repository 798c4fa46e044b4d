#pragma once

#include "kv_basic/ArrayBit.h"
#include "kv_basic/Export.h"
#include "kv_geometry/BoxGrid3.h"

namespace kelvar {

// A solid-voxelisation chunk: a block of sample boxes (one per lattice cell,
// numbered as in BoxGrid3) with one bit each, set when the box's centre lies
// inside the mesh. Chunks are independent, so worker threads can each take a
// contiguous range of an array of them.
template <class T>
struct Box3BoxesBits {
    BoxGrid3<T> grid;
    ArrayBit inside;

    uint32_t sampleCount() const { return grid.sampleCount(); }
    Box3<T> getSampleBox(uint32_t n) const { return grid.sampleBox(n); }
    Tuple3<unsigned int> getSampleCell(uint32_t n) const { return grid.sampleCell(n); }
    bool isInside(uint32_t n) const { return inside.test(n); }
};

}  // namespace kelvar
