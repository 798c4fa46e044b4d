#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/Grid3.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_geometry/Box3BoxesBits.h"
#include "kv_geometry/BoxGrid3.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/MeshGrid3BoxesFaces.h"
#include "kv_geometry/VoxelLattice3.h"
#include "kv_math/Box3.h"
#include "kv_math/Transform3.h"

namespace kelvar::fluid::detail {

// The bridge between a fluid's grid and the mesh voxeliser. The voxeliser
// samples the grid's own cells in grid space, so every sample box it reports
// is exactly one grid cell, and the fluid passes walk its chunks in parallel.

using FluidGrid = Grid3<LBM_Cell3<float>, float>;

// The voxeliser's lattice over the grid: origin at the grid's min corner,
// one sample per cell.
VoxelLattice3<float> gridLattice(const FluidGrid& grid);

// A grid-space copy of a world-space mesh: transformed by the inverse of
// gridToWorld, with its bounding box computed.
//
// A vertex that lands farther than kFarCells from the grid's box along an
// axis (or beyond the float range, as a box of +-1e38 m enclosing the
// domain would) is taken to exactly that distance along that axis, from its
// position worked out in double precision. A face that is flat along the
// axis there, as a box's faces are, keeps its meaning exactly; nearer
// vertices, and so every mesh that stays within that distance, are untouched.
void meshFromWorldToGrid(const Mesh& worldMesh, const Transform3<float>& gridToWorld, const FluidGrid& grid,
                         Mesh& gridMesh);

// How far outside the grid's box, in cells, a grid-space vertex may lie.
inline constexpr double kFarCells = 16777216.0;

// The chunk layout the voxeliser uses for the regions; returns the count.
uint32_t createGridChunks(const FluidGrid& grid, const Array<Box3<float>>& regions, Array<BoxGrid3<float>>& chunks);

// Surface and inside answers of a grid-space mesh over its bounding box.
// False when the box holds no cell of the grid.
bool rasterizeMesh(const Mesh& gridMesh, const FluidGrid& grid, const unsigned int& threads,
                   Array<MeshGrid3BoxesFaces<float>>& chunks);

// Inside answers of a grid-space mesh over the regions. False when the
// regions hold no cell of the grid.
bool rasterizeSolidMesh(const Mesh& gridMesh, const FluidGrid& grid, const Array<Box3<float>>& regions,
                        const unsigned int& threads, Array<Box3BoxesBits<float>>& chunks);

// The cell a sample box stands for: the box must lie wholly within the grid
// box, and its centre minus the grid min, times the inverse cell size,
// truncates to indices below the counts. False when there is no such cell.
bool sampleBoxCell(const FluidGrid& grid, const Box3<float>& sample, Tuple3<unsigned int>& ijk);

}  // namespace kelvar::fluid::detail
