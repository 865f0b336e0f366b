# Provides the target `unistring`: the widths of characters and the case of letters. The library does not come
# with a package configuration.
find_path(QX_UNISTRING_INCLUDE_DIR uniwidth.h REQUIRED)
find_library(QX_UNISTRING_LIBRARY unistring REQUIRED)
add_library(unistring INTERFACE)
target_include_directories(unistring SYSTEM INTERFACE ${QX_UNISTRING_INCLUDE_DIR})
target_link_libraries(unistring INTERFACE ${QX_UNISTRING_LIBRARY})
