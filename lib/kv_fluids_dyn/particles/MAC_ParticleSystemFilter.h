#pragma once

#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"
#include "kv_basic/Flag.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"
#include "kv_geometry/ScalarField3.h"
#include "kv_math/Obb3.h"

namespace kelvar::fluid {

class MAC_LBM_Fluid3;

// Selections of the cell-flag filter: particles in interface cells, in
// liquid cells near the interface, in liquid cells carrying the neighbour
// mark. Other bits are ignored.
enum _MAC_ParticleSystemFilterFlags : unsigned char {
    MAC_FILTER_INTERFACE = 0x01,
    MAC_FILTER_NEAR_INTERFACE = 0x02,
    MAC_FILTER_NEIGHBOUR_MARK = 0x04,
};

// Picks marker particles for the host, e.g. to spawn spray or foam where the
// surface moves outwards. Stateless: every selection writes pointers into the
// particle system to the caller's array, in the system's iteration order.
class KV_EXPORT MAC_ParticleSystemFilter {
public:
    // Particles inside `box`, where `field` (sampled at the particle) is at
    // least 0.5 - levelOffset and whose velocity points along the field's
    // gradient: v̂·ĝ > 1 - maxAngle/90. The angle in degrees maps linearly
    // onto the dot-product limit (0° -> 1, 90° -> 0), not through a cosine.
    // Runs on threadCount threads (0 counts as 1); rebuilds the system's
    // cached pointer array first if it is stale.
    static void filter(const MAC_ParticleSystem3& particles, const ScalarField3<float>& field,
                       const Obb3<float>& box, const float& levelOffset, const float& maxAngle,
                       const unsigned int& threadCount, ArrayOfPtr<MAC_Particle3, KV_NO>& result);

    // Particles whose grid cell in `fluid` matches `flags`: an interface
    // cell (MAC_FILTER_INTERFACE), a liquid cell flagged near the interface
    // (MAC_FILTER_NEAR_INTERFACE) or carrying the neighbour mark
    // (MAC_FILTER_NEIGHBOUR_MARK). Particles outside the grid or over a grid
    // entry without a cell are skipped. Runs on the calling thread:
    // threadCount is accepted and not used. `result` is replaced and its
    // capacity trimmed to its count.
    static void filter(const MAC_ParticleSystem3& particles, const MAC_LBM_Fluid3& fluid,
                       const Flag<_MAC_ParticleSystemFilterFlags, unsigned char>& flags,
                       const unsigned int& threadCount, ArrayOfPtr<MAC_Particle3, KV_NO>& result);
};

}  // namespace kelvar::fluid
