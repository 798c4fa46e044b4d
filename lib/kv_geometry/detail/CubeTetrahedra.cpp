#include "kv_geometry/detail/CubeTetrahedra.h"

#include <utility>

#include "kv_math/Vector3.h"

namespace kelvar::detail {

namespace {

using V = Vector3<int>;

V cornerPosition(unsigned corner) { return {int(corner & 1), int((corner >> 1) & 1), int((corner >> 2) & 1)}; }

int orientation(const V& a, const V& b, const V& c, const V& d) { return (b - a).cross(c - a).dot(d - a); }

int tetEdgeOf(unsigned a, unsigned b) {
    for (int e = 0; e < 6; ++e)
        if ((CubeTetrahedra::kEdgeCorners[e][0] == a && CubeTetrahedra::kEdgeCorners[e][1] == b) ||
            (CubeTetrahedra::kEdgeCorners[e][0] == b && CubeTetrahedra::kEdgeCorners[e][1] == a))
            return e;
    return -1;
}

// The slot and owner of the edge between two cube corners: the axes in
// which they differ give the slot, the lower coordinates the owner.
CubeTetrahedra::EdgeRef edgeRef(unsigned u, unsigned v) {
    static constexpr uint8_t kSlotOfAxes[8] = {0,
                                               CubeTetrahedra::kAxisX,
                                               CubeTetrahedra::kAxisY,
                                               CubeTetrahedra::kSquareXY,
                                               CubeTetrahedra::kAxisZ,
                                               CubeTetrahedra::kSquareXZ,
                                               CubeTetrahedra::kSquareYZ,
                                               CubeTetrahedra::kBody};
    return {kSlotOfAxes[u ^ v], uint8_t(u & v)};
}

// Builds the triangles of one sign mask on a reference tetrahedron with
// crossings at edge midpoints, and winds each one so that its normal points
// towards the corners above the iso value.
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
        return kReference[CubeTetrahedra::kEdgeCorners[edge][0]] + kReference[CubeTetrahedra::kEdgeCorners[edge][1]];
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
    // The standard split: paths 0 -> one axis -> two axes -> 7, one per axis order.
    const uint8_t axisBit[3] = {1, 2, 4};
    const unsigned orders[kTetrahedra][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    for (unsigned m = 0; m < kVariants; ++m) {
        for (unsigned t = 0; t < kTetrahedra; ++t) {
            const unsigned* o = orders[t];
            std::array<uint8_t, 4> c = {0, axisBit[o[0]], uint8_t(axisBit[o[0]] | axisBit[o[1]]), 7};
            for (uint8_t& corner : c) corner = uint8_t(corner ^ m);
            if (orientation(cornerPosition(c[0]), cornerPosition(c[1]), cornerPosition(c[2]), cornerPosition(c[3])) < 0)
                std::swap(c[1], c[2]);
            variants[m].corners[t] = c;
            for (unsigned e = 0; e < 6; ++e)
                variants[m].edges[t][e] = edgeRef(c[kEdgeCorners[e][0]], c[kEdgeCorners[e][1]]);
        }
    }
    for (unsigned mask = 0; mask < 16; ++mask) cases[mask] = buildCase(mask);
}

}  // namespace kelvar::detail
