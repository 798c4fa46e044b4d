// The kv_fluids_dyn Python module: fluid domains, their solver, meshes and
// NumPy views of the results.

#include "Bindings.h"

PYBIND11_MODULE(kv_fluids_dyn, module) {
    namespace py = pybind11;
    using namespace kelvar::python;
    module.doc() = "Free-surface lattice Boltzmann liquids: domains, solver, meshes and NumPy output";
    py::register_exception<FileError>(module, "FileError", PyExc_OSError);
    py::register_exception<StateError>(module, "StateError", PyExc_RuntimeError);
    bindMesh(module);
    bindFluid(module);
}
