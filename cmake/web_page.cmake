# Writes the files of the page into a source: cmake -DOUT=FILE.cpp "-DFILES=a;b" -P web_page.cmake
# so that the module needs no folder beside it.
set(arrays "")
set(table "")
set(index 0)
foreach(file ${FILES})
  get_filename_component(name ${file} NAME)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "((0x..,){24})" "\\1\n    " bytes "${bytes}")
  string(APPEND arrays "static constexpr uint8_t file_${index}[] = {\n    ${bytes}};\n")
  string(APPEND table "    {\"${name}\", file_${index}, sizeof file_${index}},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE ${OUT} "#include \"platform/device/web/device_web_page.h\"\n\n${arrays}
constinit const web_page_file web_page_files[] = {\n${table}    {nullptr, nullptr, 0},\n};\n")
