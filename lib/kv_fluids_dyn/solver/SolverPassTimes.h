#pragma once

namespace kelvar::fluid {

// Wall-clock seconds spent in each pass of the free-surface sub-step,
// accumulated while a solver is given this record (setPassTimes). Meant for
// benchmarks and profiling; a solver without a record measures nothing.
struct SolverPassTimes {
    enum Pass : unsigned {
        CellArrays,     // density sum before and the per-step cell lists
        Epsilon,        // fill fractions of the interface cells
        Stream,         // both streaming passes
        Reconstruct,    // gas-side distributions of the interface cells
        MassExchange,   // interface mass exchange
        Collision,      // velocity limiter and collision
        Advection,      // marker particles
        Label,          // relabelling from the particles
        DensityAfter,   // density sum after the sub-step
        Distribute,     // redistribution of the lost density
        PassCount
    };

    double seconds[PassCount] = {};
    unsigned long subSteps = 0;
};

}  // namespace kelvar::fluid
