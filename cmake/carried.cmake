# A player that is carried to a machine without its libraries: whatever has a static form is linked
# so, and what nobody calls is left out. tools/carried.sh makes trimmed forms of some in the folder
# ZERV_CARRIED, which are found first; what stays shared lies beside the program (packaging/handheld).
set(CMAKE_FIND_LIBRARY_SUFFIXES .a .so)
list(PREPEND CMAKE_FIND_ROOT_PATH ${ZERV_CARRIED})
set(PKG_CONFIG_ARGN --static)
add_link_options(-static-libstdc++ -static-libgcc -Wl,--gc-sections -Wl,--as-needed
  -Wl,--exclude-libs,libharfbuzz.a:libfreetype.a:libsqlite3.a:libstdc++.a:libpng16.a:libexpat.a:libjpeg.a:libtag.a
  -Wl,-rpath-link,${ZERV_CARRIED}/usr/lib)
