# The version is that of the newest release in CHANGELOG.md, for the programs as for the package.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
file(STRINGS CHANGELOG.md qx_newest_release REGEX "^## \\[[0-9]" LIMIT_COUNT 1)
string(REGEX MATCH "[0-9]+\\.[0-9]+\\.[0-9]+" qx_newest_release "${qx_newest_release}")
if(NOT qx_newest_release)
  message(FATAL_ERROR "CHANGELOG.md has no release")
endif()
