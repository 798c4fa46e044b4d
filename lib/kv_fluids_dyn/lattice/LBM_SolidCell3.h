#pragma once

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"

namespace kelvar::fluid {

// An obstacle or wall cell. It holds no distributions; its velocity is the
// wall's velocity (the moving-wall term of the wall streaming), its wall
// factor blends bounce-back (1, no-slip) with free slip (0), and its 16-bit
// flag word is kept for the obstacle operations of the fluid domain (the
// domain's own walls use flags 1 and factor 0.001). Type is always
// LBM_CELL_SOLID from construction on.
template <class T>
class LBM_SolidCell3 : public LBM_Cell3<T> {
public:
    // Bit 1 of the flags: a mark that lasts one sub-step; the solver clears
    // it every sub-step.
    static constexpr unsigned short kStepMark = 0x0002;

    LBM_SolidCell3();
    LBM_SolidCell3(const LBM_SolidCell3& other) = default;
    LBM_SolidCell3& operator=(const LBM_SolidCell3& other) = default;
    ~LBM_SolidCell3() override;

    const unsigned short& getFlags() const { return flags; }
    void setFlags(const unsigned short& value) { flags = value; }
    // 1 = no-slip (bounce-back), 0 = free slip, values between blend the two.
    const double& getWallFactor() const { return wallFactor; }
    void setWallFactor(const double& value) { wallFactor = value; }

protected:
    unsigned short flags = 0;
    double wallFactor = 0.0;
};

extern template class KV_EXPORT LBM_SolidCell3<float>;

}  // namespace kelvar::fluid
