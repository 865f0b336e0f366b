# doctor, check and report: the parts of the client that need no service.
target_sources(qx_ctl PRIVATE
  bug_report/bug_report.cpp
  bug_report/new_file.cpp
  bug_report/report_parts.cpp
  bug_report/stored_item.cpp
  bug_report/versions.cpp
  check/admission.cpp
  check/profile_choice.cpp
  check/prospect.cpp
  check/prospect_output.cpp
  cmd_check.cpp
  cmd_doctor.cpp
  cmd_queue.cpp
  cmd_report.cpp
  doctor/cluster.cpp
  doctor/configuration.cpp
  doctor/configuration_findings.cpp
  doctor/doctor.cpp
  doctor/engine_parts.cpp
  doctor/engine_sandbox.cpp
  doctor/file_owner.cpp
  doctor/finding.cpp
  doctor/left_metadata.cpp
  doctor/left_overs.cpp
  doctor/machine.cpp
  doctor/media_settings.cpp
  doctor/node_answers.cpp
  doctor/own_files.cpp
  doctor/programs.cpp
  doctor/remote_server.cpp
  doctor/service_findings.cpp
  doctor/service_process.cpp
  private_folder.cpp
  queue_copy/restore.cpp
  queue_copy/stored_queue.cpp
  text_file.cpp)
target_link_libraries(qx_ctl PUBLIC qx_identify)
