# With QX_PRECOMPILE, the headers that most sources of the libraries include are compiled once for
# all of them. Only builds for daily work have it: the others show whether each source includes what
# it uses.
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/precompiled.cpp CONTENT "")
add_library(qx_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/precompiled.cpp)
target_link_libraries(qx_headers PRIVATE qx_options json11)
target_precompile_headers(qx_headers PRIVATE <algorithm> <cstdint> <cstdio> <functional>
                          <json11.hpp> <map> <memory> <string> <string_view> <vector>)

function(qx_precompile_libraries_below)
  foreach(folder ${ARGN})
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target ${targets})
      get_target_property(type ${target} TYPE)
      if(type STREQUAL STATIC_LIBRARY)
        target_precompile_headers(${target} REUSE_FROM qx_headers)
      endif()
    endforeach()
    get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    qx_precompile_libraries_below(${subfolders})
  endforeach()
endfunction()
