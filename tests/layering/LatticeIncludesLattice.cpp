// Compiled by CheckLayering.cmake as part of the lattice layer: must compile.
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
