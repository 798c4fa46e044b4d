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


def test_scene_agrees_with_cpp(scene):
    fluid, _, stats, reference = scene
    records = (reference / "stats.bin").read_bytes()
    assert len(records) == 24 * FRAMES
    for n, frame in enumerate(stats):
        assert (frame.liquid_cells, frame.sub_steps, frame.liquid_mass, frame.drained_mass) == struct.unpack_from(
            "<IIdd", records, 24 * n)
    assert stats[-1].liquid_cells == fluid.liquid_cell_count > 0
    assert stats[-1].liquid_mass == fluid.liquid_mass
    shape = fluid.shape
    for name, field, field_shape in (("fill", fluid.fill_field(), shape), ("vof", fluid.vof_field(), shape),
                                     ("velocity", fluid.velocity_field(), shape + (3,))):
        assert field.dtype == np.float32 and field.shape == field_shape, name
        np.testing.assert_array_equal(field, reference_array(reference, name, np.float32, field_shape))
    packed = np.dtype([("id", "<u4"), ("position", "<f4", 3), ("velocity", "<f4", 3),
                       ("source_id", "<u2"), ("uv", "<f4", 2)])
    particles = fluid.particles()
    assert particles.dtype.names == packed.names and len(particles) > 0
    assert particles.astype(packed).tobytes() == np.fromfile(reference / "particles.bin", dtype=packed).tobytes()
    assert set(np.unique(particles["source_id"])) == {2}
    vertices, faces = fluid.surface()
    assert vertices.dtype == np.float32 and faces.dtype == np.uint32
    np.testing.assert_array_equal(vertices, reference_array(reference, "surface_vertices", np.float32, (-1, 3)))
    np.testing.assert_array_equal(faces, reference_array(reference, "surface_faces", np.uint32, (-1, 3)))


def test_grid_placement(scene):
    fluid = scene[0]
    assert fluid.shape == (24, 12, 12)
    assert fluid.cell_size == pytest.approx(1.0 / 24.0)
    assert fluid.origin == pytest.approx((-0.5 + 1.0 / 48.0, -0.25 + 1.0 / 48.0, -0.25 + 1.0 / 48.0))
    matrix = fluid.grid_to_world
    world = fluid.particles()["position"] @ matrix[:3, :3].T + matrix[:3, 3]
    assert np.all(np.abs(world) <= np.array([0.5, 0.25, 0.25]) + 1e-6)


def test_vof_field_is_a_view_that_keeps_the_domain():
    fluid = build_domain()
    fluid.set_fluid_cells(EMITTER)
    vof = fluid.vof_field()
    assert not vof.flags.owndata and not vof.flags.writeable and vof.base is fluid
    with pytest.raises(ValueError):
        vof[0, 0, 0] = 1.0
    del fluid
    assert vof.min() == pytest.approx(-0.5) and vof.max() == pytest.approx(0.5)


def test_file_round_trips(scene, tmp_path):
    vertices, faces = EMITTER
    mesh = kv.Mesh(vertices, faces)
    assert len(mesh) == 12 and mesh.volume == pytest.approx(0.38 * 0.33 * 0.46, rel=1e-5)
    mesh.write(str(tmp_path / "box.obj"))
    back = kv.Mesh.read(str(tmp_path / "box.obj"))
    np.testing.assert_array_equal(back.vertices, vertices)
    np.testing.assert_array_equal(back.faces, faces)

    fluid = scene[0]
    fluid.create_checkpoint(str(tmp_path / "run.kvc"))
    other = build_domain()
    kv.Solver(other, threads=1)
    other.restore_checkpoint(tmp_path / "run.kvc")
    np.testing.assert_array_equal(other.fill_field(), fluid.fill_field())
    assert other.liquid_cell_count == fluid.liquid_cell_count
    assert len(other.particles()) == len(fluid.particles())

    fluid.create_proxy(str(tmp_path / "run.kvp"), quality=4)
    other = build_domain()
    other.restore_proxy(str(tmp_path / "run.kvp"))
    np.testing.assert_array_equal(np.sort(other.particles()["id"]), np.arange(len(fluid.particles())))


def test_missing_and_damaged_files_raise(tmp_path):
    fluid = build_domain()
    with pytest.raises(kv.FileError, match="cannot read the emitter mesh"):
        fluid.set_fluid_cells(str(tmp_path / "missing.obj"))
    with pytest.raises(kv.FileError, match="cannot open the checkpoint"):
        fluid.restore_checkpoint(str(tmp_path / "missing.kvc"))
    (tmp_path / "damaged.kvc").write_bytes(b"\x01\x00\x00\x00" + b"\xff" * 40)
    with pytest.raises(OSError):
        fluid.restore_checkpoint(str(tmp_path / "damaged.kvc"))
    for call in (lambda: fluid.restore_proxy(str(tmp_path / "missing.kvp")),
                 lambda: fluid.create_checkpoint(str(tmp_path / "no" / "such" / "folder.kvc")),
                 lambda: kv.Mesh.read(str(tmp_path / "missing.ply"))):
        with pytest.raises(kv.FileError):
            call()
    assert fluid.liquid_cell_count == 0


def test_bad_arguments_raise():
    fluid = kv.Fluid()
    for name, value in (("viscosity", -1.0), ("largest_length", float("nan")), ("resolution", 0),
                        ("resolution", 1 << 40), ("scale", (1.0, 0.0, 1.0)), ("scale", (1.0, 2.0))):
        with pytest.raises((ValueError, TypeError)):
            setattr(fluid, name, value)
    fluid = build_domain()
    vertices, faces = EMITTER
    for call in (lambda: kv.Solver(fluid, threads=0), lambda: fluid.create_proxy("x.kvp", quality=7),
                 lambda: kv.Solver(fluid, threads=1).step(-1.0),
                 lambda: fluid.set_static_solid_cells([kv.Mesh(*OBSTACLE)], friction=[0.5, 0.5]),
                 lambda: fluid.set_fluid_cells((vertices[:, :2], faces)),
                 lambda: fluid.set_fluid_cells((vertices, faces.astype(np.float32)))):
        with pytest.raises(ValueError):
            call()
    with pytest.raises(ValueError, match="refers to vertex 99"):
        fluid.set_fluid_cells((vertices, np.array([[0, 1, 99]])))
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
