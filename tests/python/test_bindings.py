"""The Python module against the C++ interface: a whole scene run both ways
must agree to the bit; arrays have the documented shapes and types; bad
input raises instead of crashing."""

import os
import re
import struct
import subprocess

import numpy as np
import pytest

import kv_fluids_dyn as kv

FRAMES = 3
THREADS = 2
FRAME_TIME = 1.0 / 20.0


def box_arrays(lower, upper):
    """A closed box as NumPy arrays, taken apart from the module's own box."""
    box = kv.Mesh.box(lower, upper)
    return box.vertices.astype(np.float32), box.faces.astype(np.int64)


EMITTER = box_arrays((-0.48, -0.23, -0.23), (-0.1, 0.1, 0.23))
OBSTACLE = box_arrays((0.1, -0.25, -0.1), (0.25, -0.1, 0.1))
SINK = box_arrays((0.3, -0.25, -0.2), (0.48, -0.18, 0.2))


def build_domain():
    fluid = kv.Fluid()
    fluid.viscosity = 0.05
    fluid.compressibility = 1.0
    fluid.max_force = 9.81
    fluid.max_initial_speed = 3.0
    fluid.scale = (1.0, 0.5, 0.5)
    fluid.largest_length = 1.0
    fluid.resolution = 24 * 12 * 12
    fluid.initialize()
    fluid.sinks_drain = True
    fluid.conserve_mass = True
    fluid.set_domain_boundary_cells()
    return fluid


@pytest.fixture(scope="module")
def scene(tmp_path_factory):
    """The scene filled three ways (arrays, a Mesh, a file), stepped FRAMES
    frames, next to the reference run of the same scene in C++."""
    folder = tmp_path_factory.mktemp("scene")
    paths = {}
    for name, (vertices, faces) in (("emitter", EMITTER), ("obstacle", OBSTACLE), ("sink", SINK)):
        paths[name] = str(folder / (name + ".ply"))
        kv.Mesh(vertices, faces).write(paths[name])

    fluid = build_domain()
    fluid.set_fluid_cells(EMITTER, velocity=(0.5, 0.0, 0.0), jitter=0.5, seed=3, source_id=2)
    fluid.set_sink_cells(paths["sink"], inside=True, id=1)
    fluid.set_static_solid_cells([kv.Mesh(*OBSTACLE)], friction=1.0)
    solver = kv.Solver(fluid, threads=THREADS)
    stats = [solver.step(FRAME_TIME) for _ in range(FRAMES)]

    reference = folder / "reference"
    reference.mkdir()
    subprocess.run([os.environ["KV_PYTHON_REFERENCE"], paths["emitter"], paths["obstacle"], paths["sink"],
                    str(reference), str(FRAMES), str(THREADS)], check=True)
    return fluid, solver, stats, reference


def reference_array(folder, name, dtype, shape):
    return np.fromfile(folder / (name + ".bin"), dtype=dtype).reshape(shape)


class TestSceneAgreesWithCpp:
    def test_frame_stats(self, scene):
        fluid, _, stats, reference = scene
        records = (reference / "stats.bin").read_bytes()
        assert len(records) == 24 * FRAMES
        for n, frame in enumerate(stats):
            cells, sub_steps, mass, drained = struct.unpack_from("<IIdd", records, 24 * n)
            assert (frame.liquid_cells, frame.sub_steps, frame.liquid_mass, frame.drained_mass) == (
                cells, sub_steps, mass, drained)
        assert stats[-1].liquid_cells == fluid.liquid_cell_count > 0
        assert stats[-1].liquid_mass == fluid.liquid_mass
        assert all(frame.sub_steps > 0 for frame in stats)

    def test_fields(self, scene):
        fluid, _, _, reference = scene
        shape = fluid.shape
        np.testing.assert_array_equal(fluid.fill_field(), reference_array(reference, "fill", np.float32, shape))
        np.testing.assert_array_equal(fluid.velocity_field(),
                                      reference_array(reference, "velocity", np.float32, shape + (3,)))
        np.testing.assert_array_equal(fluid.vof_field(), reference_array(reference, "vof", np.float32, shape))

    def test_particles(self, scene):
        fluid, _, _, reference = scene
        packed = np.dtype([("id", "<u4"), ("position", "<f4", 3), ("velocity", "<f4", 3),
                           ("source_id", "<u2"), ("uv", "<f4", 2)])
        expected = np.fromfile(reference / "particles.bin", dtype=packed)
        particles = fluid.particles()
        assert len(particles) > 0
        assert particles.astype(packed).tobytes() == expected.tobytes()
        assert set(np.unique(particles["source_id"])) == {2}

    def test_surface(self, scene):
        fluid, _, _, reference = scene
        vertices, faces = fluid.surface()
        np.testing.assert_array_equal(vertices, reference_array(reference, "surface_vertices", np.float32, (-1, 3)))
        np.testing.assert_array_equal(faces, reference_array(reference, "surface_faces", np.uint32, (-1, 3)))


class TestArrays:
    def test_shapes_and_types(self, scene):
        fluid, _, _, _ = scene
        nx, ny, nz = fluid.shape
        assert (nx, ny, nz) == (24, 12, 12)
        assert fluid.cell_size == pytest.approx(1.0 / 24.0)
        assert fluid.origin == pytest.approx((-0.5 + 1.0 / 48.0, -0.25 + 1.0 / 48.0, -0.25 + 1.0 / 48.0))
        fill = fluid.fill_field()
        assert fill.dtype == np.float32 and fill.shape == (nx, ny, nz)
        # Full cells hold about 1, a little more where the liquid is compressed.
        assert fill.min() == 0.0 and 0.9 < fill.max() < 1.5
        assert np.count_nonzero(fill) <= fluid.liquid_cell_count
        assert fluid.velocity_field().dtype == np.float32
        vertices, faces = fluid.surface()
        assert vertices.dtype == np.float32 and faces.dtype == np.uint32
        assert faces.max() < len(vertices)
        particles = fluid.particles()
        assert particles.dtype.names == ("id", "position", "velocity", "source_id", "uv")
        assert len(np.unique(particles["id"])) == len(particles)

    def test_vof_field_is_a_view_that_keeps_the_domain(self):
        fluid = build_domain()
        fluid.set_fluid_cells(EMITTER)
        vof = fluid.vof_field()
        assert vof.shape == fluid.shape and vof.dtype == np.float32
        assert not vof.flags.owndata and not vof.flags.writeable
        assert vof.base is fluid
        with pytest.raises(ValueError):
            vof[0, 0, 0] = 1.0
        del fluid
        assert vof.min() == pytest.approx(-0.5) and vof.max() == pytest.approx(0.5)

    def test_grid_to_world_maps_particles_into_the_tank(self, scene):
        fluid, _, _, _ = scene
        matrix = fluid.grid_to_world
        positions = fluid.particles()["position"]
        world = positions @ matrix[:3, :3].T + matrix[:3, 3]
        assert np.all(np.abs(world) <= np.array([0.5, 0.25, 0.25]) + 1e-6)

    def test_mesh_round_trip(self, tmp_path):
        vertices, faces = EMITTER
        mesh = kv.Mesh(vertices, faces)
        assert len(mesh) == 12 and mesh.volume == pytest.approx(0.38 * 0.33 * 0.46, rel=1e-5)
        path = tmp_path / "box.obj"
        mesh.write(str(path))
        back = kv.Mesh.read(str(path))
        np.testing.assert_array_equal(back.vertices, vertices)
        np.testing.assert_array_equal(back.faces, faces)


class TestFiles:
    def test_checkpoint_round_trip(self, scene, tmp_path):
        fluid, _, _, _ = scene
        path = tmp_path / "run.kvc"
        fluid.create_checkpoint(str(path))
        other = build_domain()
        kv.Solver(other, threads=1)
        other.restore_checkpoint(path)
        np.testing.assert_array_equal(other.fill_field(), fluid.fill_field())
        assert other.liquid_cell_count == fluid.liquid_cell_count
        assert len(other.particles()) == len(fluid.particles())

    def test_proxy_round_trip(self, scene, tmp_path):
        fluid, _, _, _ = scene
        path = tmp_path / "run.kvp"
        fluid.create_proxy(str(path), quality=4)
        other = build_domain()
        other.restore_proxy(str(path))
        assert len(other.particles()) == len(fluid.particles())
        np.testing.assert_array_equal(np.sort(other.particles()["id"]), np.arange(len(fluid.particles())))

    def test_missing_and_damaged_files_raise(self, tmp_path):
        fluid = build_domain()
        with pytest.raises(kv.FileError, match="cannot read the emitter mesh"):
            fluid.set_fluid_cells(str(tmp_path / "missing.obj"))
        with pytest.raises(kv.FileError, match="cannot open the checkpoint"):
            fluid.restore_checkpoint(str(tmp_path / "missing.kvc"))
        damaged = tmp_path / "damaged.kvc"
        damaged.write_bytes(b"\x01\x00\x00\x00" + b"\xff" * 40)
        with pytest.raises(OSError):
            fluid.restore_checkpoint(str(damaged))
        with pytest.raises(kv.FileError):
            fluid.restore_proxy(str(tmp_path / "missing.kvp"))
        with pytest.raises(kv.FileError):
            fluid.create_checkpoint(str(tmp_path / "no" / "such" / "folder.kvc"))
        with pytest.raises(kv.FileError):
            kv.Mesh.read(str(tmp_path / "missing.ply"))
        assert fluid.liquid_cell_count == 0


class TestBadArguments:
    def test_values_out_of_range(self):
        fluid = kv.Fluid()
        for name, value in (("viscosity", -1.0), ("largest_length", float("nan")), ("resolution", 0),
                            ("resolution", 1 << 40), ("scale", (1.0, 0.0, 1.0)), ("scale", (1.0, 2.0))):
            with pytest.raises((ValueError, TypeError)):
                setattr(fluid, name, value)
        fluid = build_domain()
        with pytest.raises(ValueError):
            kv.Solver(fluid, threads=0)
        with pytest.raises(ValueError):
            fluid.create_proxy("x.kvp", quality=7)
        with pytest.raises(ValueError):
            kv.Solver(fluid, threads=1).step(-1.0)
        with pytest.raises(ValueError):
            fluid.set_static_solid_cells([kv.Mesh(*OBSTACLE)], friction=[0.5, 0.5])

    def test_bad_meshes(self):
        fluid = build_domain()
        vertices, faces = EMITTER
        with pytest.raises(ValueError, match="refers to vertex 99"):
            fluid.set_fluid_cells((vertices, np.array([[0, 1, 99]])))
        with pytest.raises(ValueError):
            fluid.set_fluid_cells((vertices[:, :2], faces))
        with pytest.raises(ValueError):
            fluid.set_fluid_cells((vertices, faces.astype(np.float32)))
        with pytest.raises(ValueError, match="not finite"):
            fluid.set_fluid_cells((np.full((3, 3), np.nan), np.array([[0, 1, 2]])))
        with pytest.raises(ValueError, match="no triangles"):
            fluid.set_sink_cells(kv.Mesh())
        with pytest.raises(TypeError):
            fluid.set_fluid_cells(42)
        assert fluid.liquid_cell_count == 0


def test_readme_example(tmp_path, monkeypatch):
    """The README's Python example runs as written."""
    readme = open(os.environ["KV_README"], encoding="utf-8").read()
    blocks = re.findall(r"```python\n(.*?)```", readme, re.S)
    assert blocks, "the README holds no Python example"
    monkeypatch.chdir(tmp_path)
    exec(compile(blocks[0], "README.md", "exec"), {"__name__": "__main__"})
    assert (tmp_path / "surface.ply").stat().st_size > 0
