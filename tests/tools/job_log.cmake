# The log that the built tools keep beside the media.
include(${CMAKE_CURRENT_LIST_DIR}/made_media.cmake)
qx_add_test(tool_log_test tool_log_test.cpp LIBS qx_made_media qx_tools_common)
add_dependencies(tool_log_test qxmi_vod_transcode qxmi_startitem qxmi_grab)
