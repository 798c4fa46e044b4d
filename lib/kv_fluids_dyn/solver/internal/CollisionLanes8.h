#pragma once

#include <cstdint>

#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid {

// What the collision of a liquid cell takes from the context.
struct CollisionParameters {
    float maxSpeed;
    float maxSpeed2;
    float viscosity;
};

// The collision pass's eight-lane path, for machines with AVX2: the speed
// limiter, the relaxation and the new density and velocity of eight liquid
// cells side by side, with one gather and one scatter of their slots per
// group. Each cell ends with the bits limitCellSpeed, collision,
// updateDensity and updateVelocity of the lattice cell would give it; a
// cell with a non-finite slot, or one the limiter replaces, goes through
// those calls.
inline constexpr uint32_t kCollisionLanes8 = 8;

// Whether this build and machine run the eight lanes.
bool hasCollisionLanes8();

// Collides cells[first, end) in whole groups of eight, which the caller has
// checked hasCollisionLanes8() for, and writes their samples when given
// (writeSample). Returns the first cell left over.
uint32_t collideLanes8(LBM_Q19_MAC_Cell3F* const* cells, const uint32_t& first, const uint32_t& end,
                       const CollisionParameters& parameters, CellSample* samples);

}  // namespace kelvar::fluid
