#include "kv_geometry/detail/PartOrientation.h"

#include <cmath>
#include <cstring>
#include <numeric>
#include <unordered_map>

namespace kelvar::detail {

namespace {

// Union-find over the mesh's distinct corner positions.
class Components {
public:
    explicit Components(uint32_t count) : parent(count) { std::iota(parent.begin(), parent.end(), 0u); }

    uint32_t find(uint32_t x) {
        while (parent[x] != x) {
            parent[x] = parent[parent[x]];
            x = parent[x];
        }
        return x;
    }
    void join(uint32_t a, uint32_t b) {
        a = find(a);
        b = find(b);
        if (a != b) parent[b] = a;
    }

private:
    std::vector<uint32_t> parent;
};

struct PositionKey {
    uint32_t bits[3];
    bool operator==(const PositionKey& other) const { return std::memcmp(bits, other.bits, sizeof bits) == 0; }
};

struct PositionHash {
    std::size_t operator()(const PositionKey& key) const {
        uint64_t h = key.bits[0];
        h = h * 0x9E3779B97F4A7C15ull ^ key.bits[1];
        h = h * 0x9E3779B97F4A7C15ull ^ key.bits[2];
        return std::size_t(h ^ (h >> 29));
    }
};

// The index of each vertex's position among the distinct positions.
std::vector<uint32_t> positionIds(const Mesh& mesh, uint32_t& distinct) {
    std::unordered_map<PositionKey, uint32_t, PositionHash> ids;
    ids.reserve(mesh.vertexCount());
    std::vector<uint32_t> out(mesh.vertexCount());
    for (uint32_t v = 0; v < mesh.vertexCount(); ++v) {
        // +0 and -0 name the same point.
        const Vector3<float> p = mesh.getVertices()[v] + Vector3<float>(0.0f, 0.0f, 0.0f);
        PositionKey key;
        std::memcpy(key.bits, &p.x, sizeof(float));
        std::memcpy(key.bits + 1, &p.y, sizeof(float));
        std::memcpy(key.bits + 2, &p.z, sizeof(float));
        out[v] = ids.emplace(key, uint32_t(ids.size())).first->second;
    }
    distinct = uint32_t(ids.size());
    return out;
}

bool indicesValid(const Mesh::Triangle& t, uint32_t vertices) {
    return t.first < vertices && t.second < vertices && t.third < vertices;
}

}  // namespace

std::vector<int8_t> partOrientations(const Mesh& mesh) {
    const uint32_t vertices = mesh.vertexCount();
    uint32_t distinct = 0;
    const std::vector<uint32_t> position = positionIds(mesh, distinct);
    Components parts(distinct);
    for (const Mesh::Triangle& t : mesh.getTriangles()) {
        if (!indicesValid(t, vertices)) continue;
        parts.join(position[t.first], position[t.second]);
        parts.join(position[t.first], position[t.third]);
    }

    // Signed volume of each part: the sum of the tetrahedra its faces span
    // with the origin.
    std::vector<double> volume(distinct, 0.0);
    const auto& p = mesh.getVertices();
    for (const Mesh::Triangle& t : mesh.getTriangles()) {
        if (!indicesValid(t, vertices)) continue;
        const Vector3<double> a(p[t.first].x, p[t.first].y, p[t.first].z);
        const Vector3<double> b(p[t.second].x, p[t.second].y, p[t.second].z);
        const Vector3<double> c(p[t.third].x, p[t.third].y, p[t.third].z);
        const double tetra = a.dot(b.cross(c));
        if (std::isfinite(tetra)) volume[parts.find(position[t.first])] += tetra;
    }

    std::vector<int8_t> orientation(mesh.triangleCount(), int8_t(1));
    for (uint32_t f = 0; f < mesh.triangleCount(); ++f) {
        const Mesh::Triangle& t = mesh.getTriangles()[f];
        if (indicesValid(t, vertices) && volume[parts.find(position[t.first])] < 0.0) orientation[f] = -1;
    }
    return orientation;
}

}  // namespace kelvar::detail
