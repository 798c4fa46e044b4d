#include "kv_fluids_dyn/domain/FrictionData.h"

namespace kelvar::fluid {

void FrictionData::set(const float& c) {
    constantRecord = true;
    constant = c;
}

void FrictionData::set(const Image& image, const float& min, const float& max) {
    texture = &image;
    textureMin = min;
    textureMax = max;
    constantRecord = false;
}

}  // namespace kelvar::fluid
