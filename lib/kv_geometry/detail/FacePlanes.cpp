#include "kv_geometry/detail/FacePlanes.h"

namespace kelvar {

namespace {

// Planes of a degenerate triangle: distance 1 everywhere, so nothing is inside.
constexpr Plane3f kNowhere{{0.0f, 0.0f, 0.0f}, 1.0f};

const MeshAttribute* uvAttribute(const Mesh& mesh) {
    const MeshAttribute* uv = mesh.findAttribute(Mesh::kUvMap);
    if (!uv || uv->isInteger || uv->components != 2 || uv->domain == MeshAttributeDomain::Face) return nullptr;
    const uint32_t needed =
        uv->domain == MeshAttributeDomain::Corner ? 3 * mesh.triangleCount() : mesh.vertexCount();
    return uv->tupleCount() >= needed ? uv : nullptr;
}

}  // namespace

void buildFacePlanes(const Mesh& mesh, Array<FacePlanes>& out) {
    out.clear();
    out.reserve(mesh.triangleCount());
    const MeshAttribute* uv = uvAttribute(mesh);
    const auto& p = mesh.getVertices();
    for (uint32_t f = 0; f < mesh.triangleCount(); ++f) {
        const Mesh::Triangle& t = mesh.getTriangles()[f];
        FacePlanes planes;
        if (uv)
            for (unsigned c = 0; c < 3; ++c)
                planes.uvIndex[c] = uv->domain == MeshAttributeDomain::Corner ? 3 * f + c : t[c];
        const bool valid = t.first < mesh.vertexCount() && t.second < mesh.vertexCount() && t.third < mesh.vertexCount();
        const Vector3<float> n = valid ? (p[t.second] - p[t.first]).cross(p[t.third] - p[t.first]) : Vector3<float>();
        const float length = n.length();
        if (!(length > 0.0f)) {
            planes.face = kNowhere;
            for (Plane3f& e : planes.edges) e = kNowhere;
            out.push_back(planes);
            continue;
        }
        planes.face.normal = n / length;
        planes.face.d = -planes.face.normal.dot(p[t.first]);
        for (unsigned e = 0; e < 3; ++e) {
            const Vector3<float>& a = p[t[e]];
            const Vector3<float>& b = p[t[(e + 1) % 3]];
            // For counter-clockwise corners, (b - a) x n points away from the triangle.
            Vector3<float> outward = (b - a).cross(planes.face.normal);
            outward /= outward.length();
            planes.edges[e] = {outward, -outward.dot(a)};
        }
        out.push_back(planes);
    }
}

Vector3<float> barycentric(const Mesh& mesh, uint32_t f, const Vector3<float>& p) {
    const Mesh::Triangle& t = mesh.getTriangles()[f];
    if (t.first >= mesh.vertexCount() || t.second >= mesh.vertexCount() || t.third >= mesh.vertexCount()) return {};
    const Vector3<float>& a = mesh.getVertices()[t.first];
    const Vector3<float> e1 = mesh.getVertices()[t.second] - a;
    const Vector3<float> e2 = mesh.getVertices()[t.third] - a;
    const Vector3<float> n = e1.cross(e2);
    const float area2 = n.lengthSquared();
    if (!(area2 > 0.0f)) return {};
    const Vector3<float> q = p - a;
    const float u = q.cross(e2).dot(n) / area2;  // weight of corner 1
    const float v = e1.cross(q).dot(n) / area2;  // weight of corner 2
    return {1.0f - u - v, u, v};
}

bool interpolateUv(const Mesh& mesh, const FacePlanes& planes, uint32_t f, const Vector3<float>& p,
                   Vector2<float>& uv) {
    const MeshAttribute* attribute = uvAttribute(mesh);
    if (!attribute || planes.uvIndex[0] == FacePlanes::kNoUv) return false;
    const Vector3<float> w = barycentric(mesh, f, p);
    uv = Vector2<float>();
    for (unsigned c = 0; c < 3; ++c) {
        const uint32_t i = planes.uvIndex[c];
        uv = uv + Vector2<float>(attribute->floats[2 * i], attribute->floats[2 * i + 1]) * w[c];
    }
    return true;
}

}  // namespace kelvar
