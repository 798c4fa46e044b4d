#include "kv_geometry/MeshVoxelizer3.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "kv_geometry/detail/ParallelRanges.h"
#include "kv_geometry/detail/AxisRayCrossings.h"
#include "kv_geometry/detail/PartOrientation.h"
#include "kv_geometry/detail/TriangleBoxOverlap.h"

namespace kelvar {

namespace {

// How the chunks of one region tile its block of cells.
struct RegionLayout {
    uint32_t firstChunk = 0;
    Tuple3<unsigned> cellFirst{};
    Tuple3<unsigned> cellCount{};
    Tuple3<unsigned> chunks{};
};

unsigned chunksAlong(unsigned cells, unsigned edge) { return (cells + edge - 1) / edge; }

std::vector<RegionLayout> layoutChunks(const VoxelLattice3<float>& lattice, const Array<Box3<float>>& regions,
                                       unsigned edge, Array<BoxGrid3<float>>& grids) {
    std::vector<RegionLayout> layouts;
    grids.clear();
    for (const Box3<float>& region : regions) {
        RegionLayout layout;
        if (!lattice.cellRange(region, layout.cellFirst, layout.cellCount)) continue;
        layout.firstChunk = grids.size();
        for (unsigned a = 0; a < 3; ++a) layout.chunks[a] = chunksAlong(layout.cellCount[a], edge);
        grids.reserve(grids.size() + layout.chunks.first * layout.chunks.second * layout.chunks.third);
        for (unsigned cx = 0; cx < layout.chunks.first; ++cx)
            for (unsigned cy = 0; cy < layout.chunks.second; ++cy)
                for (unsigned cz = 0; cz < layout.chunks.third; ++cz) {
                    const unsigned c[3] = {cx, cy, cz};
                    BoxGrid3<float> grid;
                    grid.origin = lattice.origin;
                    grid.cellSize = lattice.cellSize;
                    for (unsigned a = 0; a < 3; ++a) {
                        grid.first[a] = layout.cellFirst[a] + c[a] * edge;
                        grid.count[a] = std::min(edge, layout.cellFirst[a] + layout.cellCount[a] - grid.first[a]);
                    }
                    grids.push_back(grid);
                }
        layouts.push_back(layout);
    }
    return layouts;
}

// The smallest block of cells holding every region's block.
void unionOfRegions(const std::vector<RegionLayout>& layouts, Tuple3<unsigned>& first, Tuple3<unsigned>& count) {
    for (unsigned a = 0; a < 3; ++a) {
        unsigned lo = UINT32_MAX;
        unsigned hi = 0;
        for (const RegionLayout& l : layouts) {
            lo = std::min(lo, l.cellFirst[a]);
            hi = std::max(hi, l.cellFirst[a] + l.cellCount[a]);
        }
        first[a] = lo;
        count[a] = hi - lo;
    }
}

// Lattice cells touched by the triangle's bounding box, clipped to the
// lattice; false when it misses the lattice or has a bad vertex.
bool triangleCells(const Mesh& mesh, uint32_t triangle, const VoxelLattice3<float>& lattice, unsigned lo[3],
                   unsigned hi[3]) {
    const Mesh::Triangle& t = mesh.getTriangles()[triangle];
    const uint32_t n = mesh.vertexCount();
    if (t.first >= n || t.second >= n || t.third >= n) return false;
    const auto& p = mesh.getVertices();
    for (unsigned a = 0; a < 3; ++a) {
        const double minC = std::min({p[t.first][a], p[t.second][a], p[t.third][a]});
        const double maxC = std::max({p[t.first][a], p[t.second][a], p[t.third][a]});
        // ceil - 1 and floor include the cells that merely touch the box.
        const double cellLo = std::ceil((minC - lattice.origin[a]) / lattice.cellSize[a]) - 1.0;
        const double cellHi = std::floor((maxC - lattice.origin[a]) / lattice.cellSize[a]);
        const double rangeLo = std::max(cellLo, 0.0);
        const double rangeHi = std::min(cellHi, double(lattice.resolution[a]) - 1.0);
        if (!(rangeLo <= rangeHi)) return false;
        lo[a] = unsigned(rangeLo);
        hi[a] = unsigned(rangeHi);
    }
    return true;
}

// Triangles listed per chunk: those of chunk c are triangles[start[c] .. start[c + 1]).
struct ChunkBins {
    std::vector<uint32_t> start;
    std::vector<uint32_t> triangles;
};

template <class Visit>
void forEachChunkOfTriangle(const Mesh& mesh, uint32_t triangle, const VoxelLattice3<float>& lattice,
                            const std::vector<RegionLayout>& layouts, unsigned edge, Visit&& visit) {
    unsigned lo[3];
    unsigned hi[3];
    if (!triangleCells(mesh, triangle, lattice, lo, hi)) return;
    for (const RegionLayout& l : layouts) {
        unsigned c0[3] = {};
        unsigned c1[3] = {};
        bool overlaps = true;
        for (unsigned a = 0; a < 3 && overlaps; ++a) {
            const unsigned first = std::max(lo[a], l.cellFirst[a]);
            const unsigned last = std::min(hi[a], l.cellFirst[a] + l.cellCount[a] - 1);
            overlaps = first <= last;
            c0[a] = (first - l.cellFirst[a]) / edge;
            c1[a] = (last - l.cellFirst[a]) / edge;
        }
        if (!overlaps) continue;
        for (unsigned cx = c0[0]; cx <= c1[0]; ++cx)
            for (unsigned cy = c0[1]; cy <= c1[1]; ++cy)
                for (unsigned cz = c0[2]; cz <= c1[2]; ++cz)
                    visit(l.firstChunk + (cx * l.chunks.second + cy) * l.chunks.third + cz);
    }
}

ChunkBins binTriangles(const Mesh& mesh, const VoxelLattice3<float>& lattice, const std::vector<RegionLayout>& layouts,
                       unsigned edge, uint32_t chunkCount) {
    ChunkBins bins;
    bins.start.assign(std::size_t(chunkCount) + 1, 0);
    for (uint32_t t = 0; t < mesh.triangleCount(); ++t)
        forEachChunkOfTriangle(mesh, t, lattice, layouts, edge, [&](uint32_t c) { ++bins.start[c + 1]; });
    for (uint32_t c = 0; c < chunkCount; ++c) bins.start[c + 1] += bins.start[c];
    bins.triangles.resize(bins.start[chunkCount]);
    std::vector<uint32_t> fill(bins.start.begin(), bins.start.end() - 1);
    for (uint32_t t = 0; t < mesh.triangleCount(); ++t)
        forEachChunkOfTriangle(mesh, t, lattice, layouts, edge, [&](uint32_t c) { bins.triangles[fill[c]++] = t; });
    return bins;
}

// Inside answers from ray winding numbers along the three axes.
class InsideVoter {
public:
    InsideVoter(const Mesh& mesh, const VoxelLattice3<float>& lattice, const std::vector<RegionLayout>& layouts,
                unsigned threads) {
        Tuple3<unsigned> first;
        Tuple3<unsigned> count;
        unionOfRegions(layouts, first, count);
        const std::vector<int8_t> orientation = detail::partOrientations(mesh);
        for (unsigned axis = 0; axis < 3; ++axis)
            rays_[axis].build(mesh, orientation, lattice, first, count, axis, threads);
    }

    void fill(const BoxGrid3<float>& grid, unsigned minimumVotes, std::vector<uint8_t>& votes, ArrayBit& inside) const {
        const uint32_t samples = grid.sampleCount();
        votes.assign(samples, 0);
        for (const detail::AxisRayCrossings& rays : rays_) rays.vote(grid.first, grid.count, votes.data());
        for (uint32_t n = 0; n < samples; ++n)
            if (votes[n] >= minimumVotes) inside.set(n);
    }

private:
    detail::AxisRayCrossings rays_[3];
};

// Per-thread scratch of the surface pass: (sample, triangle) pairs of one chunk.
struct FaceScratch {
    std::vector<uint32_t> sample;
    std::vector<uint32_t> triangle;
    std::vector<uint32_t> next;  // write cursor per sample
};

void fillSurface(const Mesh& mesh, const VoxelLattice3<float>& lattice, const uint32_t* triangles,
                 const uint32_t* trianglesEnd, MeshGrid3BoxesFaces<float>& chunk, bool collectFaces,
                 FaceScratch& scratch) {
    const BoxGrid3<float>& grid = chunk.grid;
    const Vector3<double> half(lattice.cellSize.x * 0.5, lattice.cellSize.y * 0.5, lattice.cellSize.z * 0.5);
    const auto& p = mesh.getVertices();
    scratch.sample.clear();
    scratch.triangle.clear();
    for (const uint32_t* it = triangles; it != trianglesEnd; ++it) {
        unsigned lo[3];
        unsigned hi[3];
        triangleCells(mesh, *it, lattice, lo, hi);  // binned, so valid
        for (unsigned a = 0; a < 3; ++a) {
            lo[a] = std::max(lo[a], grid.first[a]);
            hi[a] = std::min(hi[a], grid.first[a] + grid.count[a] - 1);
        }
        const Mesh::Triangle& t = mesh.getTriangles()[*it];
        const Vector3<double> a(p[t.first].x, p[t.first].y, p[t.first].z);
        const Vector3<double> b(p[t.second].x, p[t.second].y, p[t.second].z);
        const Vector3<double> c(p[t.third].x, p[t.third].y, p[t.third].z);
        for (unsigned i = lo[0]; i <= hi[0]; ++i)
            for (unsigned j = lo[1]; j <= hi[1]; ++j)
                for (unsigned k = lo[2]; k <= hi[2]; ++k) {
                    const Vector3<double> centre(lattice.centreAlong(0, i), lattice.centreAlong(1, j),
                                                 lattice.centreAlong(2, k));
                    if (!detail::triangleBoxOverlap(centre, half, a, b, c)) continue;
                    const uint32_t n =
                        ((i - grid.first.first) * grid.count.second + (j - grid.first.second)) * grid.count.third +
                        (k - grid.first.third);
                    chunk.surface.set(n);
                    if (collectFaces) {
                        scratch.sample.push_back(n);
                        scratch.triangle.push_back(*it);
                    }
                }
    }
    if (!collectFaces) return;
    // Counting sort by sample; triangles were visited in increasing order.
    const uint32_t samples = grid.sampleCount();
    chunk.faceStart.resize(samples + 1);
    std::fill(chunk.faceStart.begin(), chunk.faceStart.end(), 0u);
    for (uint32_t n : scratch.sample) ++chunk.faceStart[n + 1];
    for (uint32_t n = 0; n < samples; ++n) chunk.faceStart[n + 1] += chunk.faceStart[n];
    chunk.faces.resize(uint32_t(scratch.sample.size()));
    scratch.next.assign(chunk.faceStart.begin(), chunk.faceStart.end() - 1);
    for (std::size_t e = 0; e < scratch.sample.size(); ++e)
        chunk.faces[scratch.next[scratch.sample[e]]++] = scratch.triangle[e];
}

}  // namespace

template <class T>
uint32_t MeshVoxelizer3<T>::createGridChunks(const Array<Box3<T>>& regions, Array<BoxGrid3<T>>& grids) const {
    layoutChunks(lattice_, regions, chunkEdge_, grids);
    return grids.size();
}

template <class T>
bool MeshVoxelizer3<T>::rasterize(const Mesh& mesh, const Array<Box3<T>>& regions,
                                  Array<MeshGrid3BoxesFaces<T>>& chunks) const {
    chunks.clear();
    Array<BoxGrid3<T>> grids;
    const std::vector<RegionLayout> layouts = layoutChunks(lattice_, regions, chunkEdge_, grids);
    if (grids.empty()) return false;
    chunks.resize(grids.size());
    const InsideVoter voter(mesh, lattice_, layouts, threads_);
    const ChunkBins bins = binTriangles(mesh, lattice_, layouts, chunkEdge_, grids.size());
    runRangesParallel(grids.size(), threads_, [&](uint32_t begin, uint32_t end, unsigned) {
        std::vector<uint8_t> votes;
        FaceScratch scratch;
        for (uint32_t c = begin; c < end; ++c) {
            MeshGrid3BoxesFaces<T>& chunk = chunks[c];
            chunk.grid = grids[c];
            chunk.surface.resize(chunk.grid.sampleCount());
            chunk.inside.resize(chunk.grid.sampleCount());
            voter.fill(chunk.grid, minimumVotes_, votes, chunk.inside);
            fillSurface(mesh, lattice_, bins.triangles.data() + bins.start[c], bins.triangles.data() + bins.start[c + 1],
                        chunk, collectFaces_, scratch);
        }
    });
    return true;
}

template <class T>
bool MeshVoxelizer3<T>::rasterizeSolid(const Mesh& mesh, const Array<Box3<T>>& regions,
                                       Array<Box3BoxesBits<T>>& chunks) const {
    chunks.clear();
    Array<BoxGrid3<T>> grids;
    const std::vector<RegionLayout> layouts = layoutChunks(lattice_, regions, chunkEdge_, grids);
    if (grids.empty()) return false;
    chunks.resize(grids.size());
    const InsideVoter voter(mesh, lattice_, layouts, threads_);
    runRangesParallel(grids.size(), threads_, [&](uint32_t begin, uint32_t end, unsigned) {
        std::vector<uint8_t> votes;
        for (uint32_t c = begin; c < end; ++c) {
            chunks[c].grid = grids[c];
            chunks[c].inside.resize(grids[c].sampleCount());
            voter.fill(grids[c], minimumVotes_, votes, chunks[c].inside);
        }
    });
    return true;
}

template <class T>
bool rasterizeMesh(const Mesh& mesh, const VoxelLattice3<T>& lattice, const Array<Box3<T>>& regions,
                   Array<MeshGrid3BoxesFaces<T>>& chunks, unsigned threads) {
    MeshVoxelizer3<T> voxelizer(lattice);
    voxelizer.setThreads(threads);
    return voxelizer.rasterize(mesh, regions, chunks);
}

template <class T>
bool rasterizeSolidMesh(const Mesh& mesh, const VoxelLattice3<T>& lattice, const Array<Box3<T>>& regions,
                        Array<Box3BoxesBits<T>>& chunks, unsigned threads) {
    MeshVoxelizer3<T> voxelizer(lattice);
    voxelizer.setThreads(threads);
    return voxelizer.rasterizeSolid(mesh, regions, chunks);
}

template class MeshVoxelizer3<float>;
template bool rasterizeMesh<float>(const Mesh&, const VoxelLattice3<float>&, const Array<Box3<float>>&,
                                   Array<MeshGrid3BoxesFaces<float>>&, unsigned);
template bool rasterizeSolidMesh<float>(const Mesh&, const VoxelLattice3<float>&, const Array<Box3<float>>&,
                                        Array<Box3BoxesBits<float>>&, unsigned);

}  // namespace kelvar
