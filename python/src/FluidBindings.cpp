// Fluid domains and their solver in Python, and NumPy arrays of their
// fields, particles and surface.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <pybind11/stl.h>

#include "Bindings.h"
#include "kv_fluids_dyn/domain/FrictionData.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/io/FreeSurfaceExtractor.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_geometry/MeshIO.h"

namespace kelvar::python {

namespace {

using fluid::MAC_LBM_Fluid3;
using fluid::MAC_LBM_Solver3;
using fluid::MAC_Particle3;

// Upper bounds that keep a domain within memory and the thread loop sane.
constexpr unsigned int kMinResolution = 8;
constexpr unsigned int kMaxResolution = 1u << 27;
constexpr unsigned int kMaxThreads = 256;

void requireGrid(const MAC_LBM_Fluid3& fluid) {
    if (fluid.getGrid().getNx() == 0)
        throw StateError("the domain has no grid yet: set its resolution and call initialize() first");
}

float positive(double value, const char* what) {
    if (!std::isfinite(value) || value <= 0.0) throw py::value_error(std::string(what) + " must be a positive number");
    return float(value);
}

float nonNegative(double value, const char* what) {
    if (!std::isfinite(value) || value < 0.0) throw py::value_error(std::string(what) + " must be zero or more");
    return float(value);
}

// A mesh argument: a Mesh, a path to a mesh file, or a (vertices, faces) pair.
Mesh toMesh(const py::handle& value, const char* role) {
    Mesh mesh;
    if (py::isinstance<Mesh>(value)) {
        mesh = value.cast<const Mesh&>();
    } else if (py::isinstance<py::str>(value) || py::hasattr(value, "__fspath__")) {
        const std::string path = py::str(py::module_::import("os").attr("fspath")(value));
        std::string error;
        if (!readMesh(path, mesh, error)) throw FileError("cannot read the " + std::string(role) + " mesh: " + error);
    } else if (py::isinstance<py::tuple>(value) && py::len(value) == 2) {
        const py::tuple pair = value.cast<py::tuple>();
        mesh = meshFromArrays(py::array::ensure(pair[0]), py::array::ensure(pair[1]));
    } else {
        throw py::type_error(std::string(role) + " must be a Mesh, a mesh file path or a (vertices, faces) pair");
    }
    if (mesh.triangleCount() == 0) throw py::value_error("the " + std::string(role) + " mesh holds no triangles");
    mesh.workBox();
    return mesh;
}

// Liquid cells (full and interface) and their mass in kilograms.
std::pair<uint32_t, double> liquidCensus(const MAC_LBM_Fluid3& fluid) {
    uint32_t cells = 0;
    for (const fluid::LBM_Cell3<float>* cell : fluid.getGrid().getCells())
        if (cell != nullptr && cell->isFluid()) ++cells;
    return {cells, fluid.computeLiquidMass()};
}

// The C-ordered (nx, ny, nz) shape of the cell grid; the grid stores cells
// with z fastest, so a flat cell index is also the flat array index.
std::vector<py::ssize_t> gridShape(const MAC_LBM_Fluid3& fluid, std::size_t components) {
    const auto& grid = fluid.getGrid();
    std::vector<py::ssize_t> shape = {py::ssize_t(grid.getNx()), py::ssize_t(grid.getNy()), py::ssize_t(grid.getNz())};
    if (components > 1) shape.push_back(py::ssize_t(components));
    return shape;
}

py::array_t<float> fillField(const MAC_LBM_Fluid3& fluid) {
    requireGrid(fluid);
    py::array_t<float> out(gridShape(fluid, 1));
    float* values = out.mutable_data();
    const auto& cells = fluid.getGrid().getCells();
    for (uint32_t n = 0; n < fluid.getGrid().getCount(); ++n) {
        const fluid::LBM_Cell3<float>* cell = cells[n];
        values[n] = cell != nullptr && cell->isFluid()
                        ? static_cast<const fluid::LBM_Q19_MAC_Cell3F*>(cell)->getEpsilon()
                        : 0.0f;
    }
    return out;
}

py::array_t<float> velocityField(const MAC_LBM_Fluid3& fluid) {
    requireGrid(fluid);
    py::array_t<float> out(gridShape(fluid, 3));
    float* values = out.mutable_data();
    const auto& grid = fluid.getGrid();
    std::size_t n = 0;
    for (unsigned i = 0; i < grid.getNx(); ++i)
        for (unsigned j = 0; j < grid.getNy(); ++j)
            for (unsigned k = 0; k < grid.getNz(); ++k, n += 3) {
                const Vector3<float> v = fluid.gridToWorldVelocity(fluid.getVelocityAt(i, j, k));
                values[n] = v.x;
                values[n + 1] = v.y;
                values[n + 2] = v.z;
            }
    return out;
}

// The VOF field as it is stored, without a copy: the array keeps the domain
// alive and is read-only. It shows the field's current values, so a later
// vof_field() call (after more steps) changes what an earlier array shows.
py::array vofField(py::object self) {
    MAC_LBM_Fluid3& fluid = self.cast<MAC_LBM_Fluid3&>();
    requireGrid(fluid);
    fluid.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
    fluid.compute_VOF_Field();
    const ScalarField3<float>& field = fluid.get_VOF_Field();
    const Tuple3<unsigned int>& size = field.getResolution();
    const std::vector<py::ssize_t> shape = {py::ssize_t(size.first), py::ssize_t(size.second),
                                            py::ssize_t(size.third)};
    py::array_t<float> view(shape, field.getValues().data(), self);
    view.attr("flags").attr("writeable") = false;
    return view;
}

py::dtype particleDtype() {
    py::dict fields;
    fields["names"] = py::make_tuple("id", "position", "velocity", "source_id", "uv");
    fields["formats"] = py::make_tuple("<u4", "(3,)<f4", "(3,)<f4", "<u2", "(2,)<f4");
    fields["offsets"] = py::make_tuple(offsetof(MAC_Particle3, id), offsetof(MAC_Particle3, position),
                                       offsetof(MAC_Particle3, velocity), offsetof(MAC_Particle3, sourceId),
                                       offsetof(MAC_Particle3, uv));
    fields["itemsize"] = sizeof(MAC_Particle3);
    return py::dtype::from_args(fields);
}

// The marker particles in the system's order, copied (the system keeps them
// in chunks): grid-space positions, velocities in grid units per time unit.
py::array particles(const MAC_LBM_Fluid3& fluid) {
    static_assert(sizeof(Vector3<float>) == 12 && sizeof(Vector2<float>) == 8, "particle fields are packed floats");
    const auto& system = fluid.get_MAC_ParticleSystem();
    py::array out(particleDtype(), std::vector<py::ssize_t>{py::ssize_t(system.getParticlesCount())});
    auto* bytes = static_cast<unsigned char*>(out.mutable_data());
    std::memset(bytes, 0, std::size_t(system.getParticlesCount()) * sizeof(MAC_Particle3));
    std::size_t n = 0;
    for (const MAC_Particle3& particle : system) {
        if (n == system.getParticlesCount()) break;
        std::memcpy(bytes + n * sizeof(MAC_Particle3), &particle, sizeof(MAC_Particle3));
        ++n;
    }
    return out;
}

py::tuple surface(const MAC_LBM_Fluid3& fluid, double level) {
    requireGrid(fluid);
    if (!std::isfinite(level)) throw py::value_error("level must be a finite number");
    Mesh mesh;
    {
        py::gil_scoped_release released;
        fluid::FreeSurfaceExtractor::extractMesh<MAC_LBM_Fluid3>(fluid, float(level), true, 1.0f, true, 0, mesh,
                                                                 nullptr);
        mesh.transform(fluid.getXformGridToWorld().getMatrix());
    }
    return py::make_tuple(meshVertices(mesh), meshFaces(mesh));
}

std::string restoreMessage(MAC_LBM_Fluid3::RestoreError code, const std::string& path) {
    switch (code) {
        case MAC_LBM_Fluid3::RESTORE_CANNOT_OPEN: return "cannot open the checkpoint " + path;
        case MAC_LBM_Fluid3::RESTORE_NEWER_VERSION: return path + " was written by a newer version of the library";
        case MAC_LBM_Fluid3::RESTORE_OTHER_RESOLUTION: return path + " holds a domain of another resolution";
        case MAC_LBM_Fluid3::RESTORE_OTHER_GRID: return path + " holds a domain of another grid";
        case MAC_LBM_Fluid3::RESTORE_CORRUPT: return path + " is cut short or corrupt";
        default: return path + " was refused (code " + std::to_string(unsigned(code)) + ")";
    }
}

std::string fsPath(const py::object& path) { return py::str(py::module_::import("os").attr("fspath")(path)); }

// Per-frame numbers a host prints or plots.
struct FrameStats {
    uint32_t liquidCells = 0;
    double liquidMass = 0.0;   // kg
    unsigned int subSteps = 0;
    double drainedMass = 0.0;  // kg, over the whole run
};

// A solver attached to one domain, with its thread count.
class Solver {
public:
    Solver(MAC_LBM_Fluid3& fluid, unsigned int threads) : fluid_(fluid) {
        if (threads < 1 || threads > kMaxThreads)
            throw py::value_error("threads must be from 1 to " + std::to_string(kMaxThreads));
        requireGrid(fluid);
        solver_.attach(fluid);
        solver_.initialize(threads);
    }

    void preSolve() { solver_.preSolve(); }
    void solve(double dt) {
        const float step = positive(dt, "dt");
        py::gil_scoped_release released;
        solver_.solve(step);
    }
    void postSolve() {
        solver_.postSolve();
        fluid_.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
    }

    // One frame as a host runs it: preSolve, the acceleration applied to
    // every liquid cell (cells made since the last frame start without it),
    // solve, postSolve.
    FrameStats step(double frameTime, const py::object& acceleration) {
        const float dt = positive(frameTime, "frame_time");
        const Vector3<float> gravity = toVector3(acceleration, "acceleration");
        const auto& context = fluid_.getSolverContext();
        float before = 0.0f;
        {
            py::gil_scoped_release released;
            solver_.preSolve();
            fluid_.setAcceleration(gravity);
            before = context.getTimeAccumulator();
            solver_.solve(dt);
            solver_.postSolve();
        }
        fluid_.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
        FrameStats stats;
        const auto [cells, mass] = liquidCensus(fluid_);
        stats.liquidCells = cells;
        stats.liquidMass = mass;
        const float subStep = context.getDt();
        stats.subSteps = subStep > 0.0f
                             ? unsigned(std::lround((before + dt - context.getTimeAccumulator()) / subStep))
                             : 0u;
        stats.drainedMass = fluid_.getDrainedMass();
        return stats;
    }

    float subStep() const { return fluid_.getSolverContext().getDt(); }

private:
    MAC_LBM_Fluid3& fluid_;
    MAC_LBM_Solver3 solver_;
};

template <class Getter, class Setter>
void positiveProperty(py::class_<MAC_LBM_Fluid3>& cls, const char* name, Getter get, Setter set, const char* doc) {
    cls.def_property(
        name, [get](const MAC_LBM_Fluid3& f) { return (f.*get)(); },
        [set, name](MAC_LBM_Fluid3& f, double v) { (f.*set)(positive(v, name)); }, doc);
}

}  // namespace

void bindFluid(py::module_& module) {
    py::class_<FrameStats>(module, "FrameStats", "What one frame left behind")
        .def_readonly("liquid_cells", &FrameStats::liquidCells, "full and interface cells")
        .def_readonly("liquid_mass", &FrameStats::liquidMass, "mass of the liquid (full cells' density plus interface cells' mass), kg")
        .def_readonly("sub_steps", &FrameStats::subSteps, "solver sub-steps run in the frame")
        .def_readonly("drained_mass", &FrameStats::drainedMass, "mass drained through sinks so far, kg")
        .def("__repr__", [](const FrameStats& s) {
            return "FrameStats(liquid_cells=" + std::to_string(s.liquidCells) +
                   ", liquid_mass=" + std::to_string(s.liquidMass) + ", sub_steps=" + std::to_string(s.subSteps) +
                   ", drained_mass=" + std::to_string(s.drainedMass) + ")";
        });

    py::class_<MAC_LBM_Fluid3> fluid(module, "Fluid", "A free-surface liquid domain on a regular grid");
    fluid.def(py::init<>());
    positiveProperty(fluid, "viscosity", &MAC_LBM_Fluid3::getViscosity, &MAC_LBM_Fluid3::setViscosity,
                     "kinematic viscosity used to set the relaxation");
    positiveProperty(fluid, "density", &MAC_LBM_Fluid3::getDensity, &MAC_LBM_Fluid3::setDensity, "kg/m^3");
    positiveProperty(fluid, "compressibility", &MAC_LBM_Fluid3::getCompressibility,
                     &MAC_LBM_Fluid3::setCompressibility, "lattice compressibility");
    positiveProperty(fluid, "max_force", &MAC_LBM_Fluid3::getMaxForce, &MAC_LBM_Fluid3::setMaxForce,
                     "largest acceleration expected, m/s^2 (sets the sub-step)");
    positiveProperty(fluid, "max_initial_speed", &MAC_LBM_Fluid3::getMaxInitialSpeed,
                     &MAC_LBM_Fluid3::setMaxInitialSpeed, "fastest speed expected, m/s (sets the sub-step)");
    positiveProperty(fluid, "largest_length", &MAC_LBM_Fluid3::getLargestLength, &MAC_LBM_Fluid3::setLargestLength,
                     "world length of the longest axis, m");
    fluid
        .def_property(
            "scale",
            [](const MAC_LBM_Fluid3& f) {
                const Vector3<float>& s = f.getTransformWorld().getScale();
                return py::make_tuple(s.x, s.y, s.z);
            },
            [](MAC_LBM_Fluid3& f, const py::object& value) {
                const Vector3<float> s = toVector3(value, "scale");
                if (!(s.x > 0.0f && s.y > 0.0f && s.z > 0.0f)) throw py::value_error("scale must be positive");
                f.setScale(s);
            },
            "world size of the domain, m")
        .def_property(
            "resolution", [](const MAC_LBM_Fluid3& f) { return f.getResolution(); },
            [](MAC_LBM_Fluid3& f, long long count) {
                if (count < kMinResolution || count > kMaxResolution)
                    throw py::value_error("resolution must be a cell count from " + std::to_string(kMinResolution) +
                                          " to " + std::to_string(kMaxResolution));
                f.setResolution(unsigned(count));
            },
            "requested total cell count; sizes the grid")
        .def_property("sinks_drain", &MAC_LBM_Fluid3::getSinksDrain, &MAC_LBM_Fluid3::setSinksDrain,
                      "liquid reaching a sink leaves for good")
        .def_property("conserve_mass", &MAC_LBM_Fluid3::getConserveMass, &MAC_LBM_Fluid3::setConserveMass,
                      "keep the liquid's mass exactly instead of its density sum")
        .def_property("exact_checkpoints", &MAC_LBM_Fluid3::getExactCheckpoints,
                      &MAC_LBM_Fluid3::setExactCheckpoints, "checkpoints carry what an exact resume needs")
        .def_property_readonly("shape", [](const MAC_LBM_Fluid3& f) {
            const auto& g = f.getGrid();
            return py::make_tuple(g.getNx(), g.getNy(), g.getNz());
        }, "cells along x, y, z")
        .def_property_readonly("cell_size", [](const MAC_LBM_Fluid3& f) {
            requireGrid(f);
            return f.gridToWorldLength(f.getGrid().getCellSize().x);
        }, "edge of a cell, m")
        .def_property_readonly("origin", [](const MAC_LBM_Fluid3& f) {
            requireGrid(f);
            const auto& g = f.getGrid();
            const Vector3<float> p = f.gridToWorldPosition(g.getBox().min + g.getCellSize() * 0.5f);
            return py::make_tuple(p.x, p.y, p.z);
        }, "world position of the centre of cell (0, 0, 0), m")
        .def_property_readonly("grid_to_world", [](const MAC_LBM_Fluid3& f) {
            py::array_t<float> out({4, 4});
            std::memcpy(out.mutable_data(), f.getXformGridToWorld().getMatrix().m, sizeof(float) * 16);
            return out;
        }, "4x4 matrix from grid space (particle positions) to world space")
        .def("initialize", &MAC_LBM_Fluid3::initialize, "Empties the grid: drops every cell and particle")
        .def("set_domain_boundary_cells", [](MAC_LBM_Fluid3& f) {
            requireGrid(f);
            f.setDomainBoundaryCells();
        }, "Walls the domain in")
        .def(
            "set_fluid_cells",
            [](MAC_LBM_Fluid3& f, const py::object& mesh, const py::object& velocity, double jitter, int seed,
               unsigned short sourceId) {
                requireGrid(f);
                const Mesh emitter = toMesh(mesh, "emitter");
                const Vector3<float> v = toVector3(velocity, "velocity");
                const float spread = nonNegative(jitter, "jitter");
                py::gil_scoped_release released;
                f.setFluidCells(emitter, v, spread, seed, sourceId);
            },
            py::arg("mesh"), py::arg("velocity") = py::make_tuple(0.0, 0.0, 0.0), py::arg("jitter") = 0.5,
            py::arg("seed") = 0, py::arg("source_id") = 1,
            "Fills the inside of a closed mesh (Mesh, file path or (vertices, faces)) with liquid")
        .def(
            "set_sink_cells",
            [](MAC_LBM_Fluid3& f, const py::object& mesh, bool inside, uint32_t id) {
                requireGrid(f);
                Mesh sink = toMesh(mesh, "sink");
                sink.setId(id);
                py::gil_scoped_release released;
                f.setSinkCells(sink, inside);
            },
            py::arg("mesh"), py::arg("inside") = true, py::arg("id") = 1, "Turns the cells a mesh covers into drains")
        .def(
            "set_static_solid_cells",
            [](MAC_LBM_Fluid3& f, const py::list& meshes, const py::object& friction) {
                requireGrid(f);
                std::vector<Mesh> owned;
                for (const py::handle& mesh : meshes) owned.push_back(toMesh(mesh, "obstacle"));
                std::vector<double> coefficients;
                if (py::isinstance<py::float_>(friction) || py::isinstance<py::int_>(friction))
                    coefficients.assign(owned.size(), friction.cast<double>());
                else
                    coefficients = friction.cast<std::vector<double>>();
                if (coefficients.size() != owned.size())
                    throw py::value_error("give one friction coefficient per obstacle mesh");
                ArrayOfPtr<const Mesh, KV_NO> pointers;
                Array<fluid::FrictionData> frictions;
                for (std::size_t n = 0; n < owned.size(); ++n) {
                    const float c = nonNegative(coefficients[n], "friction");
                    if (c > 1.0f) throw py::value_error("friction must be from 0 (free slip) to 1 (no slip)");
                    if (owned[n].getId() == 0) owned[n].setId(uint32_t(10 + n));
                    pointers.push_back(&owned[n]);
                    frictions.push_back(fluid::FrictionData());
                    frictions[frictions.size() - 1].set(c);
                }
                py::gil_scoped_release released;
                f.setStaticSolidCells(pointers, frictions);
            },
            py::arg("meshes"), py::arg("friction") = 1.0,
            "Makes the cells the meshes cover static obstacles (friction 0 free slip .. 1 no slip)")
        .def(
            "set_acceleration",
            [](MAC_LBM_Fluid3& f, const py::object& a) { f.setAcceleration(toVector3(a, "acceleration")); },
            py::arg("acceleration"), "Acceleration of every liquid cell, m/s^2")
        .def_property_readonly("liquid_cell_count", &MAC_LBM_Fluid3::getLiquidCellCount)
        .def_property_readonly("liquid_mass", [](const MAC_LBM_Fluid3& f) { return liquidCensus(f).second; },
                               "mass of the liquid (full cells' density plus interface cells' mass), kg")
        .def_property_readonly("drained_mass", &MAC_LBM_Fluid3::getDrainedMass, "mass drained through sinks, kg")
        .def("compute_momentum", [](const MAC_LBM_Fluid3& f) {
            Array<Vector3<float>> momentum;
            f.computeMomentum(momentum);
            py::array_t<float> out({py::ssize_t(momentum.size()), py::ssize_t(3)});
            if (momentum.size() > 0) std::memcpy(out.mutable_data(), momentum.data(), momentum.size() * 12u);
            return out;
        }, "Momentum each obstacle received over the last frame, kg m/s, shape (obstacles, 3)")
        .def("fill_field", &fillField, "Fill fraction per cell (0 gas or wall, about 1 full), (nx, ny, nz) float32, a copy")
        .def("velocity_field", &velocityField,
             "Velocity per cell in m/s (zero outside the liquid), (nx, ny, nz, 3) float32, a copy")
        .def("vof_field", &vofField,
             "The VOF field (about -0.5 deep liquid .. 0.5 gas, surface near 0) as a read-only view without a copy; "
             "it shows the field's current values and is valid until the domain's resolution changes (copy to keep)")
        .def("particles", &particles,
             "Marker particles: structured array of id, position and velocity (grid units), source_id, uv")
        .def("surface", &surface, py::arg("level") = 0.35,
             "The closed liquid surface in metres: (vertices (N, 3) float32, faces (M, 3) uint32)")
        .def("create_checkpoint", [](const MAC_LBM_Fluid3& f, const py::object& path) {
            const std::string file = fsPath(path);
            if (!f.createCheckPoint(file)) throw FileError("cannot write the checkpoint " + file);
        }, py::arg("path"), "Writes the whole state")
        .def("restore_checkpoint", [](MAC_LBM_Fluid3& f, const py::object& path) {
            const std::string file = fsPath(path);
            MAC_LBM_Fluid3::RestoreError result;
            {
                py::gil_scoped_release released;
                result = f.restoreFromCheckPoint(file);
            }
            if (result != MAC_LBM_Fluid3::RESTORE_DONE) throw FileError(restoreMessage(result, file));
            f.refDirtyFlags().set(MAC_LBM_Fluid3::VOF_DIRTY);
        }, py::arg("path"), "Restores a checkpoint of a domain built and sized the same way")
        .def("create_proxy", [](const MAC_LBM_Fluid3& f, const py::object& path, int quality) {
            if (quality < 0 || quality > 4) throw py::value_error("quality must be from 0 to 4");
            const std::string file = fsPath(path);
            if (!f.createProxy(file, MAC_LBM_Fluid3::ProxyQuality(quality)))
                throw FileError("cannot write the proxy " + file);
        }, py::arg("path"), py::arg("quality") = 4,
           "Writes the particles: quality 0..3 every 10th, 3rd, 2nd or every surface particle, 4 all")
        .def("restore_proxy", [](MAC_LBM_Fluid3& f, const py::object& path) {
            const std::string file = fsPath(path);
            if (!f.restoreFromProxy(file)) throw FileError("cannot read the proxy " + file);
        }, py::arg("path"), "Replaces the particles with a proxy's");

    py::class_<Solver>(module, "Solver", "The solver of one domain")
        .def(py::init<MAC_LBM_Fluid3&, unsigned int>(), py::arg("fluid"), py::arg("threads") = 1,
             py::keep_alive<1, 2>(), "Attaches to a sized domain and starts its worker threads")
        .def("step", &Solver::step, py::arg("frame_time"),
             py::arg("acceleration") = py::make_tuple(0.0, -9.81, 0.0),
             "Advances one frame with gravity (or another acceleration); returns its FrameStats. The GIL is "
             "released meanwhile: other Python threads may run, but must leave this domain alone until it returns")
        .def("pre_solve", &Solver::preSolve)
        .def("solve", &Solver::solve, py::arg("dt"), "Advances by dt seconds in whole sub-steps")
        .def("post_solve", &Solver::postSolve)
        .def_property_readonly("sub_step", &Solver::subStep, "length of one sub-step, s");
}

}  // namespace kelvar::python
