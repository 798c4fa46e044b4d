#include "VdbFrameWriter.h"

#include <openvdb/openvdb.h>
#include <openvdb/tools/MeshToVolume.h>

#include <cmath>
#include <exception>
#include <vector>

namespace kelvar::vdb {

namespace {

openvdb::math::Transform::Ptr cellTransform(const VdbFrame& frame) {
    openvdb::math::Transform::Ptr transform = openvdb::math::Transform::createLinearTransform(frame.voxelSize);
    transform->postTranslate(openvdb::Vec3d(frame.origin[0], frame.origin[1], frame.origin[2]));
    return transform;
}

openvdb::FloatGrid::Ptr surfaceLevelSet(const VdbFrame& frame, const openvdb::math::Transform::Ptr& transform) {
    const Mesh& mesh = *frame.surface;
    if (mesh.triangleCount() == 0) {
        openvdb::FloatGrid::Ptr empty = openvdb::createLevelSet<openvdb::FloatGrid>(frame.voxelSize, kSurfaceHalfWidth);
        empty->setTransform(transform);
        return empty;
    }
    std::vector<openvdb::Vec3s> points;
    points.reserve(mesh.vertexCount());
    for (const Vector3<float>& p : mesh.getVertices()) points.emplace_back(p.x, p.y, p.z);
    std::vector<openvdb::Vec3I> triangles;
    triangles.reserve(mesh.triangleCount());
    for (const Mesh::Triangle& t : mesh.getTriangles()) triangles.emplace_back(t.first, t.second, t.third);
    return openvdb::tools::meshToLevelSet<openvdb::FloatGrid>(*transform, points, triangles, kSurfaceHalfWidth);
}

}  // namespace

bool writeVdbFrame(const std::string& path, const VdbFrame& frame, std::string& error) {
    if (frame.nx == 0 || frame.ny == 0 || frame.nz == 0 || frame.fill == nullptr || frame.velocity == nullptr ||
        frame.surface == nullptr || !(frame.voxelSize > 0.0f) || !std::isfinite(frame.voxelSize)) {
        error = "cannot write " + path + ": the frame has no cells";
        return false;
    }
    try {
        openvdb::initialize();
        const openvdb::math::Transform::Ptr transform = cellTransform(frame);

        openvdb::FloatGrid::Ptr density = openvdb::FloatGrid::create(0.0f);
        density->setName("density");
        density->setGridClass(openvdb::GRID_FOG_VOLUME);
        density->setTransform(transform);
        openvdb::Vec3SGrid::Ptr velocity = openvdb::Vec3SGrid::create(openvdb::Vec3s(0.0f));
        velocity->setName("vel");
        velocity->setVectorType(openvdb::VEC_CONTRAVARIANT_RELATIVE);
        velocity->setTransform(transform);

        openvdb::FloatGrid::Accessor fill = density->getAccessor();
        openvdb::Vec3SGrid::Accessor vel = velocity->getAccessor();
        std::size_t n = 0;
        for (unsigned i = 0; i < frame.nx; ++i)
            for (unsigned j = 0; j < frame.ny; ++j)
                for (unsigned k = 0; k < frame.nz; ++k, ++n) {
                    if (!(frame.fill[n] > 0.0f)) continue;
                    const openvdb::Coord voxel{int(i), int(j), int(k)};
                    fill.setValue(voxel, frame.fill[n]);
                    vel.setValue(voxel, openvdb::Vec3s(frame.velocity[3 * n], frame.velocity[3 * n + 1],
                                                       frame.velocity[3 * n + 2]));
                }

        openvdb::FloatGrid::Ptr surface = surfaceLevelSet(frame, transform);
        surface->setName("surface");
        surface->setGridClass(openvdb::GRID_LEVEL_SET);

        openvdb::GridPtrVec grids{density, surface, velocity};
        openvdb::io::File file(path);
        file.write(grids);
        file.close();
        return true;
    } catch (const std::exception& failure) {
        error = "cannot write " + path + ": " + failure.what();
        return false;
    }
}

}  // namespace kelvar::vdb
