#pragma once

// The whole public interface of kv_fluids_dyn.

#include "kv_basic/Array.h"
#include "kv_basic/ArrayBit.h"
#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Flag.h"
#include "kv_basic/Hardware.h"
#include "kv_basic/KV_AXIS.h"
#include "kv_basic/KV_String.h"
#include "kv_basic/MutexShort.h"
#include "kv_basic/Tuple.h"
#include "kv_math/Box3.h"
#include "kv_math/Vector2.h"
#include "kv_math/Vector3.h"

#include "kv_fluids_dyn/io/StreamVersion.h"
