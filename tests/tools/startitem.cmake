# Tests of qxmi_startitem: its units, and the built tool on real files.
include(${CMAKE_CURRENT_LIST_DIR}/made_media.cmake)

qx_add_test(startitem_unit_test
  startitem_entries_test.cpp
  startitem_type_test.cpp
  LIBS qx_startitem)

qx_add_test(startitem_test
  startitem_command_line_test.cpp
  startitem_kinds_test.cpp
  startitem_metadata_test.cpp
  startitem_names_test.cpp
  startitem_refusals_test.cpp
  startitem_run.cpp
  LIBS qx_made_media qx_platform)
add_dependencies(startitem_test qxmi_startitem)
