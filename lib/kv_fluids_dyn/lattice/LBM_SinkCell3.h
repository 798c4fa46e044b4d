#pragma once

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"

namespace kelvar::fluid {

// A drain cell: liquid streaming into it is lost and the distributions that
// would come from it are rebuilt. It holds no distributions; it records the
// id of the sink mesh that made it (0xFFFFFFFF while unassigned) and a 16-bit
// flag word kept for the sink operations of the fluid domain (bit 0 marks the
// cell as covered by the latest placement of its sink). Type is always
// LBM_CELL_SINK from construction on.
template <class T>
class LBM_SinkCell3 : public LBM_Cell3<T> {
public:
    // Bit 0 of the flags: covered by the latest placement of the cell's sink
    // mesh. Placing the mesh sets it; the solver clears it every sub-step.
    static constexpr unsigned short kPlacementMark = 0x0001;

    LBM_SinkCell3();
    LBM_SinkCell3(const LBM_SinkCell3& other) = default;
    LBM_SinkCell3& operator=(const LBM_SinkCell3& other) = default;
    ~LBM_SinkCell3() override;

    const unsigned int& getSinkId() const { return sinkId; }
    void setSinkId(const unsigned int& value) { sinkId = value; }
    const unsigned short& getFlags() const { return flags; }
    void setFlags(const unsigned short& value) { flags = value; }

protected:
    unsigned int sinkId = 0xFFFFFFFFu;
    unsigned short flags = 0;
};

extern template class KV_EXPORT LBM_SinkCell3<float>;

}  // namespace kelvar::fluid
