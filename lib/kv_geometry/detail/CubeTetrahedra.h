#pragma once

#include <array>
#include <cstdint>

namespace kelvar::detail {

// The split of a grid cube into six tetrahedra around its main diagonal
// (corner 0 to corner 7), and the triangles that the iso-surface of a linear
// function makes inside one tetrahedron.
//
// Cube corner c sits at (c & 1, (c >> 1) & 1, (c >> 2) & 1). Every edge of
// the split joins two corners whose offsets grow monotonically, so it is one
// of seven directions from its lower corner. Because every cube is split the
// same way, neighbouring cubes share the diagonals of their common faces and
// the extracted surface has no cracks.
//
// The triangle table is indexed by a 4-bit mask (bit i set when tetrahedron
// corner i is below the iso value) and lists triangles as triples of
// tetrahedron edge numbers, wound so that their normals point from the
// corners below the iso value to those above it.
struct CubeTetrahedra {
    static constexpr unsigned kDirections = 7;
    static constexpr unsigned kCubeEdges = 19;
    static constexpr unsigned kTetrahedra = 6;

    // Offset of each edge direction (x, y, z in {0, 1}).
    std::array<std::array<uint8_t, 3>, kDirections> directionOffset{};
    // Cube edge e runs from corner edgeCorners[e][0] to edgeCorners[e][1]
    // (the lower one first) along direction edgeDirection[e].
    std::array<std::array<uint8_t, 2>, kCubeEdges> edgeCorners{};
    std::array<uint8_t, kCubeEdges> edgeDirection{};
    // Corners of each tetrahedron, positively oriented.
    std::array<std::array<uint8_t, 4>, kTetrahedra> tetCorners{};
    // Cube edge of each of the six tetrahedron edges (corner pairs 01 02 03 12 13 23).
    std::array<std::array<uint8_t, 6>, kTetrahedra> tetEdges{};

    struct Case {
        uint8_t triangleCount = 0;
        uint8_t edges[2][3]{};  // tetrahedron edge numbers
    };
    std::array<Case, 16> cases{};

    static const CubeTetrahedra& instance();

private:
    CubeTetrahedra();
};

}  // namespace kelvar::detail
