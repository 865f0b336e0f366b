# Provides the target `json11`: an installed one where CMake or pkg-config finds it, else the two
# files of the library taken from Debian's source package that carries them (see fetch_json11.sh).
find_package(json11 CONFIG QUIET)
if(TARGET json11::json11)
  add_library(json11 INTERFACE)
  target_link_libraries(json11 INTERFACE json11::json11)
  return()
endif()

find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
  pkg_check_modules(JSON11 QUIET IMPORTED_TARGET json11)
  if(TARGET PkgConfig::JSON11)
    add_library(json11 INTERFACE)
    target_link_libraries(json11 INTERFACE PkgConfig::JSON11)
    return()
  endif()
endif()

set(QX_JSON11_DIR ${CMAKE_BINARY_DIR}/json11 CACHE PATH
    "Folder with json11.cpp and json11.hpp; filled by the build when it is empty")
execute_process(COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/fetch_json11.sh ${QX_JSON11_DIR}
                RESULT_VARIABLE json11_fetch_result)
if(NOT json11_fetch_result EQUAL 0)
  message(FATAL_ERROR "json11 could not be had; see the lines above")
endif()

add_library(json11 STATIC ${QX_JSON11_DIR}/json11.cpp)
target_include_directories(json11 SYSTEM PUBLIC ${QX_JSON11_DIR})
if(QX_SANITIZE)
  target_compile_options(json11 PRIVATE -fsanitize=address,undefined -fno-omit-frame-pointer)
endif()
