#pragma once

#include <cstdint>
#include <vector>

#include "kv_basic/Tuple.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/VoxelLattice3.h"

namespace kelvar::detail {

// Where a mesh crosses the lattice lines that run through cell centres
// parallel to one axis, with the winding number of the mesh along each line.
//
// A line is a column of cells (u, v), the two axes other than the ray axis.
// A triangle crosses a line when the line's point lies in the triangle's
// projection; points on a projected edge or vertex are decided by a fixed
// symbolic perturbation of the point, so a line through a shared edge or
// vertex of a watertight mesh crosses exactly one triangle of each sheet.
// Each crossing adds +1 (the triangle faces against the ray direction: the
// line enters) or -1 (it leaves); the winding number of a cell centre is the
// sum of the crossings before it along the ray axis. Crossings count with
// the orientation of their part (PartOrientation.h), so every closed part
// winds +1 inside whatever its own orientation, and the winding number is
// non-zero exactly inside the union of the closed parts.
class AxisRayCrossings {
public:
    // Collects the crossings of all lines of the columns in [first, first + count)
    // (the ray axis's entries are ignored), splitting the triangles over `threads`.
    // `orientation` holds the part orientation of every triangle.
    void build(const Mesh& mesh, const std::vector<int8_t>& orientation, const VoxelLattice3<float>& lattice,
               const Tuple3<unsigned>& first, const Tuple3<unsigned>& count, unsigned axis, unsigned threads);

    // Adds 1 to votes[n] for every cell of the block whose winding number is
    // non-zero, n numbering the block's cells with z fastest. The block must
    // lie within the columns given to build().
    void vote(const Tuple3<unsigned>& blockFirst, const Tuple3<unsigned>& blockCount, uint8_t* votes) const;

private:
    struct Crossing {
        uint64_t column;
        double depth;
        int32_t sign;
    };
    void collect(const Mesh& mesh, uint32_t triangle, int32_t orientation, std::vector<Crossing>& out) const;

    VoxelLattice3<float> lattice_;
    unsigned axis_ = 0;
    unsigned u_ = 1;
    unsigned v_ = 2;
    Tuple3<unsigned> first_{};
    Tuple3<unsigned> count_{};
    std::vector<std::size_t> columnStart_;
    std::vector<double> depth_;
    std::vector<int32_t> windingAfter_;
};

}  // namespace kelvar::detail
