#pragma once

// Writes one frame of a liquid as an OpenVDB file. The only place of the
// project that includes OpenVDB's headers, so that they are compiled once;
// hosts pass plain arrays.

#include <cstdint>
#include <string>

#include "kv_geometry/Mesh.h"

namespace kelvar::vdb {

// One sample per grid cell, z fastest: index (i * ny + j) * nz + k.
struct VdbFrame {
    unsigned int nx = 0, ny = 0, nz = 0;
    float origin[3] = {0.0f, 0.0f, 0.0f};  // world centre of cell (0, 0, 0), metres
    float voxelSize = 0.0f;                // cell edge, metres
    const float* fill = nullptr;           // fill fraction per cell, 0..1
    const float* velocity = nullptr;       // three floats per cell, m/s
    const Mesh* surface = nullptr;         // closed liquid surface in metres; may be empty
};

// Half-width of the "surface" level set's narrow band, in voxels.
constexpr float kSurfaceHalfWidth = 3.0f;

// Writes `frame` to `path` with three grids on one transform (voxel (i, j, k)
// centred on cell (i, j, k)):
//   "density"  FloatGrid, fog volume: the fill fraction, active where above 0;
//   "vel"      Vec3SGrid: the velocity, active where the fill is above 0;
//   "surface"  FloatGrid, narrow-band level set of the surface mesh (world
//              units, negative inside).
// Returns false with a message when the frame is malformed or the file
// cannot be written.
bool writeVdbFrame(const std::string& path, const VdbFrame& frame, std::string& error);

}  // namespace kelvar::vdb
