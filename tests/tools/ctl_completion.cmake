# Tests of the client's completion in a shell.
qx_add_test(ctl_completion_test ctl_machine.cpp ctl_completion_test.cpp LIBS qx_test_support)
target_compile_definitions(ctl_completion_test PRIVATE
  QX_BASH_COMPLETION="${PROJECT_SOURCE_DIR}/packaging/completion/qx_vod_ctl.bash")
add_dependencies(ctl_completion_test qx_vod_ctl qx_vod_service)
