#What the tests of several tools make their own media with.
include_guard(DIRECTORY)

    add_library(qx_made_media STATIC made_media.cpp made_recording.cpp)
        target_link_libraries(qx_made_media PUBLIC qx_options qx_test_media GTest::gtest)
