#pragma once

#include "kv_basic/Export.h"
#include "kv_image/Image.h"

namespace kelvar::fluid {

// The friction of one obstacle mesh: either one constant value for the
// whole mesh, or a greyscale texture read through the mesh's texture
// coordinates and mapped linearly from [0, 255] onto [textureMin,
// textureMax]. A plain value, copied by value; the texture is not owned and
// must outlive the obstacle operations that read it. A record is meant to
// be set before use; until then its values are zero and it is a texture
// record without a texture.
class KV_EXPORT FrictionData {
public:
    FrictionData() = default;

    // A constant record; the texture fields keep their values.
    void set(const float& c);
    // A texture record; the constant keeps its value.
    void set(const Image& image, const float& min, const float& max);

    bool isConstant() const { return constantRecord; }
    const float& getConstant() const { return constant; }
    const float& getTextureMin() const { return textureMin; }
    const float& getTextureMax() const { return textureMax; }
    // The texture of a texture record (a caller error on one without).
    const Image& getTexture() const { return *texture; }
    bool hasTexture() const { return texture != nullptr; }

private:
    const Image* texture = nullptr;
    float textureMin = 0.0f;
    float textureMax = 0.0f;
    float constant = 0.0f;
    bool constantRecord = false;
};

}  // namespace kelvar::fluid
