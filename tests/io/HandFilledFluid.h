#pragma once

#include <gtest/gtest.h>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"

namespace kelvar::fluid::test {

// A fluid whose cells a test places one by one through the pools the solver
// uses, on a grid of exactly nx x ny x nz cells (edge 1, centred on the origin).
class HandFilledFluid : public MAC_LBM_Fluid3 {
public:
    HandFilledFluid(unsigned int nx, unsigned int ny, unsigned int nz) {
        // A world box a little short of whole cells, with a count that makes
        // the edge just over 1, gives exactly the wanted counts.
        const Vector3<float> scale(float(nx) - 0.5f, float(ny) - 0.5f, float(nz) - 0.5f);
        setScale(scale);
        setResolution(unsigned(scale.x * scale.y * scale.z));
        initialize();
    }

    LBM_Q19_MAC_Cell3F& placeLiquid(unsigned int i, unsigned int j, unsigned int k, unsigned char type, float epsilon,
                                    unsigned short flags = 0) {
        LBM_Q19_MAC_Cell3F* cell = acquireLiquidCell();
        cell->setType(type);
        cell->setEpsilon(epsilon);
        cell->setFlags(flags);
        refGrid().at(i, j, k) = cell;
        return *cell;
    }
    void placeSink(unsigned int i, unsigned int j, unsigned int k) { refGrid().at(i, j, k) = acquireSinkCell(); }

    void markDirty() { refDirtyFlags().set(VOF_DIRTY); }
    void rebuildVof() {
        markDirty();
        compute_VOF_Field();
    }
    float value(unsigned int i, unsigned int j, unsigned int k) const { return get_VOF_Field().at(i, j, k); }
};

}  // namespace kelvar::fluid::test
