#pragma once

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// Version of the checkpoint format this library writes. Readers store the
// version word of the file they read here, so that the element readers can
// follow older layouts; it is process-wide on purpose.
KV_EXPORT extern unsigned int streamVersion;

}  // namespace kelvar::fluid
