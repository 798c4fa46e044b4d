#pragma once

#include <cstdint>
#include <string>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/Mesh.h"
#include "kv_math/Box3.h"

namespace kelvar::demo {

// What a frame leaves behind: the liquid's size and its surface.
struct LiquidCensus {
    uint32_t cells = 0;  // full and interface cells
    double mass = 0.0;   // kilograms
};

// Counts the liquid cells of the grid and takes the liquid's mass in world
// units (MAC_LBM_Fluid3::computeLiquidMass).
LiquidCensus takeCensus(const fluid::MAC_LBM_Fluid3& fluid);

// The fluid's grid box in world units.
Box3<float> worldBox(const fluid::MAC_LBM_Fluid3& fluid);

// The closed surface of the liquid in world units.
Mesh extractSurface(const fluid::MAC_LBM_Fluid3& fluid);

// Writes frame_NNNN.ply (the surface) and frame_NNNN.png (its preview with
// the tank's fixtures) into `folder`. Returns false with a message when a
// file cannot be written.
bool writeFrameFiles(const Mesh& surface, const Mesh& fixtures, const Box3<float>& tank, const std::string& folder,
                     unsigned int frame, std::string& error);

// Whether this build can write OpenVDB files (--vdb).
bool canWriteVdb();

// Writes frame_NNNN.vti (with `vtk`) and frame_NNNN.vdb (with `vdb`) into
// `folder`: the fill fraction and velocity of every cell, and for the VDB
// file the surface as a level set. False with a message when a file cannot
// be written.
bool writeVolumeFiles(const fluid::MAC_LBM_Fluid3& fluid, const Mesh& surface, const std::string& folder,
                      unsigned int frame, bool vtk, bool vdb, std::string& error);

}  // namespace kelvar::demo
