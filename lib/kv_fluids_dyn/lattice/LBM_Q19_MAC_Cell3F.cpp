#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {

namespace {

using q19::kDirectionCount;
using q19::kFreeSlip;
using q19::kNone;
using q19::kOpposite;
using q19::kVelocity;
using q19::kWeight;

// Neighbour averages read entries 0 to 17 only; entry 18 is left out.
constexpr unsigned int kAveragedEntries = 18;
// getVelocityAtFreeSlipCell looks at the six axis neighbours.
constexpr unsigned int kAxisCount = 6;
constexpr float kGasDensity = 1.0f;
constexpr float kMovingWallScale = 6.0f;
constexpr float kMaxMass = 1.0f;

// Columns of a free-slip table row.
constexpr unsigned int kSlipFirstAxis = 0;
constexpr unsigned int kSlipSecondAxis = 1;
constexpr unsigned int kSlipMirrorAcrossSecond = 2;
constexpr unsigned int kSlipMirrorAcrossFirst = 3;
constexpr unsigned int kSlipFirstMirror = 4;

// Mirror row used for each axis direction: a negative axis mirrors across the
// same plane as its positive counterpart.
constexpr const unsigned int* kMirrorOfAxis[kAxisCount + 1] = {
    nullptr, q19::kMirrorX, q19::kMirrorY, q19::kMirrorX, q19::kMirrorY, q19::kMirrorZ, q19::kMirrorZ,
};

// Momentum a wall moving at u adds to direction k: 6 w_k (c_k . u).
inline float movingWallTerm(unsigned int k, const Vector3<float>& u) {
    return kMovingWallScale * kWeight[k] * kVelocity[k].dot(u);
}

inline float wallFactorOf(const LBM_Cell3<float>* solid) {
    return static_cast<float>(static_cast<const LBM_SolidCell3<float>*>(solid)->getWallFactor());
}

inline LBM_FluidCell3<float>* asLiquid(LBM_Cell3<float>* cell) {
    return static_cast<LBM_FluidCell3<float>*>(cell);
}

}  // namespace

LBM_Q19_MAC_Cell3F::LBM_Q19_MAC_Cell3F() : reconstructBits(kDirectionCount) {}

LBM_Q19_MAC_Cell3F::~LBM_Q19_MAC_Cell3F() = default;

void LBM_Q19_MAC_Cell3F::stream(std::vector<LBM_Cell3<float>*>&) {}

const LBM_Q19_Cell3Weights<float>& LBM_Q19_MAC_Cell3F::getWeights() const {
    return *LBM_Q19_Cell3Weights<float>::shared();
}

void LBM_Q19_MAC_Cell3F::setEmpty() {
    type = LBM_CELL_EMPTY;
    velocity = Vector3<float>();
    density = 0.0f;
    mass = 0.0f;
    epsilon = 0.0f;
}

void LBM_Q19_MAC_Cell3F::updateEpsilon() {
    epsilon = mass / density;
}

void LBM_Q19_MAC_Cell3F::streamPassFluid(const Neighbours& neighbours) {
    // Distributions that would come from a missing cell or a drain are rebuilt.
    reconstructBits.clearAll();
    for (unsigned int i = 1; i < kDirectionCount; ++i) {
        const LBM_Cell3<float>* n = neighbours[i];
        if (n == nullptr || n->isSink()) reconstructBits.set(kOpposite[i]);
    }

    // Each link is swapped once, from the cell on its negative side. Liquid
    // neighbours are cells of this class: their slots are read directly.
    for (const unsigned int s : q19::kStreamIndex) {
        LBM_Cell3<float>* n = neighbours[s];
        if (n == nullptr || !n->isFluid()) continue;
        float& theirs = static_cast<LBM_Q19_MAC_Cell3F*>(n)->pdfs[kOpposite[s]];
        const float incoming = theirs;
        theirs = pdfs[s];
        pdfs[s] = incoming;
    }
}

void LBM_Q19_MAC_Cell3F::streamPassSolid(const Neighbours& neighbours) {
    for (unsigned int d = 0; d < neighbours.size(); ++d) {
        const LBM_Cell3<float>* wall = neighbours[d];
        if (wall == nullptr || !wall->isSolid()) continue;

        if (d < q19::kFirstDiagonal) {
            pdfs[d] += movingWallTerm(kOpposite[d], wall->getVelocity());
            continue;
        }

        const unsigned int* row = kFreeSlip[d];
        const unsigned int a = row[kSlipFirstAxis];
        const unsigned int b = row[kSlipSecondAxis];
        const LBM_Cell3<float>* sideA = neighbours[a];
        const LBM_Cell3<float>* sideB = neighbours[b];
        if (sideA == nullptr || sideB == nullptr) {
            reconstructBits.set(kOpposite[d]);
        } else if (sideA->isSolid() && sideB->isSolid()) {
            pdfs[d] += movingWallTerm(kOpposite[d], wall->getVelocity());
        } else if (!sideA->isSolid()) {
            const bool hasMirror = row[kSlipFirstMirror] != kNone;
            if (sideB->isSolid() && hasMirror && sideA->isFluid())
                streamFreeSlipPdfs(neighbours, d, b, a, row[kSlipMirrorAcrossFirst]);
        } else if (row[kSlipFirstMirror] == 0 && sideB->isFluid()) {
            streamFreeSlipPdfs(neighbours, d, a, b, row[kSlipMirrorAcrossSecond]);
        }
    }
}

void LBM_Q19_MAC_Cell3F::streamFreeSlipPdfs(const Neighbours& neighbours, const unsigned& d,
                                            const unsigned& wallAxis, const unsigned& fluidAxis,
                                            const unsigned& m) {
    const LBM_Cell3<float>* diagonalWall = neighbours[d];
    const LBM_Cell3<float>* sideWall = neighbours[wallAxis];
    LBM_FluidCell3<float>* liquid = asLiquid(neighbours[fluidAxis]);

    const float own = pdfs[d];
    const float theirs = liquid->getPdfAt(m);
    const float sideFactor = wallFactorOf(sideWall);
    const float diagonalFactor = wallFactorOf(diagonalWall);

    liquid->setPdfAt(m, (1.0f - sideFactor) * own +
                            (theirs + movingWallTerm(kOpposite[m], sideWall->getVelocity())) * sideFactor);
    pdfs[d] = (movingWallTerm(kOpposite[d], diagonalWall->getVelocity()) + own) * diagonalFactor +
              (1.0f - diagonalFactor) * theirs;
}

void LBM_Q19_MAC_Cell3F::massExchange(const Neighbours& neighbours) {
    for (unsigned int i = 1; i < kDirectionCount; ++i) {
        LBM_Cell3<float>* n = neighbours[i];
        if (n == nullptr) continue;

        if (n->getType() == LBM_CELL_FLUID) {
            mass += asLiquid(n)->getPdfAt(i) - pdfs[kOpposite[i]];
        } else if (n->getType() == LBM_CELL_INTERFACE) {
            const LBM_Q19_MAC_Cell3F* surface = static_cast<const LBM_Q19_MAC_Cell3F*>(n);
            mass += ((surface->epsilon + epsilon) * 0.5f) * (surface->getPdfAt(i) - pdfs[kOpposite[i]]);
        }

        // Clamped after every existing neighbour, not once at the end.
        if (mass < 0.0f)
            mass = 0.0f;
        else if (mass > kMaxMass)
            mass = kMaxMass;
    }
}

void LBM_Q19_MAC_Cell3F::reconstructPdfs(const Neighbours&) {
    float before[kDirectionCount];
    for (unsigned int i = 0; i < kDirectionCount; ++i) before[i] = pdfs[i];

    // Rebuilt from the gas equilibrium (cell velocity, unit density); every
    // formula reads the copy, so earlier writes do not feed later ones.
    for (unsigned int i = 1; i < kDirectionCount; ++i) {
        if (!reconstructBits.test(i)) continue;
        const unsigned int o = kOpposite[i];
        if (reconstructBits.test(o))
            pdfs[o] = calcFeq(i);
        else
            pdfs[o] = calcFeq(o) + calcFeq(i) - before[o];
    }
}

void LBM_Q19_MAC_Cell3F::addDensity(const float& amount, const unsigned int& count) {
    const float rhoOld = density;
    const float rhoNew = amount / static_cast<float>(count) + rhoOld;
    // calcFeq(i, rho, velocity) term by term, with u.u and c_i.u taken once
    // for both densities.
    const float uu = velocity.dot(velocity);
    density = 0.0f;
    for (unsigned int i = 0; i < kDirectionCount; ++i) {
        const float cu = kVelocity[i].dot(velocity);
        const float feqNew = kWeight[i] * (((rhoNew - 1.5f * uu) + 3.0f * cu) + 4.5f * cu * cu);
        const float feqOld = kWeight[i] * (((rhoOld - 1.5f * uu) + 3.0f * cu) + 4.5f * cu * cu);
        pdfs[i] = pdfs[i] * (feqNew / feqOld);
        density += pdfs[i];
    }
}

void LBM_Q19_MAC_Cell3F::interpolateCellValues(const Neighbours& neighbours, float& avgDensity,
                                               Vector3<float>& avgVelocity) const {
    averageLiquid(neighbours.data(), MAC_FLAG_NEW_INTERFACE, avgDensity, avgVelocity);
}

void LBM_Q19_MAC_Cell3F::interpolateCellValuesSolid(const std::vector<LBM_Cell3<float>*>& cells, float& avgDensity,
                                                    Vector3<float>& avgVelocity) const {
    averageLiquid(cells.data(), MAC_FLAG_BIT9, avgDensity, avgVelocity);
}

bool LBM_Q19_MAC_Cell3F::getVelocityAtFreeSlipCell(const std::vector<LBM_Q19_MAC_Cell3F*>& cells,
                                                   const Vector3<float>& direction, Vector3<float>& result) const {
    const LBM_Q19_MAC_Cell3F* chosen = nullptr;
    unsigned int chosenAxis = 0;
    float bestAlignment = 0.0f;
    for (unsigned int k = 0; k < kAxisCount; ++k) {
        const LBM_Q19_MAC_Cell3F* cell = cells[k];
        if (cell == nullptr || !cell->isFluid()) continue;
        const unsigned int axis = k + 1;
        const float alignment = kVelocity[axis].dot(direction);
        if (alignment > bestAlignment) {
            bestAlignment = alignment;
            chosen = cell;
            chosenAxis = axis;
        }
    }
    if (chosen == nullptr) return false;

    const unsigned int* mirror = kMirrorOfAxis[chosenAxis];
    float mirrored[kDirectionCount];
    for (unsigned int i = 0; i < kDirectionCount; ++i) mirrored[i] = chosen->pdfs[mirror[i]];
    result = velocityOf(mirrored);
    return true;
}

void LBM_Q19_MAC_Cell3F::averageLiquid(LBM_Cell3<float>* const* cells, unsigned short excluded, float& avgDensity,
                                       Vector3<float>& avgVelocity) {
    unsigned int count = 0;
    for (unsigned int k = 0; k < kAveragedEntries; ++k) {
        const LBM_Cell3<float>* cell = cells[k];
        if (cell == nullptr || !cell->isFluid()) continue;
        const LBM_Q19_MAC_Cell3F* liquid = static_cast<const LBM_Q19_MAC_Cell3F*>(cell);
        if (liquid->flags.test(excluded)) continue;
        avgDensity += liquid->density;
        avgVelocity += liquid->getVelocity();
        ++count;
    }

    if (count > 0) {
        avgDensity = avgDensity / static_cast<float>(count);
        avgVelocity = avgVelocity * (1.0f / static_cast<float>(count));
    } else {
        avgDensity = kGasDensity;
        avgVelocity = Vector3<float>();
    }
}

}  // namespace kelvar::fluid
