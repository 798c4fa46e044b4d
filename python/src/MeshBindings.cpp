// Meshes in Python: built from NumPy arrays, read from and written to OBJ,
// PLY and STL files, and read back as arrays.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "Bindings.h"
#include "kv_geometry/MeshIO.h"
#include "kv_geometry/MeshPrimitives.h"
#include "kv_math/Box3.h"

namespace kelvar::python {

static_assert(sizeof(Vector3<float>) == 3 * sizeof(float), "vertices are copied as packed float triples");
static_assert(sizeof(Mesh::Triangle) == 3 * sizeof(uint32_t), "triangles are copied as packed index triples");

Vector3<float> toVector3(const py::handle& value, const char* what) {
    const py::array_t<double, py::array::c_style | py::array::forcecast> numbers =
        py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(value);
    if (!numbers || numbers.ndim() != 1 || numbers.shape(0) != 3)
        throw py::value_error(std::string(what) + " must be three numbers");
    const double* v = numbers.data();
    for (int a = 0; a < 3; ++a)
        if (!std::isfinite(v[a])) throw py::value_error(std::string(what) + " must be finite");
    return Vector3<float>(float(v[0]), float(v[1]), float(v[2]));
}

Mesh meshFromArrays(const py::array& vertices, const py::array& faces) {
    using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;
    using Indices = py::array_t<int64_t, py::array::c_style | py::array::forcecast>;
    const Floats points = Floats::ensure(vertices);
    if (!points || points.ndim() != 2 || points.shape(1) != 3)
        throw py::value_error("vertices must be an (N, 3) array of numbers");
    if (!py::isinstance<py::array>(faces) || py::array(faces).dtype().kind() == 'f')
        throw py::value_error("faces must be an (M, 3) array of integers");
    const Indices triangles = Indices::ensure(faces);
    if (!triangles || triangles.ndim() != 2 || triangles.shape(1) != 3)
        throw py::value_error("faces must be an (M, 3) array of integers");
    const py::ssize_t vertexCount = points.shape(0);
    if (vertexCount >= py::ssize_t(UINT32_MAX) || triangles.shape(0) >= py::ssize_t(UINT32_MAX))
        throw py::value_error("the mesh has too many vertices or faces");

    Mesh mesh;
    const float* p = points.data();
    for (py::ssize_t v = 0; v < vertexCount; ++v) {
        const Vector3<float> position(p[3 * v], p[3 * v + 1], p[3 * v + 2]);
        if (!std::isfinite(position.x) || !std::isfinite(position.y) || !std::isfinite(position.z))
            throw py::value_error("vertex " + std::to_string(v) + " is not finite");
        mesh.addVertex(position);
    }
    const int64_t* t = triangles.data();
    for (py::ssize_t f = 0; f < triangles.shape(0); ++f) {
        for (int c = 0; c < 3; ++c)
            if (t[3 * f + c] < 0 || t[3 * f + c] >= vertexCount)
                throw py::value_error("face " + std::to_string(f) + " refers to vertex " +
                                      std::to_string(t[3 * f + c]) + ", but there are " +
                                      std::to_string(vertexCount) + " vertices");
        mesh.addTriangle(uint32_t(t[3 * f]), uint32_t(t[3 * f + 1]), uint32_t(t[3 * f + 2]));
    }
    mesh.workBox();
    return mesh;
}

py::array_t<float> meshVertices(const Mesh& mesh) {
    py::array_t<float> out({py::ssize_t(mesh.vertexCount()), py::ssize_t(3)});
    if (mesh.vertexCount() > 0)
        std::memcpy(out.mutable_data(), mesh.getVertices().data(), std::size_t(mesh.vertexCount()) * 3 * sizeof(float));
    return out;
}

py::array_t<uint32_t> meshFaces(const Mesh& mesh) {
    py::array_t<uint32_t> out({py::ssize_t(mesh.triangleCount()), py::ssize_t(3)});
    if (mesh.triangleCount() > 0)
        std::memcpy(out.mutable_data(), mesh.getTriangles().data(),
                    std::size_t(mesh.triangleCount()) * 3 * sizeof(uint32_t));
    return out;
}

namespace {

Mesh readMeshFile(const std::string& path) {
    Mesh mesh;
    std::string error;
    if (!readMesh(path, mesh, error)) throw FileError(error);
    return mesh;
}

void writeMeshFile(const Mesh& mesh, const std::string& path, bool ascii) {
    std::string error;
    if (!writeMesh(path, mesh, error, ascii)) throw FileError(error);
}

}  // namespace

void bindMesh(py::module_& module) {
    py::class_<Mesh>(module, "Mesh", "A triangle mesh in world units (metres), triangles wound outwards")
        .def(py::init<>())
        .def(py::init(&meshFromArrays), py::arg("vertices"), py::arg("faces"),
             "A mesh from an (N, 3) array of vertex positions and an (M, 3) integer array of triangles")
        .def_static("read", &readMeshFile, py::arg("path"), "Reads an .obj, .ply or .stl file")
        .def_static(
            "box",
            [](const py::object& lower, const py::object& upper) {
                const Vector3<float> a = toVector3(lower, "lower"), b = toVector3(upper, "upper");
                if (!(a.x < b.x && a.y < b.y && a.z < b.z))
                    throw py::value_error("lower must be below upper on every axis");
                return makeBoxMesh(Box3<float>(a, b));
            },
            py::arg("lower"), py::arg("upper"), "A closed box between two corners")
        .def("write", &writeMeshFile, py::arg("path"), py::arg("ascii") = false,
             "Writes an .obj, .ply or .stl file (chosen by the extension)")
        .def_property_readonly("vertices", &meshVertices, "(N, 3) float32 vertex positions, a copy")
        .def_property_readonly("faces", &meshFaces, "(M, 3) uint32 vertex indices, a copy")
        .def_property("id", &Mesh::getId, &Mesh::setId, "Mesh id (tells sinks and obstacles apart)")
        .def_property_readonly("volume", &Mesh::volume, "Enclosed volume (positive for a closed mesh)")
        .def("__len__", &Mesh::triangleCount)
        .def("__repr__", [](const Mesh& mesh) {
            return "<kv_fluids_dyn.Mesh with " + std::to_string(mesh.vertexCount()) + " vertices, " +
                   std::to_string(mesh.triangleCount()) + " triangles>";
        });
}

}  // namespace kelvar::python
