#pragma once

#include "kv_basic/Array.h"

namespace kelvar {

// Whether a pointer array owns the objects it points to. The library only
// uses non-owning arrays (KV_NO): cells and particles belong to their pools.
enum KV_OWNERSHIP { KV_NO = 0 };

// A growable array of pointers that does not own its pointees.
template <class T, KV_OWNERSHIP Ownership = KV_NO>
class ArrayOfPtr : public Array<T*> {
    static_assert(Ownership == KV_NO, "only non-owning pointer arrays are provided");

public:
    using Array<T*>::Array;
};

}  // namespace kelvar
