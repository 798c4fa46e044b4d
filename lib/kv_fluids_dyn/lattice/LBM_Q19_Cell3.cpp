#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3MirrorIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3OppositeIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Shifter.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamFreeSlipTable.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamIndices.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Weights.h"
#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_math/internal/Float4.h"

namespace kelvar::fluid {

namespace {

using q19::kDirectionCount;
using q19::kOpposite;
using q19::kVelocity;
using q19::kWeight;

// Coefficients of the incompressible equilibrium.
constexpr float kFeqSquare = 1.5f;
constexpr float kFeqLinear = 3.0f;
constexpr float kFeqQuadratic = 4.5f;

// Regularised collision: 1/3 as the nearest float, and 1 / (2 (1/3)^2)
// evaluated in single precision (bits 0x408FFFFF), used in the equilibrium
// instead of 4.5.
constexpr float kOneThird = 0.33333334f;
constexpr float kRegularisedQuadratic = 4.4999995f;

// Smagorinsky model with Cs^2 = 0.0009: 18 Cs^2 scales the stress norm and
// 1 / (6 Cs^2) the strain.
constexpr float kSmagorinskyCs2 = 0.0009f;
constexpr float kSmagorinskyStressScale = 0.0162f;
constexpr float kSmagorinskyStrainScale = 185.18518f;

// Relaxation time tau = 3 nu + 1/2.
constexpr float kViscosityToTau = 3.0f;
constexpr float kTauOffset = 0.5f;

constexpr unsigned int kDim = 3;
constexpr unsigned int kTensorSize = kDim * kDim;
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
constexpr std::array<Tensor, kDirectionCount> kQ = makeQ();

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
constexpr std::array<PerDirection, kTensorSize> kQByEntry = makeQByEntry();

// Components of the direction vectors, one array per axis.
constexpr PerDirection makeComponent(unsigned int axis) {
    PerDirection c{};
    for (unsigned int i = 0; i < kDirectionCount; ++i) c[i] = float(q19::kDirection[i][axis]);
    return c;
}
constexpr PerDirection kCx = makeComponent(0);
constexpr PerDirection kCy = makeComponent(1);
constexpr PerDirection kCz = makeComponent(2);

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

// The sparse forms are templates over the number type F: float, or Float4
// for four cells side by side (float's arithmetic per lane, same bits).

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

}  // namespace

template <class T>
LBM_Q19_Cell3<T>::LBM_Q19_Cell3() {}

template <class T>
LBM_Q19_Cell3<T>::~LBM_Q19_Cell3() = default;

template <class T>
void LBM_Q19_Cell3<T>::initialize() {
    LBM_FluidCell3<T>::initialize();
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        pdfs[i] = kWeight[i];
        this->density += kWeight[i];
    }
}

template <class T>
void LBM_Q19_Cell3<T>::collision(const T& nu) {
    collisionRLBSmag(nu);
}

template <class T>
T LBM_Q19_Cell3<T>::calcFeq(const unsigned int& i) const {
    return calcFeq(i, T(1), this->velocity);
}

template <class T>
const LBM_Cell3Shifter& LBM_Q19_Cell3<T>::getShifter() const {
    return *LBM_Q19_Cell3Shifter::instance();
}

template <class T>
const LBM_Cell3Weights<T>& LBM_Q19_Cell3<T>::getWeights() const {
    return *LBM_Q19_Cell3Weights<T>::shared();
}

template <class T>
const LBM_Cell3StreamIndices& LBM_Q19_Cell3<T>::getStreamIndices() const {
    return *LBM_Q19_Cell3StreamIndices::instance();
}

template <class T>
const LBM_Cell3OppositeIndices& LBM_Q19_Cell3<T>::getOppositeIndices() const {
    return *LBM_Q19_Cell3OppositeIndices::instance();
}

template <class T>
const LBM_Cell3StreamFreeSlipTable& LBM_Q19_Cell3<T>::getStreamFreeSlipTable() const {
    return *LBM_Q19_Cell3StreamFreeSlipTable::instance();
}

template <class T>
const LBM_Cell3MirrorIndices& LBM_Q19_Cell3<T>::getMirrorIndices() const {
    return *LBM_Q19_Cell3MirrorIndices::instance();
}

template <class T>
const Vector3<T>& LBM_Q19_Cell3<T>::getVelocity() const {
    return this->velocity;
}

template <class T>
void LBM_Q19_Cell3<T>::updateVelocity() {
    this->velocity = computeVelocity();
}

template <class T>
void LBM_Q19_Cell3<T>::updateDensity() {
    this->density = computeDensity();
}

template <class T>
void LBM_Q19_Cell3<T>::setInitialVelocity(const Vector3<T>& u) {
    for (unsigned int i = 0; i < kDirectionCount; ++i) pdfs[i] = calcFeq(i, this->density, u);
    this->velocity = u;
}

template <class T>
void LBM_Q19_Cell3<T>::addVelocity(const Vector3<T>& du) {
    const Vector3<T> u = this->velocity + du;
    for (unsigned int i = 0; i < kDirectionCount; ++i) pdfs[i] = calcFeq(i, this->density, u);
    this->velocity = u;
}

template <class T>
Vector3<T> LBM_Q19_Cell3<T>::computeVelocity() const {
    return velocityOf(pdfs);
}

template <class T>
Vector3<T> LBM_Q19_Cell3<T>::computeVelocity(const std::vector<T>& values) const {
    return velocityOf(values.data());
}

template <class T>
const T& LBM_Q19_Cell3<T>::computeDensity() {
    T rho = T(0);
    for (unsigned int i = 0; i < kDirectionCount; ++i) rho += pdfs[i];
    this->density = rho;
    return this->density;
}

template <class T>
T LBM_Q19_Cell3<T>::calcFeq(const unsigned int& i, const T& rho, const Vector3<T>& u) const {
    const T uu = u.dot(u);
    const T cu = kVelocity[i].dot(u);
    return kWeight[i] * (((rho - kFeqSquare * uu) + kFeqLinear * cu) + kFeqQuadratic * cu * cu);
}

template <class T>
T LBM_Q19_Cell3<T>::calcFeqUseRho(const unsigned int& i) const {
    return calcFeq(i, this->density, this->velocity);
}

template <class T>
void LBM_Q19_Cell3<T>::copyPdfs(const LBM_FluidCell3<T>& other) {
    for (unsigned int i = 0; i < kDirectionCount; ++i) pdfs[i] = other.getPdfAt(i);
    this->density = other.getDensity();
}

template <class T>
void LBM_Q19_Cell3<T>::collisionBGK(const T& nu) {
    // omega = 1 / tau with tau = 3 nu + 1/2.
    const T omega = T(2) / (T(6) * nu + T(1));

    // Moments of the swapped slots: direction i is held in slot opp(i).
    T rho = T(0);
    Vector3<T> j;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const T f = pdfs[kOpposite[i]];
        rho += f;
        j.x += kCx[i] * f;
        j.y += kCy[i] * f;
        j.z += kCz[i] * f;
    }

    // Only a downward (gravity-like) force shifts the equilibrium momentum.
    if (this->force.y < T(0)) j.y += this->force.y / omega;

    this->velocity = j * (T(1) / rho);
    this->density = rho;

    T before[kDirectionCount];
    for (unsigned int i = 0; i < kDirectionCount; ++i) before[i] = pdfs[i];

    const T jj = j.dot(j);
    const T keep = T(1) - omega;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const T cj = (kCx[i] * j.x + kCy[i] * j.y) + kCz[i] * j.z;
        const T feq = ((rho - kFeqSquare * jj) + kFeqLinear * cj) + kFeqQuadratic * cj * cj;
        pdfs[i] = feq * kWeight[i] * omega + keep * before[kOpposite[i]];
    }
}

template <class T>
void LBM_Q19_Cell3<T>::collisionRLB(const T&) {}

namespace {

// Regularised collision with Smagorinsky viscosity on the natural layout:
// every sum in full, in direction and row-major order.
void relaxRegularisedDense(float* pdfs, const Vector3<float>& force, const float& nu, float& density,
                           Vector3<float>& velocity) {
    float rho = float(0);
    Vector3<float> j;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        rho += pdfs[i];
        j.x += kCx[i] * pdfs[i];
        j.y += kCy[i] * pdfs[i];
        j.z += kCz[i] * pdfs[i];
    }
    const Vector3<float> u = j / rho;
    density = rho;
    velocity = u;

    Tensor uu;
    for (unsigned int a = 0; a < kDim; ++a)
        for (unsigned int b = 0; b < kDim; ++b) uu[a * kDim + b] = u[a] * u[b];

    // The force enters the linear term of the equilibrium only.
    const Vector3<float> v = u + force;

    // Compressible equilibrium, and the non-equilibrium stress Pi.
    PerDirection qu;
    contractEachDirection(uu, qu);
    float feq[kDirectionCount];
    float fneq[kDirectionCount];
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const float cv = (kCx[i] * v.x + kCy[i] * v.y) + kCz[i] * v.z;
        const float bracket = (cv * kFeqLinear + float(1)) + kRegularisedQuadratic * qu[i];
        feq[i] = kWeight[i] * rho * bracket;
        fneq[i] = pdfs[i] - feq[i];
    }
    Tensor pi{};
    for (unsigned int i = 0; i < kDirectionCount; ++i)
        for (unsigned int k = 0; k < kTensorSize; ++k) pi[k] += kQ[i][k] * fneq[i];

    // Effective relaxation from the stress norm (Pi is not scaled by rho).
    float s2 = float(0);
    for (unsigned int a = 0; a < kDim; ++a)
        for (unsigned int b = 0; b < kDim; ++b) s2 += pi[a * kDim + b] * pi[b * kDim + a];
    const float normPi = std::sqrt(s2);
    const float strain = (std::sqrt(normPi * kSmagorinskyStressScale + nu * nu) - nu) * kSmagorinskyStrainScale;
    const float nuEff = strain * kSmagorinskyCs2 + nu;
    const float tau = nuEff * kViscosityToTau + kTauOffset;
    const float omega = float(1) / tau;

    // Equilibrium plus the relaxed, regularised non-equilibrium part.
    PerDirection qpi;
    contractEachDirection(pi, qpi);
    const float keep = float(1) - omega;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const float f1 = kWeight[i] * kFeqQuadratic * qpi[i];
        pdfs[i] = keep * f1 + feq[i];
    }
}

// Which lanes passed the finiteness check of the sparse collision: a bool
// for one cell, a mask of lanes for four.
inline bool finiteLanes(const float& finite, const float& s2) {
    return finite == 0.0f && s2 - s2 == 0.0f;
}
inline unsigned int finiteLanes(const Float4& finite, const Float4& s2) {
    return finite.zeroLanes() & (s2 - s2).zeroLanes();
}

// The same collision with the zero products of the sums left out, which
// gives the same bits as long as the distributions, the velocities and the
// stress are finite. All 19 non-equilibrium parts being finite implies the
// distributions, u u^T and the forced velocity are (a non-finite one would
// reach an axis direction's equilibrium), and a finite s2, a sum of squares
// since Pi is symmetric, implies Pi is. Returns which lanes passed that
// check (for float: whether the cell did); the distributions of a lane that
// failed are left untouched for float and are meaningless for Float4.
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

// Slots of four cells as 19 lanes of four, and back: lane c of direction i
// is cell c's slot i. The first sixteen slots go through 4 x 4 transposes.
constexpr unsigned int kTransposed = 16;

void gatherLanes(float* const (&slots)[4], Float4 (&lanes)[kDirectionCount]) {
    for (unsigned int i = 0; i < kTransposed; i += 4) {
        Float4 rows[4] = {Float4::load(slots[0] + i), Float4::load(slots[1] + i), Float4::load(slots[2] + i),
                          Float4::load(slots[3] + i)};
        Float4::transpose(rows[0], rows[1], rows[2], rows[3]);
        for (unsigned int k = 0; k < 4; ++k) lanes[i + k] = rows[k];
    }
    for (unsigned int i = kTransposed; i < kDirectionCount; ++i)
        lanes[i] = Float4(slots[0][i], slots[1][i], slots[2][i], slots[3][i]);
}

void scatterLanes(const Float4 (&lanes)[kDirectionCount], float* const (&slots)[4]) {
    for (unsigned int i = 0; i < kTransposed; i += 4) {
        Float4 rows[4] = {lanes[i], lanes[i + 1], lanes[i + 2], lanes[i + 3]};
        Float4::transpose(rows[0], rows[1], rows[2], rows[3]);
        for (unsigned int c = 0; c < 4; ++c) rows[c].store(slots[c] + i);
    }
    for (unsigned int i = kTransposed; i < kDirectionCount; ++i) {
        float column[4];
        lanes[i].store(column);
        for (unsigned int c = 0; c < 4; ++c) slots[c][i] = column[c];
    }
}

float laneOf(const Float4& x, const unsigned int& c) {
    float column[4];
    x.store(column);
    return column[c];
}

}  // namespace

template <class T>
void LBM_Q19_Cell3<T>::collisionRLBSmag(const T& nu) {
    // Undo the streaming swap: from here on slot i holds direction i.
    for (const unsigned int s : q19::kStreamIndex) std::swap(pdfs[s], pdfs[kOpposite[s]]);
    if (!relaxRegularisedSparse(pdfs, this->force, nu, this->density, this->velocity))
        relaxRegularisedDense(pdfs, this->force, nu, this->density, this->velocity);
}

// The lanes that passed are written back all at once, each cell's slots
// rewritten whole; a cell whose lane failed runs the full sums alone, from
// its slots as they were.
template <class T>
void LBM_Q19_Cell3<T>::collision4(LBM_Q19_Cell3* const (&cells)[4], const T& nu) {
    static_assert(std::is_same_v<T, float>, "four lanes of float");
    float* slots[4];
    for (unsigned int c = 0; c < 4; ++c) {
        LBM_Q19_Cell3& cell = *cells[c];
        for (const unsigned int s : q19::kStreamIndex) std::swap(cell.pdfs[s], cell.pdfs[kOpposite[s]]);
        slots[c] = cell.pdfs;
    }
    Float4 lanes[kDirectionCount];
    gatherLanes(slots, lanes);
    const Vector3<Float4> force(Float4(cells[0]->force.x, cells[1]->force.x, cells[2]->force.x, cells[3]->force.x),
                                Float4(cells[0]->force.y, cells[1]->force.y, cells[2]->force.y, cells[3]->force.y),
                                Float4(cells[0]->force.z, cells[1]->force.z, cells[2]->force.z, cells[3]->force.z));
    Float4 density;
    Vector3<Float4> velocity;
    const unsigned int passed = relaxRegularisedSparse(lanes, force, Float4(nu), density, velocity);

    constexpr unsigned int kAllLanes = 0xFu;
    if (passed == kAllLanes) scatterLanes(lanes, slots);
    for (unsigned int c = 0; c < 4; ++c) {
        LBM_Q19_Cell3& cell = *cells[c];
        if (!(passed & (1u << c))) {
            relaxRegularisedDense(cell.pdfs, cell.force, nu, cell.density, cell.velocity);
            continue;
        }
        if (passed != kAllLanes)
            for (unsigned int i = 0; i < kDirectionCount; ++i) cell.pdfs[i] = laneOf(lanes[i], c);
        cell.density = laneOf(density, c);
        cell.velocity = Vector3<float>(laneOf(velocity.x, c), laneOf(velocity.y, c), laneOf(velocity.z, c));
    }
}

template <class T>
void LBM_Q19_Cell3<T>::updateMoments4(LBM_Q19_Cell3* const (&cells)[4]) {
    static_assert(std::is_same_v<T, float>, "four lanes of float");
    float* const slots[4] = {cells[0]->pdfs, cells[1]->pdfs, cells[2]->pdfs, cells[3]->pdfs};
    Float4 lanes[kDirectionCount];
    gatherLanes(slots, lanes);
    // computeDensity's sum, which velocityOf repeats in the same order.
    Float4 rho(0.0f);
    for (unsigned int i = 0; i < kDirectionCount; ++i) rho += lanes[i];
    constexpr unsigned int kAllLanes = 0xFu;
    if ((rho - rho).zeroLanes() != kAllLanes) {
        // A non-finite slot: the full sums, one cell at a time.
        for (LBM_Q19_Cell3* cell : cells) {
            cell->LBM_Q19_Cell3::updateDensity();
            cell->LBM_Q19_Cell3::updateVelocity();
        }
        return;
    }
    const Vector3<Float4> u = q19::sparseFirstMoment(lanes) / rho;
    for (unsigned int c = 0; c < 4; ++c) {
        cells[c]->density = laneOf(rho, c);
        cells[c]->velocity = Vector3<float>(laneOf(u.x, c), laneOf(u.y, c), laneOf(u.z, c));
    }
}

template <class T>
Vector3<T> LBM_Q19_Cell3<T>::velocityOf(const T* values) {
    T rho = T(0);
    for (unsigned int i = 0; i < kDirectionCount; ++i) rho += values[i];
    // A finite sum means finite values: the sparse moment is then exact.
    if (rho - rho == T(0)) {
        return q19::sparseFirstMoment(values) / rho;
    }
    Vector3<T> j;
    for (unsigned int i = 0; i < kDirectionCount; ++i) j += kVelocity[i] * values[i];
    return j / rho;
}

// Exported through the explicit instantiation declaration in the header.
template class LBM_Q19_Cell3<float>;

}  // namespace kelvar::fluid
