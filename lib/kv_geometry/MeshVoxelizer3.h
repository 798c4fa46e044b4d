#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"
#include "kv_geometry/Box3BoxesBits.h"
#include "kv_geometry/BoxGrid3.h"
#include "kv_geometry/Mesh.h"
#include "kv_geometry/MeshGrid3BoxesFaces.h"
#include "kv_geometry/VoxelLattice3.h"

namespace kelvar {

// Voxelises a triangle mesh onto the cells of a lattice, chunk by chunk.
//
// Each region box is covered by the lattice cells whose interiors it reaches
// (clipped to the lattice), each cell exactly once, split into chunks of at
// most chunkEdge^3 cells in x-major order; the chunks of all regions are
// concatenated in region order. A cell is one sample box.
//
// - Surface: the closed sample box meets a triangle (separating-axis test;
//   touching counts, so a face lying on a cell boundary marks both cells).
// - Inside: the cell centre's winding number is non-zero along a ray in at
//   least `minimumVotes` (default 2) of the three axis directions. Each axis
//   uses exact tie-breaking for rays through edges and vertices, so
//   watertight meshes agree on all three; a crack or a hole spoils the rays
//   through it along one axis only and is outvoted. Overlapping closed parts
//   count as their union; the orientation of a closed part does not matter
//   (each part's crossings count with the sign of its own enclosed volume,
//   so a part wound inside out adds to its neighbours instead of cancelling
//   them, and a closed part nested in another fills its cavity). Parts are
//   told apart by shared corner positions.
//
// Work is spread over `threads` std::threads as static contiguous ranges
// (of triangles for the ray crossings, of chunks for the answers); every
// chunk is written by one thread only. Results do not depend on the thread
// count. Triangles with out-of-range indices or non-finite vertices are
// ignored.
template <class T>
class KV_EXPORT MeshVoxelizer3 {
public:
    static constexpr unsigned kDefaultChunkEdge = 16;
    static constexpr unsigned kMaxChunkEdge = 1024;  // keeps a chunk's sample count within 32 bits

    explicit MeshVoxelizer3(const VoxelLattice3<T>& lattice) : lattice_(lattice) {}

    void setThreads(unsigned threads) { threads_ = threads == 0 ? 1 : threads; }
    // Cells per chunk edge, 1 to kMaxChunkEdge.
    void setChunkEdge(unsigned edge) { chunkEdge_ = edge == 0 ? 1 : (edge > kMaxChunkEdge ? kMaxChunkEdge : edge); }
    // Keep, per surface sample, the list of triangles meeting it.
    void setCollectFaces(bool collect) { collectFaces_ = collect; }
    void setMinimumVotes(unsigned votes) { minimumVotes_ = votes < 1 ? 1 : (votes > 3 ? 3 : votes); }

    // The chunk layout for the regions; returns the number of chunks.
    uint32_t createGridChunks(const Array<Box3<T>>& regions, Array<BoxGrid3<T>>& grids) const;

    // Surface and inside answers. Returns false (chunks emptied) when the
    // regions hold no lattice cell.
    bool rasterize(const Mesh& mesh, const Array<Box3<T>>& regions, Array<MeshGrid3BoxesFaces<T>>& chunks) const;
    // Inside answers only.
    bool rasterizeSolid(const Mesh& mesh, const Array<Box3<T>>& regions, Array<Box3BoxesBits<T>>& chunks) const;

private:
    VoxelLattice3<T> lattice_;
    unsigned threads_ = 1;
    unsigned chunkEdge_ = kDefaultChunkEdge;
    unsigned minimumVotes_ = 2;
    bool collectFaces_ = false;
};

extern template class KV_EXPORT MeshVoxelizer3<float>;

// Surface and inside voxelisation of `mesh` over the regions, with the default settings.
template <class T>
KV_EXPORT bool rasterizeMesh(const Mesh& mesh, const VoxelLattice3<T>& lattice, const Array<Box3<T>>& regions,
                             Array<MeshGrid3BoxesFaces<T>>& chunks, unsigned threads);

// Inside voxelisation of `mesh` over the regions, with the default settings.
template <class T>
KV_EXPORT bool rasterizeSolidMesh(const Mesh& mesh, const VoxelLattice3<T>& lattice, const Array<Box3<T>>& regions,
                                  Array<Box3BoxesBits<T>>& chunks, unsigned threads);

extern template KV_EXPORT bool rasterizeMesh<float>(const Mesh&, const VoxelLattice3<float>&,
                                                    const Array<Box3<float>>&, Array<MeshGrid3BoxesFaces<float>>&,
                                                    unsigned);
extern template KV_EXPORT bool rasterizeSolidMesh<float>(const Mesh&, const VoxelLattice3<float>&,
                                                         const Array<Box3<float>>&, Array<Box3BoxesBits<float>>&,
                                                         unsigned);

}  // namespace kelvar
