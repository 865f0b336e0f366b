# The gateway: its parts, then the program as a web server runs it.
qx_add_test(cgi_test
  cgi_answer_test.cpp
  cgi_fuzz_test.cpp
  cgi_input_test.cpp
  cgi_media_files_test.cpp
  cgi_page_command_test.cpp
  cgi_page_query_test.cpp
  cgi_queue_view_test.cpp
  cgi_request_test.cpp
  LIBS qx_cgi)

qx_add_test(cgi_program_test cgi_program_test.cpp LIBS qx_cgi qx_test_support)
add_dependencies(cgi_program_test vod_cgi)
target_compile_definitions(cgi_program_test PRIVATE QX_VOD_CGI="$<TARGET_FILE:vod_cgi>")
