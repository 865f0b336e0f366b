# Tests of qx_vod_ctl: its units against scripted answers, and the built program against the real
# service with stand-in tools.
qx_add_test(ctl_unit_test
  ctl_scripted_service.cpp
  ctl_add_test.cpp
  ctl_held_job_test.cpp
  ctl_id_resolver_test.cpp
  ctl_item_view_test.cpp
  ctl_job_waiter_test.cpp
  ctl_media_folder_test.cpp
  ctl_media_path_test.cpp
  ctl_queue_reader_test.cpp
  ctl_queue_screen_test.cpp
  ctl_service_connection_test.cpp
  ctl_stopping_order_test.cpp
  ctl_terminal_text_test.cpp
  ctl_watch_keys_test.cpp
  ctl_watch_model_test.cpp
  ctl_watch_screen_test.cpp
  ctl_watcher_test.cpp
  LIBS qx_ctl)

qx_add_test(ctl_test
  ctl_machine.cpp
  ../remote/remote_bench.cpp
  ctl_command_line_test.cpp
  ctl_files_test.cpp
  ctl_held_jobs_test.cpp
  ctl_ids_test.cpp
  ctl_queue_test.cpp
  ctl_status_test.cpp
  ctl_selection_test.cpp
  ctl_subcommands_test.cpp
  ctl_terminal.cpp
  ctl_wait_test.cpp
  ctl_watch_test.cpp
  LIBS qx_test_support)
add_dependencies(ctl_test qx_vod_ctl qx_vod_service)
