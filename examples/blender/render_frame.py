"""Renders one frame of kv_fluids_demo in Blender: the liquid surface from
frame_NNNN.ply and the liquid volume from frame_NNNN.vdb, in the demo's tank,
with Cycles on the CPU.

    blender -b --python-exit-code 1 -P examples/blender/render_frame.py -- \\
        --ply kv_fluids_demo-output/frame_0008.ply \\
        --vdb kv_fluids_demo-output/frame_0008.vdb --output frame_0008_render.png

Options after "--": --ply FILE, --vdb FILE (either may be left out, not
both), --output PNG (required), --width N and --height N (default 480 x 270),
--samples N (default 16). The demo's tank spans x -1..1, y -0.5..0.5,
z -0.5..0.5 with y up; the imported objects are turned so that it points
up in Blender (z). Exits with 1 (with
--python-exit-code 1) when a file cannot be imported or the render comes out
blank.
"""

import argparse
import math
import sys

import bpy
from mathutils import Vector


def parse_arguments():
    argv = sys.argv[sys.argv.index("--") + 1:] if "--" in sys.argv else []
    parser = argparse.ArgumentParser(prog="render_frame.py", description=__doc__.split("\n\n")[0])
    parser.add_argument("--ply", help="surface mesh frame_NNNN.ply")
    parser.add_argument("--vdb", help="volume frame_NNNN.vdb")
    parser.add_argument("--output", required=True, help="PNG to write")
    parser.add_argument("--width", type=int, default=480)
    parser.add_argument("--height", type=int, default=270)
    parser.add_argument("--samples", type=int, default=16)
    arguments = parser.parse_args(argv)
    if not arguments.ply and not arguments.vdb:
        parser.error("give --ply, --vdb or both")
    return arguments


def empty_scene():
    bpy.ops.wm.read_factory_settings(use_empty=True)
    return bpy.context.scene


def imported_object(operator, **arguments):
    """Runs an import operator and returns the one object it added."""
    before = set(bpy.data.objects)
    result = operator(**arguments)
    added = [o for o in bpy.data.objects if o not in before]
    if "FINISHED" not in result or len(added) != 1:
        raise RuntimeError("import failed: " + str(arguments))
    return added[0]


def water_material():
    material = bpy.data.materials.new("water surface")
    material.use_nodes = True
    shader = next(n for n in material.node_tree.nodes if n.type == "BSDF_PRINCIPLED")
    shader.inputs["Base Color"].default_value = (0.25, 0.5, 0.85, 1.0)
    shader.inputs["Roughness"].default_value = 0.15
    shader.inputs["Alpha"].default_value = 0.55
    material.blend_method = "BLEND"
    return material


def volume_material():
    material = bpy.data.materials.new("water volume")
    material.use_nodes = True
    nodes = material.node_tree.nodes
    nodes.clear()
    output = nodes.new("ShaderNodeOutputMaterial")
    volume = nodes.new("ShaderNodeVolumePrincipled")
    volume.inputs["Color"].default_value = (0.1, 0.35, 0.8, 1.0)
    volume.inputs["Density"].default_value = 4.0
    volume.inputs["Density Attribute"].default_value = "density"
    material.node_tree.links.new(volume.outputs["Volume"], output.inputs["Volume"])
    return material


def tank_floor():
    """The tank's floor, in Blender's z-up frame (the demo's y = -0.5)."""
    bpy.ops.mesh.primitive_plane_add(size=1.0, location=(0.0, 0.0, -0.5))
    floor = bpy.context.active_object
    floor.scale = (2.0, 1.0, 1.0)
    material = bpy.data.materials.new("floor")
    material.use_nodes = True
    shader = next(n for n in material.node_tree.nodes if n.type == "BSDF_PRINCIPLED")
    shader.inputs["Base Color"].default_value = (0.55, 0.55, 0.52, 1.0)
    floor.data.materials.append(material)


def camera_and_light(scene):
    bpy.ops.object.camera_add(location=(0.9, -3.0, 1.5))
    camera = bpy.context.active_object
    direction = Vector((0.0, 0.0, -0.3)) - camera.location
    camera.rotation_euler = direction.to_track_quat("-Z", "Y").to_euler()
    camera.data.lens = 30
    scene.camera = camera
    bpy.ops.object.light_add(type="SUN", location=(0.0, 0.0, 3.0), rotation=(0.5, 0.3, 0.0))
    bpy.context.active_object.data.energy = 4.0
    world = bpy.data.worlds.new("sky")
    world.use_nodes = True
    world.node_tree.nodes["Background"].inputs["Color"].default_value = (0.75, 0.8, 0.9, 1.0)
    scene.world = world


def render(scene, arguments):
    scene.render.engine = "CYCLES"
    scene.cycles.device = "CPU"
    scene.cycles.samples = arguments.samples
    scene.cycles.use_denoising = False
    scene.render.resolution_x = arguments.width
    scene.render.resolution_y = arguments.height
    scene.render.resolution_percentage = 100
    scene.render.image_settings.file_format = "PNG"
    scene.render.filepath = arguments.output
    bpy.ops.render.render(write_still=True)


def check_not_blank(path):
    image = bpy.data.images.load(path)
    pixels = list(image.pixels)
    reds = pixels[0::4]
    blues = pixels[2::4]
    if max(reds) - min(reds) < 0.05 and max(blues) - min(blues) < 0.05:
        raise RuntimeError(path + " came out blank")
    print("render_frame.py: wrote %s (%d x %d)" % (path, image.size[0], image.size[1]))


def main():
    arguments = parse_arguments()
    scene = empty_scene()
    parts = []
    if arguments.ply:
        surface = imported_object(bpy.ops.import_mesh.ply, filepath=arguments.ply)
        surface.data.materials.append(water_material())
        parts.append(surface)
    if arguments.vdb:
        volume = imported_object(bpy.ops.object.volume_import, filepath=arguments.vdb)
        grids = volume.data.grids
        grids.load()
        names = {grid.name for grid in grids}
        if not {"density", "surface", "vel"} <= names:
            raise RuntimeError("%s holds the grids %s" % (arguments.vdb, sorted(names)))
        volume.data.materials.append(volume_material())
        parts.append(volume)
    # The demo's files have y up, Blender's z: turn them by +90 degrees about x.
    for part in parts:
        part.rotation_euler = (math.pi / 2, 0.0, 0.0)
    tank_floor()
    camera_and_light(scene)
    render(scene, arguments)
    check_not_blank(arguments.output)


main()
