#include "kv_fluids_dyn/domain/internal/FrictionEvaluator.h"

#include <cmath>
#include <cstdint>

namespace kelvar::fluid {

namespace {

constexpr uint32_t kAbsent = 0xFFFFFFFFu;
// Texture coordinates are clamped to this many texture widths before they
// become integers, so that absurd or non-finite ones stay defined.
constexpr float kFarthestTexel = 1073741824.0f;

// The texel index along one axis of n texels for coordinate t: truncated,
// then wrapped over 0..n inclusive.
int64_t wrappedTexel(const int& n, const float& t) {
    const float scaled = float(n) * t;
    const float bounded = std::isnan(scaled) ? 0.0f : std::fmax(-kFarthestTexel, std::fmin(kFarthestTexel, scaled));
    int64_t x = int64_t(bounded);
    const int64_t period = int64_t(n) + 1;
    if (x > n) {
        const int64_t r = (x - n) % period;
        x = r != 0 ? r - 1 : n;
    } else if (x < 0) {
        const int64_t r = (-x) % period;
        x = r != 0 ? n - r + 1 : 0;
    }
    return x;
}

}  // namespace

FrictionEvaluator::FrictionEvaluator(const MAC_LBM_Fluid3& fluid, const Mesh& mesh, const FrictionTable& table,
                                     const Array<FacePlanes>* faces)
    : fluid(fluid),
      mesh(mesh),
      table(table),
      faces(faces),
      faceCount(faces != nullptr ? faces->size() : kAbsent),
      uvCount(faces != nullptr ? mesh.triangleCount() : kAbsent) {}

FrictionEvaluator::~FrictionEvaluator() = default;

float FrictionEvaluator::sampleTexture(const FrictionData& data, const Vector2<float>& uv) {
    const Image& image = data.getTexture();
    const unsigned char* texels = image.getBuffer();
    if (texels == nullptr) return data.getTextureMin();
    const int width = image.width();
    const int height = image.height();
    const int64_t x = wrappedTexel(width, uv.x);
    const int64_t y = wrappedTexel(height, uv.y);
    const int64_t step = image.pixdepth() / image.bitdepth();
    const unsigned char t = texels[(int64_t(width) * y + x) * step];
    return float(t) / 255.0f * (data.getTextureMax() - data.getTextureMin()) + data.getTextureMin();
}

float FrictionEvaluator::evaluate(const Array<FaceRecord>& records, const Box3<float>& box) const {
    if (faceCount == kAbsent || uvCount == kAbsent) return 0.0f;
    if (records.empty()) return 0.0f;
    float sum = 0.0f;
    FrictionData record;
    for (const FaceRecord& face : records) {
        table.find(face.first, record);
        if (record.isConstant()) {
            sum += record.getConstant();
            continue;
        }
        if (face.second >= faceCount || !record.hasTexture()) continue;
        const FacePlanes& planes = (*faces)[face.second];
        const Vector3<float> centre = box.min + (box.max - box.min) * 0.5f;
        const float distance = planes.face.distance(centre);
        const Vector3<float> onPlane = centre - planes.face.normal * distance;
        Vector2<float> uv;
        if (planes.contains(onPlane) && interpolateUv(mesh, planes, face.second, onPlane, uv))
            sum += sampleTexture(record, uv);
    }
    return sum / float(records.size());
}

}  // namespace kelvar::fluid
