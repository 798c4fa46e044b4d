#pragma once

// Shared pieces of the Python module: the exceptions it raises and the
// conversions between NumPy arrays and the library's types.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <stdexcept>
#include <string>

#include "kv_geometry/Mesh.h"
#include "kv_math/Vector3.h"

namespace kelvar::python {

namespace py = pybind11;

// A file that cannot be read or written, or that the library refused;
// raised in Python as kv_fluids_dyn.FileError, a subclass of OSError.
class FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A call made in the wrong order (stepping a domain without a grid, say);
// raised as RuntimeError.
class StateError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Three finite numbers from any Python sequence; ValueError otherwise.
Vector3<float> toVector3(const py::handle& value, const char* what);

// A mesh from an (N, 3) float array of vertices and an (M, 3) integer array
// of triangles (vertex indices, checked against N).
Mesh meshFromArrays(const py::array& vertices, const py::array& faces);

// Vertices as an (N, 3) float32 array and triangles as (M, 3) uint32, copied.
py::array_t<float> meshVertices(const Mesh& mesh);
py::array_t<uint32_t> meshFaces(const Mesh& mesh);

void bindMesh(py::module_& module);
void bindFluid(py::module_& module);

}  // namespace kelvar::python
