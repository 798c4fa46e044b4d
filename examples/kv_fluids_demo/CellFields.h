#pragma once

#include <string>
#include <vector>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_math/Vector3.h"

namespace kelvar::demo {

// The per-cell fields the volume outputs (VTK image data, OpenVDB) write:
// one sample per grid cell, at the cell's centre, in world units.
struct CellFields {
    unsigned int nx = 0, ny = 0, nz = 0;
    Vector3<float> origin;  // centre of cell (0, 0, 0), metres
    float cellSize = 0.0f;  // cell edge, metres
    // Fill fraction of each cell, 0 (gas, wall, drain) to 1 (full; a
    // compressed cell's fill above 1 is written as 1), z fastest:
    // index (i * ny + j) * nz + k, the grid's own order.
    std::vector<float> fill;
    // Velocity of each liquid cell in m/s, zero elsewhere; three floats per
    // cell in the order of `fill`.
    std::vector<float> velocity;

    std::size_t index(unsigned int i, unsigned int j, unsigned int k) const {
        return (std::size_t(i) * ny + j) * nz + k;
    }
};

CellFields sampleCellFields(const fluid::MAC_LBM_Fluid3& fluid);

// Writes the fields as VTK XML image data (.vti): point data "fill" and
// "velocity" (Float32, appended raw, little-endian), one point per cell
// centre, origin and spacing in metres. False with a message when the file
// cannot be written.
bool writeVtkImage(const std::string& path, const CellFields& fields, std::string& error);

}  // namespace kelvar::demo
