#include "kv_fluids_dyn/particles/MAC_ParticleSystemFilter.h"

#include "kv_basic/Array.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/solver/RunParallel.h"

namespace kelvar::fluid {

namespace {

// The angle whose direction limit is 0.
constexpr float kRightAngleDegrees = 90.0f;

// Half-width in voxels of the gradient's central differences.
constexpr Tuple3<unsigned int> kGradientStencil{2, 2, 2};

// v / |v|; a zero vector gives NaN components, which fail every comparison.
Vector3<float> normalised(const Vector3<float>& v) {
    return v / v.length();
}

// The three tests of the field-and-box filter, in the order they are made.
struct FieldBoxSelection {
    const ScalarField3<float>& field;
    const Obb3<float>& box;
    float minLevel;
    float cosLimit;

    bool selects(const MAC_Particle3& p) const {
        if (!box.contains(p.position)) return false;
        float value;
        if (!field.sample(p.position, value) || !(value >= minLevel)) return false;
        const Vector3<float> gradient = field.gradient(p.position, kGradientStencil);
        return normalised(p.velocity).dot(normalised(gradient)) > cosLimit;
    }
};

}  // namespace

void MAC_ParticleSystemFilter::filter(const MAC_ParticleSystem3& particles, const ScalarField3<float>& field,
                                      const Obb3<float>& box, const float& levelOffset, const float& maxAngle,
                                      const unsigned int& threadCount, ArrayOfPtr<MAC_Particle3, KV_NO>& result) {
    const FieldBoxSelection selection{field, box, 0.5f - levelOffset,
                                      1.0f - (maxAngle - 0.0f) / (kRightAngleDegrees - 0.0f)};
    const ArrayOfPtr<MAC_Particle3, KV_NO>& all = particles.getParticlesArray();

    const unsigned int threads = threadCount == 0 ? 1 : threadCount;
    Array<ArrayOfPtr<MAC_Particle3, KV_NO>> selected(threads);
    runParallel(
        all,
        [&](const unsigned int& thread, MAC_Particle3* particle) {
            if (selection.selects(*particle)) selected[thread].push_back(particle);
        },
        threads);

    result.clear();
    for (const ArrayOfPtr<MAC_Particle3, KV_NO>& list : selected)
        for (MAC_Particle3* particle : list) result.push_back(particle);
}

}  // namespace kelvar::fluid
