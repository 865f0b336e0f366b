# Tests of the client's estimates.
qx_add_test(ctl_estimate_test ctl_estimate_test.cpp ctl_job_history_test.cpp LIBS qx_ctl)
