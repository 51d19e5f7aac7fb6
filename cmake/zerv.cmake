# Helpers of the build: a static library a folder, a test program a test file.

function(zerv_common_options target)
  # Our code throws nothing; globals need no constructor and no destructor, because workers may
  # still run while main returns.
  target_compile_options(${target} PRIVATE -fno-exceptions)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(${target} PRIVATE -Wglobal-constructors -Wexit-time-destructors)
  endif()
endfunction()

function(zerv_collect result)
  cmake_parse_arguments(ARG "" "" "SOURCES;EXCEPT" ${ARGN})
  set(found)
  foreach(pattern ${ARG_SOURCES})
    file(GLOB files CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/${pattern})
    list(APPEND found ${files})
  endforeach()
  foreach(pattern ${ARG_EXCEPT})
    file(GLOB files CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/${pattern})
    if(files)
      list(REMOVE_ITEM found ${files})
    endif()
  endforeach()
  if(found)
    list(REMOVE_DUPLICATES found)
  endif()
  list(TRANSFORM found PREPEND ${CMAKE_SOURCE_DIR}/)
  set(${result} ${found} PARENT_SCOPE)
endfunction()

# An empty source keeps a library of a folder without sources valid.
set(ZERV_EMPTY ${CMAKE_BINARY_DIR}/empty.c)
file(CONFIGURE OUTPUT ${ZERV_EMPTY} CONTENT "typedef int zerv_empty;\n")

function(zerv_platform name)
  cmake_parse_arguments(ARG "" "" "SOURCES;EXCEPT;LIBRARIES" ${ARGN})
  zerv_collect(files SOURCES ${ARG_SOURCES} EXCEPT ${ARG_EXCEPT})
  add_library(${name} ${files} ${ZERV_EMPTY})
  zerv_common_options(${name})
  target_link_libraries(${name} PUBLIC ${ARG_LIBRARIES} Threads::Threads)
  set_target_properties(${name} PROPERTIES SOVERSION 2)
endfunction()

function(zerv_library folder)
  cmake_parse_arguments(ARG "" "" "EXCEPT;LIBRARIES" ${ARGN})
  zerv_collect(files SOURCES ${folder}/*.cpp ${folder}/*/*.cpp EXCEPT ${ARG_EXCEPT})
  add_library(${folder} STATIC ${files} ${ZERV_EMPTY})
  zerv_common_options(${folder})
  target_link_libraries(${folder} PUBLIC ${ARG_LIBRARIES} Threads::Threads)
endfunction()

function(zerv_remove_source target file)
  get_target_property(files ${target} SOURCES)
  list(REMOVE_ITEM files ${CMAKE_SOURCE_DIR}/${file})
  set_target_properties(${target} PROPERTIES SOURCES "${files}")
endfunction()

function(zerv_define_hosts)
  foreach(target ${ARGN})
    target_compile_definitions(${target} PRIVATE
      ZERV_LYRICS_HOST="${ZERV_LYRICS_HOST}" ZERV_UPDATE_HOST="${ZERV_UPDATE_HOST}")
  endforeach()
endfunction()

# One program a test file: zerv_test(platform/file/file_test.cpp hobkit) makes the program file_test,
# run in an empty scratch folder of its own.
function(zerv_test file)
  get_filename_component(name ${file} NAME_WE)
  add_executable(${name} ${CMAKE_SOURCE_DIR}/tests/unit/${file})
  target_link_libraries(${name} PRIVATE ${ARGN} GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE
    ZERV_SOURCE_DIR="${CMAKE_SOURCE_DIR}" ZERV_BINARY_DIR="${CMAKE_BINARY_DIR}")
  set(scratch ${CMAKE_BINARY_DIR}/scratch/${name})
  file(MAKE_DIRECTORY ${scratch})
  add_test(NAME unit/${name} COMMAND ${name} WORKING_DIRECTORY ${scratch})
  set_tests_properties(unit/${name} PROPERTIES TIMEOUT 300)
endfunction()
