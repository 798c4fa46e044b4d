// The OpenVDB frame writer, read back with OpenVDB's own reader: its
// refusals, and a frame of the demo host checked value by value against the
// VTK image data the demo writes beside it.

#include <gtest/gtest.h>
#include <openvdb/openvdb.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TempFolder.h"
#include "VdbFrameWriter.h"
#include "kv_basic/ByteOrder.h"
#include "kv_geometry/MeshPrimitives.h"

namespace kelvar::vdb {
namespace {

namespace fs = std::filesystem;

struct Grids {
    openvdb::FloatGrid::Ptr density, surface;
    openvdb::Vec3SGrid::Ptr velocity;
};

Grids readGrids(const fs::path& path) {
    openvdb::initialize();
    openvdb::io::File file(path.string());
    file.open();
    Grids grids;
    grids.density = openvdb::gridPtrCast<openvdb::FloatGrid>(file.readGrid("density"));
    grids.surface = openvdb::gridPtrCast<openvdb::FloatGrid>(file.readGrid("surface"));
    grids.velocity = openvdb::gridPtrCast<openvdb::Vec3SGrid>(file.readGrid("vel"));
    file.close();
    return grids;
}

using VdbFrameTest = TempFolderTest;

TEST_F(VdbFrameTest, RefusesAFrameWithoutCellsAndAnUnwritablePath) {
    const Mesh surface;
    const float one = 1.0f, still[3] = {0.0f, 0.0f, 0.0f};
    VdbFrame frame;
    frame.fill = &one;
    frame.velocity = still;
    frame.surface = &surface;
    std::string error;
    EXPECT_FALSE(writeVdbFrame((folder / "empty.vdb").string(), frame, error));
    EXPECT_NE(error.find("no cells"), std::string::npos);
    frame.nx = frame.ny = frame.nz = 1;
    frame.voxelSize = 0.5f;
    error.clear();
    EXPECT_FALSE(writeVdbFrame((folder / "missing" / "frame.vdb").string(), frame, error));
    EXPECT_NE(error.find("cannot write"), std::string::npos);
    // An empty surface still gives an (empty) level set.
    ASSERT_TRUE(writeVdbFrame((folder / "one.vdb").string(), frame, error)) << error;
    const Grids grids = readGrids(folder / "one.vdb");
    ASSERT_TRUE(grids.surface);
    EXPECT_EQ(grids.surface->activeVoxelCount(), 0u);
    EXPECT_EQ(grids.density->activeVoxelCount(), 1u);
}

// The fields of a .vti the demo wrote: dimensions, origin, spacing and the
// two appended arrays (x fastest).
struct VtiFields {
    unsigned nx = 0, ny = 0, nz = 0;
    double origin = 0.0, spacing = 0.0;
    std::vector<float> fill, velocity;
};

std::vector<float> appendedArray(const std::string& bytes, std::size_t& at) {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const uint64_t size = loadLittleEndian<uint64_t>(data + at);
    std::vector<float> values(size / sizeof(float));
    loadLittleEndian(values.data(), values.size(), data + at + sizeof(uint64_t));
    at += sizeof(uint64_t) + size;
    return values;
}

VtiFields readVti(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    VtiFields fields;
    unsigned x0, y0, z0;
    const std::size_t extent = bytes.find("WholeExtent=\"");
    std::sscanf(bytes.c_str() + extent, "WholeExtent=\"%u %u %u %u %u %u\"", &x0, &fields.nx, &y0, &fields.ny, &z0,
                &fields.nz);
    ++fields.nx, ++fields.ny, ++fields.nz;
    std::sscanf(bytes.c_str() + bytes.find("Origin=\""), "Origin=\"%lf", &fields.origin);
    std::sscanf(bytes.c_str() + bytes.find("Spacing=\""), "Spacing=\"%lf", &fields.spacing);
    std::size_t at = bytes.find("<AppendedData encoding=\"raw\">");
    at = bytes.find('_', at) + 1;
    fields.fill = appendedArray(bytes, at);
    fields.velocity = appendedArray(bytes, at);
    return fields;
}

TEST_F(VdbFrameTest, DemoFrameAgreesWithItsVtkImage) {
    const std::string command = std::string("'") + KV_DEMO_PROGRAM + "' --frames 1 --resolution 6000 --threads 2 " +
                                "--vtk --vdb --output '" + folder.string() + "' > /dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const VtiFields vti = readVti(folder / "frame_0001.vti");
    ASSERT_EQ(vti.fill.size(), std::size_t(vti.nx) * vti.ny * vti.nz);
    ASSERT_EQ(vti.velocity.size(), 3 * vti.fill.size());
    const Grids grids = readGrids(folder / "frame_0001.vdb");
    ASSERT_TRUE(grids.density && grids.surface && grids.velocity);
    EXPECT_EQ(grids.density->getGridClass(), openvdb::GRID_FOG_VOLUME);
    EXPECT_EQ(grids.surface->getGridClass(), openvdb::GRID_LEVEL_SET);
    for (const openvdb::GridBase* grid : {static_cast<const openvdb::GridBase*>(grids.density.get()),
                                          static_cast<const openvdb::GridBase*>(grids.surface.get()),
                                          static_cast<const openvdb::GridBase*>(grids.velocity.get())}) {
        EXPECT_NEAR(grid->voxelSize().x(), vti.spacing, 1e-6);
        // Voxel (0, 0, 0) is centred on the image's first point.
        EXPECT_NEAR(grid->indexToWorld(openvdb::Vec3d(0.0)).x(), vti.origin, 1e-6);
    }

    openvdb::Index64 filled = 0;
    auto density = grids.density->getConstAccessor();
    auto vel = grids.velocity->getConstAccessor();
    for (unsigned k = 0; k < vti.nz; ++k)
        for (unsigned j = 0; j < vti.ny; ++j)
            for (unsigned i = 0; i < vti.nx; ++i) {
                const std::size_t n = (std::size_t(k) * vti.ny + j) * vti.nx + i;
                const openvdb::Coord voxel{int(i), int(j), int(k)};
                filled += vti.fill[n] > 0.0f;
                ASSERT_EQ(density.getValue(voxel), vti.fill[n]) << i << " " << j << " " << k;
                ASSERT_EQ(vel.getValue(voxel),
                          vti.fill[n] > 0.0f
                              ? openvdb::Vec3s(vti.velocity[3 * n], vti.velocity[3 * n + 1], vti.velocity[3 * n + 2])
                              : openvdb::Vec3s(0.0f));
            }
    EXPECT_GT(filled, 0u);
    EXPECT_EQ(grids.density->activeVoxelCount(), filled);
    // The level set is negative inside the liquid and positive outside.
    openvdb::Index64 inside = 0, outside = 0;
    for (auto value = grids.surface->cbeginValueOn(); value; ++value) (*value < 0.0f ? inside : outside) += 1;
    EXPECT_GT(inside, 0u);
    EXPECT_GT(outside, 0u);
}

}  // namespace
}  // namespace kelvar::vdb
