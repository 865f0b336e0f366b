# When a job will be done.
target_sources(qx_ctl PRIVATE estimate.cpp job_history.cpp outlook.cpp)
