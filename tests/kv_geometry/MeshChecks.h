#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

#include "kv_geometry/Mesh.h"

namespace kelvar::test {

// Topology summary of a triangle mesh: how many undirected edges are not
// shared by exactly two triangles, how many directed edges occur more than
// once (two neighbours wound the same way), and how many triangles repeat a
// vertex or have zero area.
struct Topology {
    uint32_t openOrNonManifoldEdges = 0;
    uint32_t repeatedDirectedEdges = 0;
    uint32_t degenerateTriangles = 0;
    bool closedAndConsistent() const { return openOrNonManifoldEdges == 0 && repeatedDirectedEdges == 0; }
};

inline Topology checkTopology(const Mesh& mesh) {
    Topology result;
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> directed;
    const auto& p = mesh.getVertices();
    for (const Mesh::Triangle& t : mesh.getTriangles()) {
        const uint32_t v[3] = {t.first, t.second, t.third};
        if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2] ||
            (p[v[1]] - p[v[0]]).cross(p[v[2]] - p[v[0]]).lengthSquared() == 0.0f)
            ++result.degenerateTriangles;
        for (int e = 0; e < 3; ++e) ++directed[{v[e], v[(e + 1) % 3]}];
    }
    for (const auto& [edge, count] : directed) {
        if (count > 1) ++result.repeatedDirectedEdges;
        const auto reverse = directed.find({edge.second, edge.first});
        if (count != 1 || reverse == directed.end() || reverse->second != 1) ++result.openOrNonManifoldEdges;
    }
    return result;
}

// Element-wise equality of two arrays.
template <class T>
bool sameElements(const Array<T>& a, const Array<T>& b) {
    return std::ranges::equal(a, b);
}

}  // namespace kelvar::test
