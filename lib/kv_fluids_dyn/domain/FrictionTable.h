#pragma once

#include <map>

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/domain/FrictionData.h"

namespace kelvar::fluid {

// The friction record of each obstacle mesh, by mesh id, in id order.
class KV_EXPORT FrictionTable {
public:
    // Adds the record for `id` unless the id has one already (the first
    // record wins); returns whether it was added.
    bool insert(const unsigned int& id, const FrictionData& data);
    // Copies the record of `id` into `out` and returns true; false, with
    // `out` untouched, when the id has none.
    bool find(const unsigned int& id, FrictionData& out) const;

private:
    std::map<unsigned int, FrictionData> records;
};

}  // namespace kelvar::fluid
