#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"

#include "kv_geometry/MeshVoxelizer3.h"

namespace kelvar::fluid::detail {

VoxelLattice3<float> gridLattice(const FluidGrid& grid) {
    VoxelLattice3<float> lattice;
    lattice.origin = grid.getBox().min;
    lattice.cellSize = grid.getCellSize();
    lattice.resolution = {grid.getNx(), grid.getNy(), grid.getNz()};
    return lattice;
}

void meshFromWorldToGrid(const Mesh& worldMesh, const Transform3<float>& gridToWorld, Mesh& gridMesh) {
    gridMesh.copyFrom(worldMesh);
    gridMesh.transform(gridToWorld.getInverseMatrix());
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
