#include "kv_geometry/detail/CubeTetrahedra.h"

#include <algorithm>
#include <utility>

#include "kv_math/Vector3.h"

namespace kelvar::detail {

namespace {

using V = Vector3<int>;

V cornerPosition(unsigned corner) { return {int(corner & 1), int((corner >> 1) & 1), int((corner >> 2) & 1)}; }

int orientation(const V& a, const V& b, const V& c, const V& d) { return (b - a).cross(c - a).dot(d - a); }

// The two corners (tetrahedron-local) joined by each tetrahedron edge.
constexpr uint8_t kTetEdgeCorners[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};

int tetEdgeOf(unsigned a, unsigned b) {
    for (int e = 0; e < 6; ++e)
        if ((kTetEdgeCorners[e][0] == a && kTetEdgeCorners[e][1] == b) ||
            (kTetEdgeCorners[e][0] == b && kTetEdgeCorners[e][1] == a))
            return e;
    return -1;
}

// Builds the triangles of one sign mask on the reference tetrahedron (origin
// and the three unit points) with crossings at edge midpoints, and winds each
// one so that its normal points towards the corners above the iso value.
CubeTetrahedra::Case buildCase(unsigned mask) {
    static const V kReference[4] = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}};
    unsigned below[4];
    unsigned above[4];
    unsigned nBelow = 0;
    unsigned nAbove = 0;
    for (unsigned c = 0; c < 4; ++c) {
        if (mask & (1u << c))
            below[nBelow++] = c;
        else
            above[nAbove++] = c;
    }
    CubeTetrahedra::Case result;
    if (nBelow == 0 || nAbove == 0) return result;

    int polygon[4];
    unsigned corners = 0;
    if (nBelow == 1 || nAbove == 1) {
        const unsigned apex = nBelow == 1 ? below[0] : above[0];
        for (unsigned c = 0; c < 4; ++c)
            if (c != apex) polygon[corners++] = tetEdgeOf(apex, c);
    } else {
        // Two below (a, b) and two above (c, d): the crossings form the cycle ac, ad, bd, bc.
        polygon[0] = tetEdgeOf(below[0], above[0]);
        polygon[1] = tetEdgeOf(below[0], above[1]);
        polygon[2] = tetEdgeOf(below[1], above[1]);
        polygon[3] = tetEdgeOf(below[1], above[0]);
        corners = 4;
    }

    V towardsAbove{};
    for (unsigned i = 0; i < nAbove; ++i) towardsAbove += kReference[above[i]] * int(nBelow);
    for (unsigned i = 0; i < nBelow; ++i) towardsAbove -= kReference[below[i]] * int(nAbove);
    auto midpoint = [](int edge) {
        return kReference[kTetEdgeCorners[edge][0]] + kReference[kTetEdgeCorners[edge][1]];
    };
    for (unsigned t = 0; t + 2 < corners; ++t) {
        uint8_t* tri = result.edges[result.triangleCount++];
        tri[0] = uint8_t(polygon[0]);
        tri[1] = uint8_t(polygon[t + 1]);
        tri[2] = uint8_t(polygon[t + 2]);
        const V a = midpoint(tri[0]);
        const V normal = (midpoint(tri[1]) - a).cross(midpoint(tri[2]) - a);
        if (normal.dot(towardsAbove) < 0) std::swap(tri[1], tri[2]);
    }
    return result;
}

}  // namespace

const CubeTetrahedra& CubeTetrahedra::instance() {
    static const CubeTetrahedra tables;
    return tables;
}

CubeTetrahedra::CubeTetrahedra() {
    static constexpr uint8_t kOffsets[kDirections][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0},
                                                         {1, 0, 1}, {0, 1, 1}, {1, 1, 1}};
    for (unsigned d = 0; d < kDirections; ++d)
        directionOffset[d] = {kOffsets[d][0], kOffsets[d][1], kOffsets[d][2]};

    // Every monotone corner pair whose offset is one of the seven directions
    // and which the diagonal split uses: all pairs (u, v) with u a subset of v
    // and (u, v) on a path 0 -> one axis -> two axes -> 7.
    unsigned edgeCount = 0;
    for (unsigned u = 0; u < 8; ++u)
        for (unsigned v = 0; v < 8; ++v) {
            if (u == v || (u & v) != u) continue;
            const unsigned delta = v & ~u;
            const uint8_t offset[3] = {uint8_t(delta & 1), uint8_t((delta >> 1) & 1), uint8_t((delta >> 2) & 1)};
            unsigned d = 0;
            while (!std::equal(offset, offset + 3, kOffsets[d])) ++d;
            edgeCorners[edgeCount] = {uint8_t(u), uint8_t(v)};
            edgeDirection[edgeCount] = uint8_t(d);
            ++edgeCount;
        }
    // Pairs with u a subset of v number exactly 19: 12 cube edges, 6 face
    // diagonals from the lower corner of each face, and the main diagonal.

    const uint8_t axisBit[3] = {1, 2, 4};
    const unsigned permutations[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    for (unsigned t = 0; t < kTetrahedra; ++t) {
        const unsigned* p = permutations[t];
        std::array<uint8_t, 4> c = {0, axisBit[p[0]], uint8_t(axisBit[p[0]] | axisBit[p[1]]), 7};
        if (orientation(cornerPosition(c[0]), cornerPosition(c[1]), cornerPosition(c[2]), cornerPosition(c[3])) < 0)
            std::swap(c[1], c[2]);
        tetCorners[t] = c;
        for (unsigned e = 0; e < 6; ++e) {
            uint8_t a = c[kTetEdgeCorners[e][0]];
            uint8_t b = c[kTetEdgeCorners[e][1]];
            if ((a & b) != a) std::swap(a, b);
            for (unsigned ce = 0; ce < kCubeEdges; ++ce)
                if (edgeCorners[ce][0] == a && edgeCorners[ce][1] == b) tetEdges[t][e] = uint8_t(ce);
        }
    }
    for (unsigned mask = 0; mask < 16; ++mask) cases[mask] = buildCase(mask);
}

}  // namespace kelvar::detail
