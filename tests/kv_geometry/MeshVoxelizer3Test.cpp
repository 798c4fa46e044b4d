#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"
#include "kv_geometry/MeshVoxelizer3.h"
#include "kv_geometry/detail/TriangleBoxOverlap.h"

namespace kelvar {
namespace {

using Lattice = VoxelLattice3<float>;

Lattice unitLattice(unsigned n, const Vector3<float>& origin = {0, 0, 0}) {
    Lattice l;
    l.origin = origin;
    l.cellSize = {1, 1, 1};
    l.resolution = {n, n, n};
    return l;
}

Array<Box3<float>> regionsOf(const Box3<float>& box) { return {box}; }
// All of a cubic lattice of unit cells.
Array<Box3<float>> whole(const Lattice& l) {
    const float n = float(l.resolution.first);
    return regionsOf(Box3<float>(l.origin, l.origin + Vector3<float>(n, n, n)));
}
Vector3<double> toDouble(const Vector3<float>& p) { return {p.x, p.y, p.z}; }

template <class Chunk>
uint32_t countInside(const Array<Chunk>& chunks) {
    uint32_t inside = 0;
    for (const Chunk& c : chunks)
        for (uint32_t n = 0; n < c.sampleCount(); ++n) inside += c.isInside(n);
    return inside;
}

TEST(MeshVoxelizer3, ChunksCoverTheRegionsCellsOnceInGridOrder) {
    const Lattice lattice = unitLattice(40, {-20, -20, -20});
    MeshVoxelizer3<float> voxelizer(lattice);
    voxelizer.setChunkEdge(7);
    Array<BoxGrid3<float>> grids;
    // Region reaches cells -17..-1 (x), 0..19 (y, clipped), 3..4 (z).
    voxelizer.createGridChunks(regionsOf(Box3<float>({-16.5f, 0.0f, -16.5f}, {-0.5f, 30.0f, -15.0f})), grids);
    std::set<std::tuple<unsigned, unsigned, unsigned>> cells;
    uint32_t samples = 0;
    for (const BoxGrid3<float>& g : grids) {
        samples += g.sampleCount();
        for (uint32_t n = 0; n < g.sampleCount(); ++n) {
            const Tuple3<unsigned> c = g.sampleCell(n);
            cells.insert({c.first, c.second, c.third});
            EXPECT_EQ(g.sampleBox(n).min, lattice.cellMin(c.first, c.second, c.third));
        }
        if (g.sampleCount() > 1) {
            EXPECT_EQ(g.sampleCell(1).third, g.first.third + (g.count.third > 1 ? 1 : 0));
        }
    }
    EXPECT_EQ(samples, 17u * 20u * 2u);
    EXPECT_EQ(cells.size(), samples);
    EXPECT_EQ(std::get<0>(*cells.begin()), 3u);
    EXPECT_EQ(std::get<1>(*cells.rbegin()), 39u);
    EXPECT_EQ(voxelizer.createGridChunks(regionsOf(Box3<float>({30, 30, 30}, {31, 31, 31})), grids), 0u);
}

// Two closed boxes wound in opposite directions overlap in 4 x 5 x 6 cells;
// read back from an STL file, every face repeats its corners, and the parts
// must still be told apart by position. Two more boxes overlap with the same
// winding and a fifth shares a face and its corners with the fourth: all
// count as their union, in the solid pass and in the surface pass's flags.
TEST(MeshVoxelizer3, OppositelyWoundOverlappingPartsDoNotCancel) {
    const Lattice lattice = unitLattice(32);
    Mesh parts = makeBoxMesh(Box3<float>({2, 2, 2}, {10, 10, 10}), 2);
    Mesh inverted = makeBoxMesh(Box3<float>({6, 5, 4}, {14, 13, 12}), 2);
    for (auto& t : inverted.refTriangles()) std::swap(t.second, t.third);
    parts.addMesh(inverted);
    parts.addMesh(makeBoxMesh(Box3<float>({20, 20, 20}, {26, 26, 26}), 3));
    parts.addMesh(makeBoxMesh(Box3<float>({22, 22, 22}, {28, 28, 28}), 3));
    parts.addMesh(makeBoxMesh(Box3<float>({28, 22, 22}, {31, 28, 28}), 1));
    std::string bytes, error;
    ASSERT_TRUE(writeMeshToMemory(parts, MeshFileFormat::Stl, false, bytes, error)) << error;
    Mesh unwelded;
    ASSERT_TRUE(readMeshFromMemory(bytes.data(), bytes.size(), MeshFileFormat::Stl, "parts.stl", unwelded, error));
    const uint32_t unionCount = (8 * 8 * 8 + 8 * 8 * 8 - 4 * 5 * 6) + (2 * 6 * 6 * 6 - 4 * 4 * 4) + 3 * 6 * 6;
    for (const Mesh* mesh : {&parts, &unwelded}) {
        Array<Box3BoxesBits<float>> solid;
        ASSERT_TRUE(rasterizeSolidMesh(*mesh, lattice, whole(lattice), solid, 2));
        EXPECT_EQ(countInside(solid), unionCount);
        Array<MeshGrid3BoxesFaces<float>> chunks;
        ASSERT_TRUE(rasterizeMesh(*mesh, lattice, whole(lattice), chunks, 3));
        EXPECT_EQ(countInside(chunks), unionCount);
    }
}

TEST(MeshVoxelizer3, SphereInsideCountMatchesVolumeAndSurvivesAHole) {
    const Lattice lattice = unitLattice(64, {-32, -32, -32});
    Mesh sphere = makeSphereMesh({0.2f, 0.1f, -0.3f}, 25.0f, 96, 48);
    Array<Box3BoxesBits<float>> chunks;
    ASSERT_TRUE(rasterizeSolidMesh(sphere, lattice, regionsOf(sphere.getBox()), chunks, 2));
    const uint32_t intact = countInside(chunks);
    EXPECT_NEAR(double(intact), sphere.volume(), 0.01 * sphere.volume());

    // Punch a hole where the sphere meets the +x axis. Rays through it lose a
    // crossing along x, which the y and z rays outvote.
    Mesh holed;
    holed.refVertices() = sphere.getVertices();
    for (const Mesh::Triangle& t : sphere.getTriangles()) {
        const Vector3<float> c = (sphere.getVertices()[t.first] + sphere.getVertices()[t.second]) * 0.5f;
        if ((c - Vector3<float>(25.2f, 0.1f, -0.3f)).length() > 3.0f) holed.addTriangle(t.first, t.second, t.third);
    }
    ASSERT_LT(holed.triangleCount(), sphere.triangleCount() - 10);
    const Array<Box3<float>> everywhere = whole(lattice);
    ASSERT_TRUE(rasterizeSolidMesh(holed, lattice, everywhere, chunks, 2));
    EXPECT_NEAR(double(countInside(chunks)), double(intact), 0.001 * intact);
    MeshVoxelizer3<float> anyAxis(lattice);
    anyAxis.setMinimumVotes(1);
    ASSERT_TRUE(anyAxis.rasterizeSolid(holed, everywhere, chunks));
    EXPECT_GT(countInside(chunks), intact + 100);  // what a single ray would have said
}

// The first box's face vertices sit exactly on cell centres, so many rays
// pass through vertices and edges: every axis alone must classify the cells
// whose centres are off the faces. The surface pass marks exactly the cells
// meeting a face and lists, ascending, the faces overlapping each.
TEST(MeshVoxelizer3, BoxCellsAreClassifiedByTheirCentresAndFaces) {
    const Lattice lattice = unitLattice(16);
    const std::pair<Box3<float>, unsigned> boxes[] = {{Box3<float>({2.5f, 3.5f, 1.5f}, {12.5f, 8.5f, 6.5f}), 10},
                                                      {Box3<float>({2.25f, 3.5f, 1.75f}, {11.75f, 8.25f, 6.5f}), 3}};
    for (const auto& [solid, subdivisions] : boxes) {
        const Mesh box = makeBoxMesh(solid, subdivisions);
        for (unsigned votes : {1u, 3u}) {
            MeshVoxelizer3<float> voxelizer(lattice);
            voxelizer.setMinimumVotes(votes);
            Array<Box3BoxesBits<float>> chunks;
            ASSERT_TRUE(voxelizer.rasterizeSolid(box, whole(lattice), chunks));
            for (const auto& c : chunks)
                for (uint32_t n = 0; n < c.sampleCount(); ++n) {
                    const Vector3<float> p = c.getSampleBox(n).center();
                    bool strictlyInside = true;
                    for (unsigned a = 0; a < 3; ++a) strictlyInside &= p[a] > solid.min[a] && p[a] < solid.max[a];
                    // Centres on a face may go either way.
                    if (strictlyInside || !solid.contains(p)) {
                        EXPECT_EQ(c.isInside(n), strictlyInside) << votes << " " << n;
                    }
                }
        }
        MeshVoxelizer3<float> voxelizer(lattice);
        voxelizer.setCollectFaces(true);
        voxelizer.setThreads(2);
        Array<MeshGrid3BoxesFaces<float>> chunks;
        ASSERT_TRUE(voxelizer.rasterize(box, whole(lattice), chunks));
        uint32_t surface = 0;
        for (const auto& c : chunks) {
            ASSERT_TRUE(c.hasFaces());
            for (uint32_t n = 0; n < c.sampleCount(); ++n) {
                const Box3<float> cell = c.getSampleBox(n);
                bool meetsSolid = true;
                bool withinOpenSolid = true;
                for (unsigned a = 0; a < 3; ++a) {
                    meetsSolid = meetsSolid && cell.max[a] >= solid.min[a] && cell.min[a] <= solid.max[a];
                    withinOpenSolid = withinOpenSolid && cell.min[a] > solid.min[a] && cell.max[a] < solid.max[a];
                }
                EXPECT_EQ(c.isSurface(n), meetsSolid && !withinOpenSolid) << n;
                surface += c.isSurface(n);
                EXPECT_EQ(c.facesBegin(n) != c.facesEnd(n), c.isSurface(n));
                for (const uint32_t* f = c.facesBegin(n); f != c.facesEnd(n); ++f) {
                    EXPECT_TRUE(f + 1 == c.facesEnd(n) || *f < f[1]);  // ascending, no repeats
                    const Mesh::Triangle& t = box.getTriangles()[*f];
                    const auto p = [&](uint32_t v) { return toDouble(box.getVertices()[v]); };
                    EXPECT_TRUE(detail::triangleBoxOverlap(toDouble(cell.center()), {0.5, 0.5, 0.5}, p(t.first),
                                                           p(t.second), p(t.third)));
                }
            }
        }
        EXPECT_GT(surface, 100u);
    }
}

TEST(MeshVoxelizer3, ResultsDoNotDependOnThreadsOrChunkSize) {
    const Lattice lattice = unitLattice(24, {-12, -12, -12});
    const Mesh sphere = makeSphereMesh({0.5f, 0, 0}, 9.3f, 40, 20);
    using Cells = std::set<std::tuple<unsigned, unsigned, unsigned, bool, bool>>;
    auto cellsWith = [&](unsigned threads, unsigned edge) {
        MeshVoxelizer3<float> voxelizer(lattice);
        voxelizer.setThreads(threads);
        voxelizer.setChunkEdge(edge);
        Array<MeshGrid3BoxesFaces<float>> chunks;
        voxelizer.rasterize(sphere, regionsOf(sphere.getBox()), chunks);
        Cells cells;
        for (const auto& c : chunks)
            for (uint32_t n = 0; n < c.sampleCount(); ++n) {
                const Tuple3<unsigned> ijk = c.getSampleCell(n);
                cells.insert({ijk.first, ijk.second, ijk.third, c.isSurface(n), c.isInside(n)});
            }
        return cells;
    };
    const Cells reference = cellsWith(1, 5);
    EXPECT_GT(reference.size(), 1000u);
    for (auto [threads, edge] : {std::pair{1u, 16u}, {4u, 5u}, {4u, 16u}})
        EXPECT_EQ(cellsWith(threads, edge), reference) << threads << " " << edge;
}

TEST(MeshVoxelizer3, BadMeshesAndEmptyRegionsReportNothingOrAreIgnored) {
    const Lattice lattice = unitLattice(8);
    Array<Box3BoxesBits<float>> chunks;
    const Mesh far = makeBoxMesh(Box3<float>({20, 20, 20}, {22, 22, 22}));
    EXPECT_FALSE(rasterizeSolidMesh(far, lattice, regionsOf(far.getBox()), chunks, 2));
    EXPECT_TRUE(chunks.empty());

    Mesh broken = makeBoxMesh(Box3<float>({1, 1, 1}, {3, 3, 3}));
    broken.addTriangle(0, 1, 999);
    broken.refVertices()[0].x = std::nanf("");
    Array<MeshGrid3BoxesFaces<float>> surface;
    ASSERT_TRUE(rasterizeMesh(broken, lattice, whole(lattice), surface, 2));
    const Box3<float> nanBox(Vector3<float>(std::nanf(""), 0, 0), Vector3<float>(1, 1, 1));
    EXPECT_FALSE(rasterizeSolidMesh(broken, lattice, regionsOf(nanBox), chunks, 1));
}

}  // namespace
}  // namespace kelvar
