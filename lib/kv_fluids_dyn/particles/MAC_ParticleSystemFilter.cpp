#include "kv_fluids_dyn/particles/MAC_ParticleSystemFilter.h"

#include "kv_basic/Array.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

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

// Whether a particle in `cell` is selected by `flags`. Only the low byte of
// a liquid cell's flag word takes part.
bool selectsCell(const LBM_Cell3<float>& cell, const Flag<_MAC_ParticleSystemFilterFlags, unsigned char>& flags) {
    const unsigned char type = cell.getType();
    if (flags.test(MAC_FILTER_INTERFACE) && type == LBM_CELL_INTERFACE) return true;
    if (type != LBM_CELL_FLUID) return false;
    const unsigned int cellFlags = static_cast<const LBM_Q19_MAC_Cell3F&>(cell).getFlags().get() & 0xFFu;
    if (flags.test(MAC_FILTER_NEAR_INTERFACE) && (cellFlags & MAC_FLAG_NEAR_INTERFACE)) return true;
    return flags.test(MAC_FILTER_NEIGHBOUR_MARK) && (cellFlags & MAC_FLAG_NEIGHBOUR_MARK);
}

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

void MAC_ParticleSystemFilter::filter(const MAC_ParticleSystem3& particles, const MAC_LBM_Fluid3& fluid,
                                      const Flag<_MAC_ParticleSystemFilterFlags, unsigned char>& flags,
                                      const unsigned int& /*threadCount*/, ArrayOfPtr<MAC_Particle3, KV_NO>& result) {
    result.clear();
    if (result.capacity() != particles.getParticlesCount()) result.setCapacity(particles.getParticlesCount());
    const auto& grid = fluid.getGrid();
    if (!grid.getCells().empty()) {
        for (const MAC_Particle3& particle : particles) {
            Tuple3<unsigned int> ijk;
            if (!grid.locate(particle.position, ijk)) continue;
            const LBM_Cell3<float>* cell = grid.at(ijk.first, ijk.second, ijk.third);
            if (cell && selectsCell(*cell, flags)) result.push_back(const_cast<MAC_Particle3*>(&particle));
        }
    }
    result.shrinkToFit();
}

}  // namespace kelvar::fluid
