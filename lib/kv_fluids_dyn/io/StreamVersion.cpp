#include "kv_fluids_dyn/io/StreamVersion.h"

namespace kelvar::fluid {

unsigned int streamVersion = 17;

}  // namespace kelvar::fluid
