#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_math/Vector3.h"

// The regularised Smagorinsky collision's constants and its sparse form,
// written once as templates over the number type: float for one cell, or a
// lane type (four or eight cells side by side) whose arithmetic is float's
// per lane, so that every lane gets the bits the one-cell collision gives.
namespace kelvar::fluid::q19::regularised {

// Coefficients of the incompressible equilibrium.
inline constexpr float kFeqSquare = 1.5f;
inline constexpr float kFeqLinear = 3.0f;
inline constexpr float kFeqQuadratic = 4.5f;

// Regularised collision: 1/3 as the nearest float, and 1 / (2 (1/3)^2)
// evaluated in single precision (bits 0x408FFFFF), used in the equilibrium
// instead of 4.5.
inline constexpr float kOneThird = 0.33333334f;
inline constexpr float kRegularisedQuadratic = 4.4999995f;

// Smagorinsky model with Cs^2 = 0.0009: 18 Cs^2 scales the stress norm and
// 1 / (6 Cs^2) the strain.
inline constexpr float kSmagorinskyCs2 = 0.0009f;
inline constexpr float kSmagorinskyStressScale = 0.0162f;
inline constexpr float kSmagorinskyStrainScale = 185.18518f;

// Relaxation time tau = 3 nu + 1/2.
inline constexpr float kViscosityToTau = 3.0f;
inline constexpr float kTauOffset = 0.5f;

inline constexpr unsigned int kDim = 3;
inline constexpr unsigned int kTensorSize = kDim * kDim;
template <class F>
using TensorOf = std::array<F, kTensorSize>;
using Tensor = TensorOf<float>;

// Q_i = c_i c_i^T - (1/3) I for every direction, row-major.
constexpr std::array<Tensor, kDirectionCount> makeQ() {
    std::array<Tensor, kDirectionCount> q{};
    for (unsigned int i = 0; i < kDirectionCount; ++i)
        for (unsigned int a = 0; a < kDim; ++a)
            for (unsigned int b = 0; b < kDim; ++b) {
                const float outer = float(q19::kDirection[i][a] * q19::kDirection[i][b]);
                q[i][a * kDim + b] = a == b ? outer - kOneThird : outer;
            }
    return q;
}
inline constexpr std::array<Tensor, kDirectionCount> kQ = makeQ();

// The same entries grouped by tensor entry, so that the contractions of all
// 19 directions run side by side.
template <class F>
using PerDirectionOf = std::array<F, kDirectionCount>;
using PerDirection = PerDirectionOf<float>;
constexpr std::array<PerDirection, kTensorSize> makeQByEntry() {
    std::array<PerDirection, kTensorSize> q{};
    for (unsigned int k = 0; k < kTensorSize; ++k)
        for (unsigned int i = 0; i < kDirectionCount; ++i) q[k][i] = kQ[i][k];
    return q;
}
inline constexpr std::array<PerDirection, kTensorSize> kQByEntry = makeQByEntry();

// Components of the direction vectors, one array per axis.
constexpr PerDirection makeComponent(unsigned int axis) {
    PerDirection c{};
    for (unsigned int i = 0; i < kDirectionCount; ++i) c[i] = float(q19::kDirection[i][axis]);
    return c;
}
inline constexpr PerDirection kCx = makeComponent(0);
inline constexpr PerDirection kCy = makeComponent(1);
inline constexpr PerDirection kCz = makeComponent(2);

// out_i = Q_i : A for every direction: the nine products of each direction
// summed in row-major order.
inline void contractEachDirection(const Tensor& a, PerDirection& out) {
    out.fill(0.0f);
    for (unsigned int k = 0; k < kTensorSize; ++k)
        for (unsigned int i = 0; i < kDirectionCount; ++i) out[i] += kQByEntry[k][i] * a[k];
}

// The sparse forms of the sums above. Most entries of Q_i and of c_i are 0
// and the others +-1, 2/3 or -1/3; a sum that starts at +0 and adds a term
// 0 * x with x finite adds +-0, which leaves any sum that started at +0
// unchanged (such a sum is never -0, and +0 + -0 = +0), and 1 * x and
// -1 * x are exact. So leaving out the zero terms, in the same order for
// the others, gives the same bits whenever the other factors are finite.
// The callers check that and fall back to the dense sums otherwise.

// The sparse forms are templates over the number type F: float, or a lane
// type for several cells side by side (float's arithmetic per lane, same
// bits).

// Adds Q_I[K] a[K] unless Q_I[K] is 0.
template <unsigned int I, unsigned int K, class F>
inline void addQTerm(F& sum, const TensorOf<F>& a) {
    if constexpr (kQ[I][K] != 0.0f) sum += kQ[I][K] * a[K];
}

// Q_I : A, the nonzero products in row-major order.
template <unsigned int I, class F, std::size_t... K>
inline F contractSparse(const TensorOf<F>& a, std::index_sequence<K...>) {
    F sum = 0.0f;
    (addQTerm<I, unsigned(K)>(sum, a), ...);
    return sum;
}

template <class F, std::size_t... I>
inline void contractEachDirectionSparse(const TensorOf<F>& a, PerDirectionOf<F>& out, std::index_sequence<I...>) {
    ((out[I] = contractSparse<unsigned(I)>(a, std::make_index_sequence<kTensorSize>())), ...);
}

// Entry K of sum_i Q_i f_i, the nonzero products in direction order.
template <unsigned int K, unsigned int I, class F>
inline void addStressTerm(F& sum, const F* f) {
    if constexpr (kQ[I][K] != 0.0f) sum += kQ[I][K] * f[I];
}

template <unsigned int K, class F, std::size_t... I>
inline F stressEntrySparse(const F* f, std::index_sequence<I...>) {
    F sum = 0.0f;
    (addStressTerm<K, unsigned(I)>(sum, f), ...);
    return sum;
}

template <class F, std::size_t... K>
inline void stressSparse(const F* f, TensorOf<F>& pi, std::index_sequence<K...>) {
    ((pi[K] = stressEntrySparse<unsigned(K)>(f, std::make_index_sequence<kDirectionCount>())), ...);
}

// (c_x v_x + c_y v_y) + c_z v_z of direction I without the zero products.
// It only ever enters as 3 cv + 1, where a +0 and a -0 give the same 1, so
// the sign a dropped zero product might have given a zero result is moot.
template <unsigned int I, class F>
inline F projectSparse(const Vector3<F>& v) {
    constexpr int cx = q19::kDirection[I][0], cy = q19::kDirection[I][1], cz = q19::kDirection[I][2];
    F sum = 0.0f;
    bool any = false;
    if constexpr (cx != 0) {
        sum = float(cx) * v.x;
        any = true;
    }
    if constexpr (cy != 0) {
        sum = any ? sum + float(cy) * v.y : float(cy) * v.y;
        any = true;
    }
    if constexpr (cz != 0) sum = any ? sum + float(cz) * v.z : float(cz) * v.z;
    return sum;
}

template <class F, std::size_t... I>
inline void projectEachDirectionSparse(const Vector3<F>& v, PerDirectionOf<F>& out, std::index_sequence<I...>) {
    ((out[I] = projectSparse<unsigned(I)>(v)), ...);
}

// Which lanes passed the finiteness check of the sparse collision: a bool
// for one cell, a mask of lanes for a lane type.
inline bool finiteLanes(const float& finite, const float& s2) {
    return finite == 0.0f && s2 - s2 == 0.0f;
}
template <class Lanes>
inline unsigned int finiteLanes(const Lanes& finite, const Lanes& s2) {
    return finite.zeroLanes() & (s2 - s2).zeroLanes();
}

// The same collision with the zero products of the sums left out, which
// gives the same bits as long as the distributions, the velocities and the
// stress are finite. All 19 non-equilibrium parts being finite implies the
// distributions, u u^T and the forced velocity are (a non-finite one would
// reach an axis direction's equilibrium), and a finite s2, a sum of squares
// since Pi is symmetric, implies Pi is. Returns which lanes passed that
// check (for float: whether the cell did); the distributions of a lane that
// failed are left untouched for float and are meaningless for lanes.
template <class F>
auto relaxRegularisedSparse(F* pdfs, const Vector3<F>& force, const F& nu, F& density, Vector3<F>& velocity) {
    using std::sqrt;
    constexpr auto directions = std::make_index_sequence<kDirectionCount>();
    constexpr auto entries = std::make_index_sequence<kTensorSize>();
    F rho = 0.0f;
    for (unsigned int i = 0; i < kDirectionCount; ++i) rho += pdfs[i];
    const Vector3<F> j = q19::sparseFirstMoment(pdfs);
    const Vector3<F> u = j / rho;
    density = rho;
    velocity = u;

    TensorOf<F> uu;
    for (unsigned int a = 0; a < kDim; ++a)
        for (unsigned int b = 0; b < kDim; ++b) uu[a * kDim + b] = u[a] * u[b];
    const Vector3<F> v = u + force;

    PerDirectionOf<F> qu;
    contractEachDirectionSparse(uu, qu, directions);
    PerDirectionOf<F> cv;
    projectEachDirectionSparse(v, cv, directions);
    F feq[kDirectionCount];
    F fneq[kDirectionCount];
    F finite = 0.0f;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const F bracket = (cv[i] * kFeqLinear + 1.0f) + kRegularisedQuadratic * qu[i];
        feq[i] = kWeight[i] * rho * bracket;
        fneq[i] = pdfs[i] - feq[i];
        // x - x is 0 for a finite x and NaN otherwise.
        finite += fneq[i] - fneq[i];
    }
    TensorOf<F> pi;
    stressSparse(fneq, pi, entries);

    F s2 = 0.0f;
    for (unsigned int a = 0; a < kDim; ++a)
        for (unsigned int b = 0; b < kDim; ++b) s2 += pi[a * kDim + b] * pi[b * kDim + a];
    const auto passed = finiteLanes(finite, s2);
    if (!passed) return passed;
    const F normPi = sqrt(s2);
    const F strain = (sqrt(normPi * kSmagorinskyStressScale + nu * nu) - nu) * kSmagorinskyStrainScale;
    const F nuEff = strain * kSmagorinskyCs2 + nu;
    const F tau = nuEff * kViscosityToTau + kTauOffset;
    const F omega = 1.0f / tau;

    PerDirectionOf<F> qpi;
    contractEachDirectionSparse(pi, qpi, directions);
    const F keep = 1.0f - omega;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const F f1 = kWeight[i] * kFeqQuadratic * qpi[i];
        pdfs[i] = keep * f1 + feq[i];
    }
    return passed;
}


}  // namespace kelvar::fluid::q19::regularised
