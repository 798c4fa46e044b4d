#include "FrameOutput.h"

#include <cstdio>
#include <filesystem>

#include "CellFields.h"
#include "PngFile.h"
#include "PreviewRenderer.h"
#include "kv_fluids_dyn/io/FreeSurfaceExtractor.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_geometry/MeshIO.h"

#ifdef KV_DEMO_WITH_VDB
#include "VdbFrameWriter.h"
#endif

namespace kelvar::demo {

namespace {

using fluid::MAC_LBM_Fluid3;

// Surface level: where a resting pool's fill fractions say the liquid ends
// (level 0 would wrap every gas site next to liquid as well).
constexpr float kSurfaceLevel = 0.35f;
// Close the surface where liquid touches the field's faces.
constexpr bool kCloseFaces = true;
constexpr int kNoExtractorOptions = 0;

constexpr unsigned int kPreviewWidth = 640;
constexpr unsigned int kPreviewHeight = 400;

std::string framePath(const std::string& folder, unsigned int frame, const char* extension) {
    char name[32];
    std::snprintf(name, sizeof name, "frame_%04u.%s", frame, extension);
    return (std::filesystem::path(folder) / name).string();
}

}  // namespace

LiquidCensus takeCensus(const MAC_LBM_Fluid3& fluid) {
    LiquidCensus census;
    for (const fluid::LBM_Cell3<float>* cell : fluid.getGrid().getCells())
        if (cell != nullptr && cell->isFluid()) ++census.cells;
    census.mass = fluid.computeLiquidMass();
    return census;
}

Box3<float> worldBox(const MAC_LBM_Fluid3& fluid) {
    const Box3<float>& grid = fluid.getGrid().getBox();
    return Box3<float>(fluid.gridToWorldPosition(grid.min), fluid.gridToWorldPosition(grid.max));
}

Mesh extractSurface(const MAC_LBM_Fluid3& fluid) {
    Mesh surface;
    fluid::FreeSurfaceExtractor::extractMesh<MAC_LBM_Fluid3>(fluid, kSurfaceLevel, true, 1.0f, kCloseFaces,
                                                             kNoExtractorOptions, surface, nullptr);
    surface.transform(fluid.getXformGridToWorld().getMatrix());
    return surface;
}

bool writeFrameFiles(const Mesh& surface, const Mesh& fixtures, const Box3<float>& tank, const std::string& folder,
                     unsigned int frame, std::string& error) {
    if (!writeMesh(framePath(folder, frame, "ply"), surface, error)) return false;
    const RgbImage preview = renderPreview(surface, fixtures, tank, kPreviewWidth, kPreviewHeight);
    return writePng(framePath(folder, frame, "png"), preview, error);
}

bool canWriteVdb() {
#ifdef KV_DEMO_WITH_VDB
    return true;
#else
    return false;
#endif
}

bool writeVolumeFiles(const MAC_LBM_Fluid3& fluid, const Mesh& surface, const std::string& folder,
                      unsigned int frame, bool vtk, bool vdb, std::string& error) {
    if (!vtk && !vdb) return true;
    const CellFields fields = sampleCellFields(fluid);
    if (vtk && !writeVtkImage(framePath(folder, frame, "vti"), fields, error)) return false;
#ifdef KV_DEMO_WITH_VDB
    if (vdb) {
        vdb::VdbFrame volume;
        volume.nx = fields.nx;
        volume.ny = fields.ny;
        volume.nz = fields.nz;
        volume.origin[0] = fields.origin.x;
        volume.origin[1] = fields.origin.y;
        volume.origin[2] = fields.origin.z;
        volume.voxelSize = fields.cellSize;
        volume.fill = fields.fill.data();
        volume.velocity = fields.velocity.data();
        volume.surface = &surface;
        if (!vdb::writeVdbFrame(framePath(folder, frame, "vdb"), volume, error)) return false;
    }
#else
    (void)surface;
    if (vdb) {
        error = "this build writes no OpenVDB files";
        return false;
    }
#endif
    return true;
}

}  // namespace kelvar::demo
