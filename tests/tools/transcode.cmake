# Tests of qxmi_vod_transcode: its units, and the built tool on real media.
include(${CMAKE_CURRENT_LIST_DIR}/made_media.cmake)
qx_add_test(transcode_unit_test
  transcode_cpu_cap_test.cpp
  transcode_profiles_test.cpp
  transcode_progress_test.cpp
  transcode_quote_test.cpp
  transcode_verify_test.cpp
  LIBS qx_transcode)

qx_add_test(transcode_test
  transcode_command_line_test.cpp
  transcode_failures_test.cpp
  transcode_fields_test.cpp
  transcode_names_test.cpp
  transcode_media_test.cpp
  transcode_sound_test.cpp
  transcode_time_test.cpp
  transcode_picture_test.cpp
  LIBS qx_made_media)
add_dependencies(transcode_test qxmi_vod_transcode)

qx_add_test(transcode_signals_test transcode_signals_test.cpp LIBS qx_test_media SERIAL)
add_dependencies(transcode_signals_test qxmi_vod_transcode)
