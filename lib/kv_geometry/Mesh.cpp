#include "kv_geometry/Mesh.h"

#include <algorithm>
#include <utility>

namespace kelvar {

namespace {

uint32_t elementCount(MeshAttributeDomain domain, uint32_t vertices, uint32_t triangles) {
    switch (domain) {
        case MeshAttributeDomain::Vertex: return vertices;
        case MeshAttributeDomain::Corner: return 3 * triangles;
        case MeshAttributeDomain::Face: return triangles;
    }
    return 0;
}

bool sameLayout(const MeshAttribute& a, const MeshAttribute& b) {
    return a.domain == b.domain && a.components == b.components && a.isInteger == b.isInteger;
}

void resizeAttribute(MeshAttribute& attribute, uint32_t tuples) {
    if (attribute.isInteger)
        attribute.uints.resize(tuples * attribute.components);
    else
        attribute.floats.resize(tuples * attribute.components);
}

// Appends `tuples` tuples taken from `source` (or zeros when it is null or has another layout).
void appendTuples(MeshAttribute& target, const MeshAttribute* source, uint32_t tuples) {
    const uint32_t start = target.tupleCount();
    resizeAttribute(target, start + tuples);
    if (!source || !sameLayout(target, *source)) return;
    const uint32_t values = tuples * target.components;
    const uint32_t offset = start * target.components;
    if (target.isInteger)
        std::copy(source->uints.begin(), source->uints.begin() + values, target.uints.begin() + offset);
    else
        std::copy(source->floats.begin(), source->floats.begin() + values, target.floats.begin() + offset);
}

float determinant3(const Matrix4<float>& m) {
    return m.m[0][0] * (m.m[1][1] * m.m[2][2] - m.m[1][2] * m.m[2][1]) -
           m.m[0][1] * (m.m[1][0] * m.m[2][2] - m.m[1][2] * m.m[2][0]) +
           m.m[0][2] * (m.m[1][0] * m.m[2][1] - m.m[1][1] * m.m[2][0]);
}

}  // namespace

uint32_t MeshAttribute::tupleCount() const {
    if (components == 0) return 0;
    return (isInteger ? uints.size() : floats.size()) / components;
}

void Mesh::clear() {
    vertices_.clear();
    triangles_.clear();
    attributes_.clear();
    boxValid_ = false;
}

uint32_t Mesh::addVertex(const Vector3<float>& p) {
    vertices_.push_back(p);
    boxValid_ = false;
    return vertices_.size() - 1;
}

void Mesh::addMesh(const Mesh& other) {
    if (&other == this) {
        const Mesh copy(other);
        addMesh(copy);
        return;
    }
    const uint32_t vertexOffset = vertices_.size();
    const uint32_t oldVertices = vertices_.size();
    const uint32_t oldTriangles = triangles_.size();
    syncAttributeSizes();
    for (const MeshAttribute& theirs : other.attributes_)
        if (!findAttribute(theirs.name)) addAttribute(theirs.name, theirs.domain, theirs.components, theirs.isInteger);

    vertices_.reserve(oldVertices + other.vertices_.size());
    for (const Vector3<float>& v : other.vertices_) vertices_.push_back(v);
    triangles_.reserve(oldTriangles + other.triangles_.size());
    for (const Triangle& t : other.triangles_)
        triangles_.push_back({t.first + vertexOffset, t.second + vertexOffset, t.third + vertexOffset});

    for (MeshAttribute& mine : attributes_) {
        const MeshAttribute* theirs = other.findAttribute(mine.name);
        const uint32_t tuples = elementCount(mine.domain, other.vertices_.size(), other.triangles_.size());
        if (theirs && theirs->tupleCount() < tuples) theirs = nullptr;  // malformed: zero-fill instead
        appendTuples(mine, theirs, tuples);
    }
    if (boxValid_ && other.boxValid_) {
        box_.expand(other.box_.min);
        box_.expand(other.box_.max);
    } else {
        boxValid_ = false;
    }
}

MeshAttribute* Mesh::addAttribute(const KV_String& name, MeshAttributeDomain domain, uint32_t components,
                                  bool isInteger) {
    if (components == 0) return nullptr;
    if (MeshAttribute* existing = findAttribute(name)) {
        MeshAttribute wanted;
        wanted.domain = domain;
        wanted.components = components;
        wanted.isInteger = isInteger;
        return sameLayout(*existing, wanted) ? existing : nullptr;
    }
    MeshAttribute attribute;
    attribute.name = name;
    attribute.domain = domain;
    attribute.components = components;
    attribute.isInteger = isInteger;
    resizeAttribute(attribute, elementCount(domain, vertices_.size(), triangles_.size()));
    attributes_.push_back(std::move(attribute));
    return &attributes_.back();
}

MeshAttribute* Mesh::findAttribute(const KV_String& name) {
    for (MeshAttribute& a : attributes_)
        if (a.name == name) return &a;
    return nullptr;
}

const MeshAttribute* Mesh::findAttribute(const KV_String& name) const {
    for (const MeshAttribute& a : attributes_)
        if (a.name == name) return &a;
    return nullptr;
}

bool Mesh::removeAttribute(const KV_String& name) {
    for (uint32_t i = 0; i < attributes_.size(); ++i) {
        if (attributes_[i].name != name) continue;
        for (uint32_t j = i + 1; j < attributes_.size(); ++j) std::swap(attributes_[j - 1], attributes_[j]);
        attributes_.pop_back();
        return true;
    }
    return false;
}

void Mesh::syncAttributeSizes() {
    for (MeshAttribute& a : attributes_)
        resizeAttribute(a, elementCount(a.domain, vertices_.size(), triangles_.size()));
}

void Mesh::workBox() {
    boxValid_ = !vertices_.empty();
    if (!boxValid_) {
        box_ = Box3<float>();
        return;
    }
    box_ = Box3<float>(vertices_[0], vertices_[0]);
    for (const Vector3<float>& v : vertices_) box_.expand(v);
}

void Mesh::transform(const Matrix4<float>& matrix) {
    for (Vector3<float>& v : vertices_) v = matrix.transformPoint(v);
    boxValid_ = false;

    const Matrix4<float> normalMatrix = matrix.inverse().transposed();
    for (MeshAttribute& a : attributes_) {
        if (a.isInteger || a.components != 3 || a.domain != MeshAttributeDomain::Vertex) continue;
        const bool isVelocity = a.name == kVelocity;
        if (!isVelocity && a.name != kNormal) continue;
        for (uint32_t i = 0; i + 2 < a.floats.size(); i += 3) {
            Vector3<float> v(a.floats[i], a.floats[i + 1], a.floats[i + 2]);
            if (isVelocity) {
                v = matrix.transformVector(v);
            } else {
                v = normalMatrix.transformVector(v);
                const float length = v.length();
                if (length > 0.0f) v /= length;
            }
            a.floats[i] = v.x;
            a.floats[i + 1] = v.y;
            a.floats[i + 2] = v.z;
        }
    }

    if (determinant3(matrix) >= 0.0f) return;
    // A mirror turns the winding inside out: swap two corners of every
    // triangle, and the matching corner values.
    for (uint32_t f = 0; f < triangles_.size(); ++f) {
        std::swap(triangles_[f].second, triangles_[f].third);
        for (MeshAttribute& a : attributes_) {
            if (a.domain != MeshAttributeDomain::Corner || a.tupleCount() < 3 * triangles_.size()) continue;
            for (uint32_t c = 0; c < a.components; ++c) {
                const uint32_t second = (3 * f + 1) * a.components + c;
                const uint32_t third = (3 * f + 2) * a.components + c;
                if (a.isInteger)
                    std::swap(a.uints[second], a.uints[third]);
                else
                    std::swap(a.floats[second], a.floats[third]);
            }
        }
    }
}

double Mesh::area() const {
    double sum = 0.0;
    for (const Triangle& t : triangles_) {
        const Vector3<float>& a = vertices_[t.first];
        const Vector3<float>& b = vertices_[t.second];
        const Vector3<float>& c = vertices_[t.third];
        const Vector3<double> e1(b.x - a.x, b.y - a.y, b.z - a.z);
        const Vector3<double> e2(c.x - a.x, c.y - a.y, c.z - a.z);
        sum += 0.5 * e1.cross(e2).length();
    }
    return sum;
}

double Mesh::volume() const {
    double sum = 0.0;
    for (const Triangle& t : triangles_) {
        const Vector3<double> a(vertices_[t.first].x, vertices_[t.first].y, vertices_[t.first].z);
        const Vector3<double> b(vertices_[t.second].x, vertices_[t.second].y, vertices_[t.second].z);
        const Vector3<double> c(vertices_[t.third].x, vertices_[t.third].y, vertices_[t.third].z);
        sum += a.dot(b.cross(c));
    }
    return sum / 6.0;
}

}  // namespace kelvar
