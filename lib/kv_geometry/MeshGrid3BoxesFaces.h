#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/ArrayBit.h"
#include "kv_geometry/BoxGrid3.h"

namespace kelvar {

// A surface-and-inside voxelisation chunk: a block of sample boxes (one per
// lattice cell, numbered as in BoxGrid3) with two answers each, whether a
// mesh triangle meets the box (surface) and whether the box's centre lies
// inside the mesh (inside), and, when asked for, the triangles meeting each
// box. Chunks are independent, so worker threads can each take a contiguous
// range of an array of them.
template <class T>
struct MeshGrid3BoxesFaces {
    BoxGrid3<T> grid;
    ArrayBit surface;
    ArrayBit inside;
    // Triangles meeting sample n are faces[faceStart[n] .. faceStart[n + 1]),
    // in increasing triangle order; both arrays stay empty unless collected.
    Array<uint32_t> faceStart;
    Array<uint32_t> faces;

    uint32_t sampleCount() const { return grid.sampleCount(); }
    Box3<T> getSampleBox(uint32_t n) const { return grid.sampleBox(n); }
    Tuple3<unsigned int> getSampleCell(uint32_t n) const { return grid.sampleCell(n); }
    bool isSurface(uint32_t n) const { return surface.test(n); }
    bool isInside(uint32_t n) const { return inside.test(n); }
    bool hasFaces() const { return !faceStart.empty(); }
    const uint32_t* facesBegin(uint32_t n) const { return faces.data() + faceStart[n]; }
    const uint32_t* facesEnd(uint32_t n) const { return faces.data() + faceStart[n + 1]; }
};

}  // namespace kelvar
