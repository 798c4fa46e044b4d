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
#include "kv_fluids_dyn/lattice/internal/LBM_Q19_Regularised.h"
#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_math/internal/Float4.h"

namespace kelvar::fluid {

namespace {

using q19::kDirectionCount;
using q19::kOpposite;
using q19::kVelocity;
using q19::kWeight;

using namespace q19::regularised;

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
