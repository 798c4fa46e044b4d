#include "kv_fluids_dyn/io/FreeSurfaceExtractor.h"

#include <bit>
#include <cstdint>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_geometry/IsosurfaceExtractor3.h"
#include "kv_geometry/ScalarField3.h"

namespace kelvar::fluid {

namespace {

// Just below 0.5: the iso value of level 0, so that a voxel of exactly 0.5
// (gas, walls) always lies outside the surface.
constexpr float kMidValue = std::bit_cast<float>(uint32_t(0x3EFFFFFCu));
// Value of resampling points that fall outside the VOF field: gas, like the
// voxels beyond the grid.
constexpr float kOutsideValue = 0.5f;
// A resampled axis must hold fewer voxels than this.
constexpr float kAxisVoxelLimit = 4294967296.0f;

// The VOF field's voxel counts at spacing `g`; false when an axis would not
// fit 32 bits (or the spacing is no positive number).
bool resampledResolution(const ScalarField3<float>& field, const float& g, Tuple3<unsigned int>& resolution) {
    const Vector3<float> extent = field.getBox().max - field.getBox().min;
    for (unsigned a = 0; a < 3; ++a) {
        const float quotient = extent[a] / g;
        if (!(quotient < kAxisVoxelLimit) || !(quotient >= 0.0f)) return false;
        resolution[a] = static_cast<unsigned int>(quotient) + 1u;
    }
    return true;
}

unsigned long extractField(const ScalarField3<float>& field, Mesh& mesh, const float& iso, const bool& flag,
                           const int& option, int (*abortCallback)()) {
    const unsigned close = flag ? 1u : 0u;
    return IsosurfaceExtractor3::extractMesh<float>(field, mesh, iso, close, close, close, close, close, close,
                                                    static_cast<unsigned>(option), abortCallback);
}

}  // namespace

template <class Fluid>
unsigned long FreeSurfaceExtractor::extractMesh(const Fluid& fluid, const float& level, const bool& useGridResolution,
                                                const float& meshCellSize, const bool& flag, const int& option,
                                                Mesh& mesh, int (*abortCallback)()) {
    const float iso = kMidValue - level;
    // The field is a cache the fluid rebuilds on demand; refreshing it does
    // not change the fluid's state.
    Fluid& cache = const_cast<Fluid&>(fluid);

    if (useGridResolution) {
        cache.compute_VOF_Field();
        return extractField(fluid.get_VOF_Field(), mesh, iso, flag, option, abortCallback);
    }

    const float g = fluid.worldToGridLength(meshCellSize);
    cache.compute_VOF_Field();
    const ScalarField3<float>& vof = fluid.get_VOF_Field();

    Tuple3<unsigned int> resolution;
    if (!resampledResolution(vof, g, resolution)) return 0;
    ScalarField3<float> resampled;
    resampled.setSpacing({g, g, g});
    if (!resampled.setResolution(resolution)) return 0;
    resampled.clear();
    resampled.moveBox(vof.getBox().center());

    for (unsigned int i = 0; i < resolution.first; ++i) {
        for (unsigned int j = 0; j < resolution.second; ++j) {
            for (unsigned int k = 0; k < resolution.third; ++k) {
                if (abortCallback != nullptr && abortCallback() > 0) return 0;
                float value = kOutsideValue;
                vof.sample(resampled.voxelPosition(i, j, k), value);
                resampled.at(i, j, k) = value;
            }
        }
    }
    return extractField(resampled, mesh, iso, flag, option, abortCallback);
}

template KV_EXPORT unsigned long FreeSurfaceExtractor::extractMesh<MAC_LBM_Fluid3>(const MAC_LBM_Fluid3&,
                                                                                    const float&, const bool&,
                                                                                    const float&, const bool&,
                                                                                    const int&, Mesh&, int (*)());

}  // namespace kelvar::fluid
