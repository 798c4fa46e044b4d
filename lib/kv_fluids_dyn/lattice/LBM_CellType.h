#pragma once

namespace kelvar::fluid {

// The code held in every cell's 8-bit type field. Code 1 is not used; the
// gap is kept so that the codes match the stored checkpoint data. An
// interface cell counts as fluid (see LBM_Cell3::isFluid).
enum LBM_CellType : unsigned char {
    LBM_CELL_NONE = 0,       // not yet classified
    LBM_CELL_SOLID = 2,      // obstacle or domain wall
    LBM_CELL_EMPTY = 3,      // gas
    LBM_CELL_FLUID = 4,      // full liquid cell
    LBM_CELL_INTERFACE = 5,  // partly filled cell on the free surface
    LBM_CELL_SINK = 6,       // drain
};

}  // namespace kelvar::fluid
