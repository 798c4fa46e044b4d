#pragma once

#include <cstdint>

namespace kelvar::fluid {

// Where the advection left each particle, for the relabelling that follows
// it in the same sub-step: per entry of the particle system's array of
// particle pointers, the linear grid index of the particle's cell, or one of
// the two markers below. Relabelling reads a particle's cell from here
// instead of from its position. Only valid while the particle array is the
// one the advection saw: between the two passes nothing removes particles.
struct ParticleLandings {
    // The particle lies outside the grid.
    static constexpr uint32_t kOutside = 0xFFFFFFFEu;
    // The cell must be found from the particle's position: the particle was
    // pushed out of a solid, bounced, re-seeded or not moved.
    static constexpr uint32_t kRecompute = 0xFFFFFFFFu;

    const uint32_t* cells;
    uint32_t count;
};

}  // namespace kelvar::fluid
