#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"
#include "kv_basic/KV_String.h"
#include "kv_basic/Tuple.h"
#include "kv_math/Box3.h"
#include "kv_math/Matrix4.h"
#include "kv_math/Transform3Rts.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// Where the values of a mesh attribute live.
enum class MeshAttributeDomain : uint8_t {
    Vertex,  // one tuple per vertex
    Corner,  // one tuple per triangle corner, 3 * f + c for corner c of triangle f
    Face,    // one tuple per triangle
};

// A named array of per-vertex, per-corner or per-face values with a fixed
// number of components. Values are either floats or unsigned 32-bit integers
// (ids must survive unrounded); only the array matching `isInteger` is used.
struct KV_EXPORT MeshAttribute {
    KV_String name;
    MeshAttributeDomain domain = MeshAttributeDomain::Vertex;
    uint32_t components = 1;
    bool isInteger = false;
    Array<float> floats;
    Array<uint32_t> uints;

    // Number of tuples stored.
    uint32_t tupleCount() const;
};

// A triangle mesh: vertex positions, triangles as vertex index triples,
// named attributes, a 32-bit id (used to tell sinks of different meshes
// apart) and a cached bounding box.
//
// The attribute names the fluid library reads are kUvMap ("UV_MAP_0", two
// floats per corner), kMeshId ("MESH_ID", one integer per face) and
// kVelocity ("Velocity", three floats per vertex). Triangles are wound so
// that (b - a) x (c - a) points outwards. The box is only valid after
// workBox() and becomes invalid whenever vertices are changed through the
// mesh's own operations.
class KV_EXPORT Mesh {
public:
    static constexpr const char* kUvMap = "UV_MAP_0";
    static constexpr const char* kMeshId = "MESH_ID";
    static constexpr const char* kVelocity = "Velocity";
    static constexpr const char* kNormal = "Normal";

    using Triangle = Tuple3<uint32_t>;

    void clear();
    void copyFrom(const Mesh& other) { *this = other; }

    // Appends the other mesh's vertices, triangles and attributes. An
    // attribute present on one side only is kept and zero-filled for the
    // elements of the side that lacks it; attributes sharing a name but not
    // a layout keep this mesh's layout and are zero-filled for the other's part.
    void addMesh(const Mesh& other);

    uint32_t addVertex(const Vector3<float>& p);
    void addTriangle(uint32_t a, uint32_t b, uint32_t c) { triangles_.push_back({a, b, c}); }

    Array<Vector3<float>>& refVertices() { boxValid_ = false; return vertices_; }
    const Array<Vector3<float>>& getVertices() const { return vertices_; }
    Array<Triangle>& refTriangles() { return triangles_; }
    const Array<Triangle>& getTriangles() const { return triangles_; }
    uint32_t vertexCount() const { return vertices_.size(); }
    uint32_t triangleCount() const { return triangles_.size(); }

    // Adds an attribute, or returns the existing one of that name when its
    // layout matches (nullptr when it does not). New attributes are sized to
    // the current element count and zero-filled.
    MeshAttribute* addAttribute(const KV_String& name, MeshAttributeDomain domain, uint32_t components, bool isInteger);
    MeshAttribute* findAttribute(const KV_String& name);
    const MeshAttribute* findAttribute(const KV_String& name) const;
    bool removeAttribute(const KV_String& name);
    const Array<MeshAttribute>& getAttributes() const { return attributes_; }

    // Resizes every attribute to the current vertex and triangle counts.
    void syncAttributeSizes();

    uint32_t getId() const { return id_; }
    void setId(uint32_t id) { id_ = id; }

    // Recomputes the bounding box from the vertices (an empty mesh gets an
    // invalid box).
    void workBox();
    const Box3<float>& getBox() const { return box_; }
    bool isBoxValid() const { return boxValid_; }

    // Moves every vertex by the matrix (affine). "Velocity" vectors are
    // transformed by its linear part and "Normal" vectors by the inverse
    // transpose, renormalised. A mirroring transform (negative determinant)
    // reverses the winding so that triangles keep facing outwards.
    void transform(const Matrix4<float>& matrix);
    void transformRts(const Transform3Rts<float>& rts) { transform(rts.getMatrix()); }

    // Sum of the triangle areas and signed enclosed volume (positive for a
    // closed outward-wound mesh).
    double area() const;
    double volume() const;

private:
    Array<Vector3<float>> vertices_;
    Array<Triangle> triangles_;
    Array<MeshAttribute> attributes_;
    Box3<float> box_{};
    uint32_t id_ = 0;
    bool boxValid_ = false;
};

}  // namespace kelvar
