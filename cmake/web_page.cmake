# Writes the files of a page into a source, so that the program needs no folder beside it:
# cmake -DOUT=FILE.cpp -DTABLE=NAME "-DFILES=a;b" -P web_page.cmake
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
file(WRITE ${OUT} "#include \"platform/device/web/web_http.h\"\n\n${arrays}
extern const web_page_file ${TABLE}[];
constinit const web_page_file ${TABLE}[] = {\n${table}    {nullptr, nullptr, 0},\n};\n")
