# Tests of qxmi_remote_transcode: its units, a stand-in FTP client, a real FTP server.
qx_add_test(remote_unit_test
  remote_put_command_test.cpp
  LIBS qx_remote_upload)

qx_add_test(remote_test
  remote_client_test.cpp
  remote_command_line_test.cpp
  remote_machine.cpp
  remote_server_test.cpp
  LIBS qx_test_media qx_tools_common)
add_dependencies(remote_test qxmi_remote_transcode)
