# Runs the demo for a few frames with --vdb, then renders the last frame's
# PLY and VDB in Blender; fails when either program fails or no image is
# written. Arguments: DEMO, BLENDER, SCRIPT, WORK_DIR.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
execute_process(
  COMMAND ${DEMO} --frames 4 --resolution 12000 --threads 2 --vdb --output ${WORK_DIR}
  RESULT_VARIABLE demo_result OUTPUT_QUIET)
if(NOT demo_result EQUAL 0)
  message(FATAL_ERROR "the demo failed (${demo_result})")
endif()
set(image ${WORK_DIR}/render.png)
execute_process(
  COMMAND ${BLENDER} -b --factory-startup --python-exit-code 1 -P ${SCRIPT} --
    --ply ${WORK_DIR}/frame_0004.ply --vdb ${WORK_DIR}/frame_0004.vdb --output ${image}
    --width 160 --height 90 --samples 4
  RESULT_VARIABLE blender_result OUTPUT_VARIABLE blender_output ERROR_VARIABLE blender_output)
if(NOT blender_result EQUAL 0 OR NOT EXISTS ${image})
  message(FATAL_ERROR "Blender failed (${blender_result}):\n${blender_output}")
endif()
file(SIZE ${image} image_size)
message(STATUS "rendered ${image} (${image_size} bytes)")
