# Tests of what qx_vod_ctl finds out without the service: doctor, check and report.
qx_add_test(ctl_inspection_unit_test
  ctl_scripted_service.cpp
  ctl_bug_report_units_test.cpp
  ctl_check_units_test.cpp
  ctl_doctor_configuration_test.cpp
  ctl_doctor_findings_test.cpp
  ctl_doctor_remote_test.cpp
  ctl_secret_mask_test.cpp
  ctl_stored_queue_test.cpp
  LIBS qx_ctl qx_test_support)

qx_add_test(ctl_doctor_test
  ctl_machine.cpp
  ctl_doctor_test.cpp
  ctl_queue_copies_test.cpp
  LIBS qx_test_support)
add_dependencies(ctl_doctor_test qx_vod_ctl qx_vod_service)

qx_add_test(ctl_check_test
  ctl_machine.cpp
  ctl_check_agreement_test.cpp
  ctl_check_test.cpp
  LIBS qx_test_support qx_test_media)
add_dependencies(ctl_check_test qx_vod_ctl qx_vod_service qxmi_vod_transcode qxmi_startitem)

qx_add_test(ctl_bug_report_test
  ctl_machine.cpp
  ctl_bug_report_test.cpp
  LIBS qx_test_support qx_test_media)
add_dependencies(ctl_bug_report_test qx_vod_ctl qx_vod_service)

qx_add_test(ctl_log_test
  ctl_machine.cpp
  ctl_log_test.cpp
  LIBS qx_ctl qx_test_support qx_test_media)
add_dependencies(ctl_log_test qx_vod_ctl qx_vod_service qxmi_vod_transcode qxmi_startitem)
