# One set of language and warning settings for every target of the project.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# A build with sanitizers is for finding faults: without optimisation it compiles in a third of the
# time, and nothing is optimised away before it is looked at.
if(NOT CMAKE_BUILD_TYPE)
  if(QX_SANITIZE OR QX_COVERAGE)
    set(CMAKE_BUILD_TYPE Debug CACHE STRING "Build type" FORCE)
  else()
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
  endif()
endif()

# Assertions are part of the service's contract (a broken invariant ends the process), so NDEBUG
# is never defined, whatever the build type.
string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_MINSIZEREL "${CMAKE_CXX_FLAGS_MINSIZEREL}")

# qx_options: linked by every target; brings the source root as include folder.
add_library(qx_options INTERFACE)
target_include_directories(qx_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(qx_options INTERFACE -Wall -Wextra -Wshadow -Wconversion)
target_compile_definitions(qx_options INTERFACE _GNU_SOURCE QX_VERSION="${PROJECT_VERSION}")
if(QX_WERROR)
  target_compile_options(qx_options INTERFACE -Werror)
endif()
if(QX_SANITIZE)
  target_compile_options(qx_options INTERFACE -fsanitize=address,undefined
                         -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(qx_options INTERFACE -fsanitize=address,undefined)
endif()
if(QX_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    message(FATAL_ERROR "QX_FUZZ needs clang++: -DCMAKE_CXX_COMPILER=clang++")
  endif()
  target_compile_options(qx_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(qx_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(QX_COVERAGE)
  target_compile_options(qx_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(qx_options INTERFACE --coverage)
endif()
