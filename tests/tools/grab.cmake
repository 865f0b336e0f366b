# Tests of qxmi_grab: its units, and the built tool on real media.
include(${CMAKE_CURRENT_LIST_DIR}/made_media.cmake)

qx_add_test(grab_unit_test
  grab_frame_measure_test.cpp
  grab_frame_search_test.cpp
  grab_quality_test.cpp
  grab_seek_plan_test.cpp
  grab_shape_test.cpp
  LIBS qx_grab)

qx_add_test(grab_test
  grab_colours_test.cpp
  grab_command_line_test.cpp
  grab_names_test.cpp
  grab_outputs_test.cpp
  grab_picture_test.cpp
  grab_refusals_test.cpp
  grab_size_test.cpp
  grab_sound_test.cpp
  LIBS qx_made_media)
add_dependencies(grab_test qxmi_grab)
