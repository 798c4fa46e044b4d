// Compiled by CheckLayering.cmake as part of the lattice layer: an upward
// include that must not compile.
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
