#include "kv_geometry/MeshPrimitives.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <tuple>

namespace kelvar {

Mesh makeBoxMesh(const Box3<float>& box, unsigned divisions) {
    divisions = std::max(divisions, 1u);
    Mesh mesh;
    // Vertices are welded through their integer lattice coordinates on the box surface.
    std::map<std::tuple<unsigned, unsigned, unsigned>, uint32_t> welded;
    auto vertex = [&](unsigned a, unsigned b, unsigned c) {
        const auto key = std::make_tuple(a, b, c);
        const auto found = welded.find(key);
        if (found != welded.end()) return found->second;
        const Vector3<float> t(float(a) / float(divisions), float(b) / float(divisions), float(c) / float(divisions));
        Vector3<float> p = box.min + box.extent().mul(t);
        // A box wider than the float range has an infinite extent: its
        // corners come from the double-precision extent instead.
        for (unsigned axis = 0; axis < 3; ++axis)
            if (!std::isfinite(p[axis]) && std::isfinite(box.min[axis]) && std::isfinite(box.max[axis]))
                p[axis] = float(double(box.min[axis]) + (double(box.max[axis]) - double(box.min[axis])) * t[axis]);
        const uint32_t index = mesh.addVertex(p);
        welded.emplace(key, index);
        return index;
    };
    for (unsigned axis = 0; axis < 3; ++axis) {
        const unsigned u = (axis + 1) % 3;
        const unsigned v = (axis + 2) % 3;
        for (unsigned side = 0; side < 2; ++side) {
            for (unsigned i = 0; i < divisions; ++i)
                for (unsigned j = 0; j < divisions; ++j) {
                    uint32_t quad[4];
                    const unsigned corners[4][2] = {{i, j}, {i + 1, j}, {i + 1, j + 1}, {i, j + 1}};
                    for (unsigned c = 0; c < 4; ++c) {
                        unsigned p[3];
                        p[axis] = side * divisions;
                        p[u] = corners[c][0];
                        p[v] = corners[c][1];
                        quad[c] = vertex(p[0], p[1], p[2]);
                    }
                    // (u, v, axis) is right-handed: counter-clockwise in (u, v) faces +axis.
                    if (side == 1) {
                        mesh.addTriangle(quad[0], quad[1], quad[2]);
                        mesh.addTriangle(quad[0], quad[2], quad[3]);
                    } else {
                        mesh.addTriangle(quad[0], quad[2], quad[1]);
                        mesh.addTriangle(quad[0], quad[3], quad[2]);
                    }
                }
        }
    }
    mesh.workBox();
    return mesh;
}

Mesh makeSphereMesh(const Vector3<float>& centre, float radius, unsigned slices, unsigned stacks) {
    slices = std::max(slices, 3u);
    stacks = std::max(stacks, 2u);
    Mesh mesh;
    const uint32_t south = mesh.addVertex(centre - Vector3<float>(0, radius, 0));
    for (unsigned s = 1; s < stacks; ++s) {
        const double polar = std::numbers::pi * double(s) / double(stacks);
        for (unsigned m = 0; m < slices; ++m) {
            const double azimuth = 2.0 * std::numbers::pi * double(m) / double(slices);
            const Vector3<float> d(float(std::sin(polar) * std::cos(azimuth)), float(-std::cos(polar)),
                                   float(std::sin(polar) * std::sin(azimuth)));
            mesh.addVertex(centre + d * radius);
        }
    }
    const uint32_t north = mesh.addVertex(centre + Vector3<float>(0, radius, 0));
    auto ring = [&](unsigned s, unsigned m) { return 1 + (s - 1) * slices + m % slices; };
    // Looking from outside, azimuth grows clockwise about +y, so rings are
    // joined as (lower m, upper m + 1, upper m) for outward normals.
    for (unsigned m = 0; m < slices; ++m) mesh.addTriangle(south, ring(1, m), ring(1, m + 1));
    for (unsigned s = 1; s + 1 < stacks; ++s)
        for (unsigned m = 0; m < slices; ++m) {
            mesh.addTriangle(ring(s, m), ring(s + 1, m), ring(s + 1, m + 1));
            mesh.addTriangle(ring(s, m), ring(s + 1, m + 1), ring(s, m + 1));
        }
    for (unsigned m = 0; m < slices; ++m) mesh.addTriangle(ring(stacks - 1, m), north, ring(stacks - 1, m + 1));
    mesh.workBox();
    return mesh;
}

}  // namespace kelvar
