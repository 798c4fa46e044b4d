#pragma once

#include "kv_basic/Flag.h"

namespace kelvar::fluid {

// Tag of the free-surface cells' flag word, so that it does not mix with the
// flag words of other owners.
struct __LBM_MAC_Cell3Flags {};

using LBM_MAC_Cell3FlagWord = Flag<__LBM_MAC_Cell3Flags, unsigned short>;

// Bits of the flag word. All are per-step flags, cleared by the solver at the
// start of each relabelling.
enum LBM_MAC_Cell3Flag : unsigned short {
    MAC_FLAG_NEW_INTERFACE = 0x0001,   // gas site just turned into an interface cell
    MAC_FLAG_HAS_PARTICLE = 0x0002,    // at least one marker particle lies in the cell
    MAC_FLAG_NEAR_INTERFACE = 0x0004,  // full cell next to an interface cell
    MAC_FLAG_SKY = 0x0010,             // no interface cell above the cell in its column
    MAC_FLAG_NEIGHBOUR_MARK = 0x0020,  // fluid neighbour of a cell of a solver pass's list
    MAC_FLAG_BIT9 = 0x0200,            // set and read by the solver passes
};

}  // namespace kelvar::fluid
