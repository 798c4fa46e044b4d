#include "kv_fluids_dyn/domain/FrictionTable.h"

namespace kelvar::fluid {

bool FrictionTable::insert(const unsigned int& id, const FrictionData& data) {
    return records.emplace(id, data).second;
}

bool FrictionTable::find(const unsigned int& id, FrictionData& out) const {
    const auto found = records.find(id);
    if (found == records.end()) return false;
    out = found->second;
    return true;
}

}  // namespace kelvar::fluid
