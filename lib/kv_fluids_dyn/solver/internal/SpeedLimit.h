#pragma once

#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

namespace kelvar::fluid {

// The collision's velocity limiter. j is the first moment of the cell's 19
// slots as they stand (not divided by the density). When |j|^2 exceeds
// maxSpeed2 the cell is replaced by the unit-density equilibrium at the
// velocity j scaled to length maxSpeed: its density is deliberately not kept.
// Returns whether the cell was replaced.
bool limitCellSpeed(LBM_Q19_MAC_Cell3F& cell, const float& maxSpeed, const float& maxSpeed2);

}  // namespace kelvar::fluid
