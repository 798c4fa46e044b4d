"""The demo host's VTK image data (--vtk), parsed independently of the
writer (the OpenVDB test reads the same arrays another way): header against
a domain sized the same way through the module, values against what the
demo printed and what a frame must look like."""

import os
import re
import subprocess
import xml.etree.ElementTree as ET

import numpy as np
import pytest

import kv_fluids_dyn as kv

RESOLUTION = 6000


def read_vti(path):
    """The XML header as an element tree and the appended arrays by name."""
    data = path.read_bytes()
    appended = data.index(b"<AppendedData")
    root = ET.fromstring(data[:appended] + b"</VTKFile>")
    start = data.index(b"_", appended) + 1
    assert root.get("type") == "ImageData" and root.get("byte_order") == "LittleEndian"
    assert root.get("header_type") == "UInt64"
    arrays = {}
    for array in root.iter("DataArray"):
        assert array.get("type") == "Float32" and array.get("format") == "appended"
        at = start + int(array.get("offset"))
        size = int(np.frombuffer(data, "<u8", 1, at)[0])
        components = int(array.get("NumberOfComponents", "1"))
        arrays[array.get("Name")] = (np.frombuffer(data, "<f4", size // 4, at + 8), components)
    return root.find("ImageData"), arrays


@pytest.fixture(scope="module")
def demo_frame(tmp_path_factory):
    program = os.environ.get("KV_DEMO_PROGRAM")
    if not program:
        pytest.skip("the demo host is not built")
    folder = tmp_path_factory.mktemp("demo")
    run = subprocess.run([program, "--frames", "1", "--resolution", str(RESOLUTION), "--threads", "2", "--vtk",
                          "--output", str(folder)], capture_output=True, text=True, check=True)
    return folder / "frame_0001.vti", run.stdout


def sized_like_the_demo():
    fluid = kv.Fluid()
    fluid.scale = (2.0, 1.0, 1.0)
    fluid.largest_length = 2.0
    fluid.resolution = RESOLUTION
    return fluid


def test_frame_header_and_values(demo_frame):
    path, printed = demo_frame
    image, arrays = read_vti(path)
    fluid = sized_like_the_demo()
    nx, ny, nz = fluid.shape
    assert image.get("WholeExtent").split() == ["0", str(nx - 1), "0", str(ny - 1), "0", str(nz - 1)]
    assert image.find("Piece").get("Extent") == image.get("WholeExtent")
    origin = np.array(image.get("Origin").split(), dtype=np.float32)
    spacing = np.array(image.get("Spacing").split(), dtype=np.float32)
    np.testing.assert_array_equal(origin, np.array(fluid.origin, dtype=np.float32))
    np.testing.assert_array_equal(spacing, np.full(3, fluid.cell_size, dtype=np.float32))
    assert set(arrays) == {"fill", "velocity"}
    assert arrays["fill"][1] == 1 and arrays["velocity"][1] == 3
    # Points run x fastest: index as [k, j, i] (a wrong size fails to reshape).
    fill = arrays["fill"][0].reshape(nz, ny, nx)
    velocity = arrays["velocity"][0].reshape(nz, ny, nx, 3)
    assert fill.min() == 0.0 and fill.max() == 1.0
    # The liquid cells the demo counted hold the liquid in the file; a few
    # interface cells may hold none at a frame's end (they appeared, or
    # gave theirs away, in its last sub-step).
    cells = int(re.search(r"liquid cells\s+(\d+)", printed).group(1))
    assert 0.98 * cells <= np.count_nonzero(fill) <= cells
    # Walls hold no liquid, and only liquid cells move.
    for face in (fill[0], fill[-1], fill[:, 0], fill[:, -1], fill[:, :, 0], fill[:, :, -1]):
        assert not face.any()
    assert np.count_nonzero(np.abs(velocity).sum(axis=-1) > 0.0) <= cells
    assert np.abs(velocity).max() < 3.0
    # After one frame the dam-break column still stands in the -x part of the tank.
    assert fill[:, :, : nx // 2].sum() > 10 * fill[:, :, nx // 2:].sum()
    # The column falls: liquid moves down on average.
    assert velocity[..., 1][fill > 0.0].mean() < 0.0
