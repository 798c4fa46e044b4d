#pragma once

#include <array>
#include <cstdint>

namespace kelvar::detail {

// The split of a grid cube into six tetrahedra around one of its main
// diagonals, and the triangles that the iso-surface of a linear function
// makes inside one tetrahedron.
//
// Cube corner c sits at (c & 1, (c >> 1) & 1, (c >> 2) & 1). The standard
// split runs around the diagonal from corner 0 to corner 7; variant m is
// that split mirrored in the axes whose bits are set in m (every corner c
// becomes c ^ m). Neighbouring cubes induce the same diagonal on their
// common face as long as mirroring along an axis depends only on the cube's
// position along that axis, so the extracted surface has no cracks; a grid
// mirrored about its centre puts the diagonal of every corner cube through
// the grid's corner.
//
// Every edge of a split is one of seven slots owned by a lattice point: the
// three axis edges starting there, the one diagonal of each of the three
// unit squares whose lowest corner it is, and the one main diagonal of the
// cube whose lowest corner it is.
//
// The triangle table is indexed by a 4-bit mask (bit i set when tetrahedron
// corner i is below the iso value) and lists triangles as triples of
// tetrahedron edge numbers, wound so that their normals point from the
// corners below the iso value to those above it.
struct CubeTetrahedra {
    static constexpr unsigned kTetrahedra = 6;
    static constexpr unsigned kVariants = 8;

    enum Slot : uint8_t { kAxisX, kAxisY, kAxisZ, kSquareXY, kSquareXZ, kSquareYZ, kBody, kSlots };

    // A tetrahedron edge as the slot of the cube corner that owns it.
    struct EdgeRef {
        uint8_t slot = 0;
        uint8_t owner = 0;  // cube corner
    };
    struct Variant {
        std::array<std::array<uint8_t, 4>, kTetrahedra> corners{};  // positively oriented
        // Tetrahedron edges in the order of corner pairs 01 02 03 12 13 23.
        std::array<std::array<EdgeRef, 6>, kTetrahedra> edges{};
    };
    std::array<Variant, kVariants> variants{};

    struct Case {
        uint8_t triangleCount = 0;
        uint8_t edges[2][3]{};  // tetrahedron edge numbers
    };
    std::array<Case, 16> cases{};

    // The corner pair (tetrahedron-local) of each tetrahedron edge.
    static constexpr uint8_t kEdgeCorners[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};

    static const CubeTetrahedra& instance();

private:
    CubeTetrahedra();
};

}  // namespace kelvar::detail
