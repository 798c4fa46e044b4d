#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"

#include <algorithm>
#include <cmath>

#include "kv_geometry/MeshVoxelizer3.h"

namespace kelvar::fluid::detail {

VoxelLattice3<float> gridLattice(const FluidGrid& grid) {
    VoxelLattice3<float> lattice;
    lattice.origin = grid.getBox().min;
    lattice.cellSize = grid.getCellSize();
    lattice.resolution = {grid.getNx(), grid.getNy(), grid.getNz()};
    return lattice;
}

namespace {

// Whether a grid-space coordinate lies within kFarCells of [low, high].
bool near(const float& c, const float& low, const float& high) {
    return c >= low - kFarCells && c <= high + kFarCells;
}

// The world point p taken to grid space in double precision, each axis
// clamped to within kFarCells of the grid's box.
Vector3<float> pulledIn(const Matrix4<float>& worldToGrid, const Vector3<float>& p, const Box3<float>& box) {
    Vector3<float> out;
    for (unsigned r = 0; r < 3; ++r) {
        const auto& m = worldToGrid.m[r];
        const double c = double(m[0]) * p.x + double(m[1]) * p.y + double(m[2]) * p.z + double(m[3]);
        out[r] = float(std::clamp(c, double(box.min[r]) - kFarCells, double(box.max[r]) + kFarCells));
    }
    return out;
}

}  // namespace

void meshFromWorldToGrid(const Mesh& worldMesh, const Transform3<float>& gridToWorld, const FluidGrid& grid,
                         Mesh& gridMesh) {
    gridMesh.copyFrom(worldMesh);
    const Matrix4<float>& worldToGrid = gridToWorld.getInverseMatrix();
    gridMesh.transform(worldToGrid);

    const Box3<float>& box = grid.getBox();
    const Array<Vector3<float>>& world = worldMesh.getVertices();
    const Array<Vector3<float>>& placed = gridMesh.getVertices();
    for (uint32_t v = 0; v < placed.size(); ++v) {
        const Vector3<float>& p = placed[v];
        if (near(p.x, box.min.x, box.max.x) && near(p.y, box.min.y, box.max.y) && near(p.z, box.min.z, box.max.z))
            continue;
        const Vector3<float>& q = world[v];
        if (!std::isfinite(q.x) || !std::isfinite(q.y) || !std::isfinite(q.z)) continue;
        gridMesh.refVertices()[v] = pulledIn(worldToGrid, q, box);
    }
    if (!gridMesh.isBoxValid()) gridMesh.workBox();
}

uint32_t createGridChunks(const FluidGrid& grid, const Array<Box3<float>>& regions, Array<BoxGrid3<float>>& chunks) {
    return MeshVoxelizer3<float>(gridLattice(grid)).createGridChunks(regions, chunks);
}

bool rasterizeMesh(const Mesh& gridMesh, const FluidGrid& grid, const unsigned int& threads,
                   Array<MeshGrid3BoxesFaces<float>>& chunks) {
    if (!gridMesh.isBoxValid()) {
        chunks.clear();
        return false;
    }
    const Array<Box3<float>> regions{gridMesh.getBox()};
    return kelvar::rasterizeMesh(gridMesh, gridLattice(grid), regions, chunks, threads);
}

bool rasterizeSolidMesh(const Mesh& gridMesh, const FluidGrid& grid, const Array<Box3<float>>& regions,
                        const unsigned int& threads, Array<Box3BoxesBits<float>>& chunks) {
    return kelvar::rasterizeSolidMesh(gridMesh, gridLattice(grid), regions, chunks, threads);
}

bool sampleBoxCell(const FluidGrid& grid, const Box3<float>& sample, Tuple3<unsigned int>& ijk) {
    const Box3<float>& box = grid.getBox();
    for (unsigned int a = 0; a < 3; ++a)
        if (sample.min[a] < box.min[a] || sample.max[a] > box.max[a]) return false;
    const Vector3<float> offset = (sample.center() - box.min).mul(grid.getInvCellSize());
    ijk = {truncateToCellIndex(offset.x), truncateToCellIndex(offset.y), truncateToCellIndex(offset.z)};
    return grid.contains(ijk.first, ijk.second, ijk.third);
}

}  // namespace kelvar::fluid::detail
