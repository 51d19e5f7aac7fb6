# Helpers of the build: a library a folder, a test program a test file.

function(zerv_common_options target)
  # Our code throws nothing; globals need no constructor and no destructor, because workers may
  # still run while main returns.
  target_compile_options(${target} PRIVATE -fno-exceptions ${ZERV_HARDENING})
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(${target} PRIVATE -Wglobal-constructors -Wexit-time-destructors)
  endif()
endfunction()

# A test's time; emulation takes ten times as long.
set(ZERV_TEST_SECONDS 300)
if(CMAKE_CROSSCOMPILING)
  set(ZERV_TEST_SECONDS 3000)
endif()

# An empty source keeps a library of a folder without sources valid.
set(ZERV_EMPTY ${CMAKE_BINARY_DIR}/empty.c)
file(CONFIGURE OUTPUT ${ZERV_EMPTY} CONTENT "typedef int zerv_empty;\n")

# All folders' public headers, for the program's main, tests, tools and benchmarks.
add_library(zerv-headers INTERFACE)
# The workshop's own headers are found by their full names as well.
set(ZERV_WORKSHOP ${CMAKE_BINARY_DIR}/include/workshop)
file(MAKE_DIRECTORY ${ZERV_WORKSHOP})
foreach(folder tests tools fuzz bench demo)
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder} ${ZERV_WORKSHOP}/${folder} SYMBOLIC)
endforeach()
target_include_directories(zerv-headers INTERFACE ${ZERV_WORKSHOP})

# A tree of links in which headers of one folder, and no others, are found by their full names.
function(zerv_link_headers tree folder)
  file(REMOVE_RECURSE ${tree})
  foreach(header ${ARGN})
    get_filename_component(place ${tree}/${folder}/${header} DIRECTORY)
    file(MAKE_DIRECTORY ${place})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder}/${header} ${tree}/${folder}/${header} SYMBOLIC)
  endforeach()
endfunction()

# Which of the five platform libraries a folder goes into.
function(zerv_part_of target result)
  string(REGEX REPLACE "^platform-" "" name ${target})
  if(name MATCHES "^(image|font|audio|db)$")
    set(${result} hobkit-${name} PARENT_SCOPE)
  else()
    set(${result} hobkit PARENT_SCOPE)
  endif()
endfunction()

# The headers of its own folder, private ones included.
function(zerv_include_own target folder)
  string(REPLACE "/" "-" name ${folder})
  target_include_directories(${target} PRIVATE ${CMAKE_BINARY_DIR}/include/own/${name})
endfunction()

# What compiles the sources of a folder: the folder's library, or its objects where the platform
# is built as shared libraries.
function(zerv_compiled target result)
  if(TARGET ${target}-objects)
    set(${result} ${target}-objects PARENT_SCOPE)
  else()
    set(${result} ${target} PARENT_SCOPE)
  endif()
endfunction()

function(zerv_compile_definitions target)
  zerv_compiled(${target} compiled)
  target_compile_definitions(${compiled} PRIVATE ${ARGN})
endfunction()

function(zerv_include target)
  zerv_compiled(${target} compiled)
  target_include_directories(${compiled} PRIVATE ${ARGN})
endfunction()

# Folders that are modules: files beside the program, which it loads when it wants them.
set(ZERV_MODULES platform/audio/tag platform/device/sdl platform/device/web)

# Makes the module of one folder, named after it: zerv-device-sdl.so. It sees the headers of the
# folders below; what it calls of them is the program's own (zerv_host).
function(zerv_module target below sources)
  string(REGEX REPLACE "^platform-" "zerv-" file ${target})
  add_library(${target} MODULE ${sources})
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".so" OUTPUT_NAME ${file}
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/player)
  foreach(other ${below})
    target_include_directories(${target} PRIVATE
      $<TARGET_PROPERTY:${other},INTERFACE_INCLUDE_DIRECTORIES>)
    if(BUILD_SHARED_LIBS)
      target_link_libraries(${target} PRIVATE ${other})
    endif()
  endforeach()
  target_link_libraries(${target} PRIVATE ${LIBRARIES_${target}} Threads::Threads)
  install(TARGETS ${target} LIBRARY DESTINATION lib/zerv-player COMPONENT player)
endfunction()

# Makes the page in a folder part of a target, as the table of its files; its icon is the window's.
function(zerv_web_page target folder table)
  set(source ${CMAKE_BINARY_DIR}/${table}.cpp)
  set(script ${CMAKE_SOURCE_DIR}/cmake/web_page.cmake)
  file(GLOB files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*)
  list(APPEND files ${CMAKE_BINARY_DIR}/player/icon.png)
  add_custom_command(OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -DOUT=${source} -DTABLE=${table} "-DFILES=${files}" -P ${script}
    DEPENDS ${files} ${script} COMMENT "" VERBATIM)
  target_sources(${target} PRIVATE ${source})
endfunction()

# Lets modules call the platform of a program, and builds them with it.
function(zerv_host target)
  target_link_options(${target} PRIVATE -Wl,--dynamic-list=${CMAKE_SOURCE_DIR}/cmake/host.list)
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/host.list)
  foreach(folder ${ZERV_MODULES})
    string(REPLACE "/" "-" module ${folder})
    if(TARGET ${module})
      add_dependencies(${target} ${module})
    endif()
  endforeach()
endfunction()

# Makes the library of one folder, without the sources that WITHOUT_NAME lists.
#   below    targets of the folders it may include, link and call
#   public   headers that others may include
function(zerv_folder folder below public)
  string(REPLACE "/" "-" target ${folder})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
  list(REMOVE_ITEM sources ${CMAKE_SOURCE_DIR}/core/main.cpp)
  foreach(name ${WITHOUT_${target}})
    list(REMOVE_ITEM sources ${CMAKE_SOURCE_DIR}/${folder}/${name})
  endforeach()
  file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/${folder}
    ${CMAKE_SOURCE_DIR}/${folder}/*.h)
  zerv_link_headers(${CMAKE_BINARY_DIR}/include/own/${target} ${folder} ${headers})
  zerv_link_headers(${CMAKE_BINARY_DIR}/include/public/${target} ${folder} ${public})

  if(folder IN_LIST ZERV_MODULES)
    zerv_module(${target} "${below}" "${sources}")
    zerv_include_own(${target} ${folder})
    zerv_common_options(${target})
    return()
  endif()
  if(BUILD_SHARED_LIBS AND folder MATCHES "^platform/")
    zerv_part_of(${target} part)
    add_library(${target}-objects OBJECT ${sources} ${ZERV_EMPTY})
    target_sources(${part} PRIVATE $<TARGET_OBJECTS:${target}-objects>)
    target_link_libraries(${part} PRIVATE ${LIBRARIES_${target}} Threads::Threads)
    foreach(other ${below})
      zerv_part_of(${other} lower)
      if(NOT lower STREQUAL part)
        target_link_libraries(${part} PRIVATE ${lower})
      endif()
    endforeach()
    add_library(${target} INTERFACE)
    target_link_libraries(${target} INTERFACE ${part})
    set(compiled ${target}-objects)
    # Objects see the headers of the folders below, but belong to a library that links them.
    foreach(other ${below})
      target_include_directories(${compiled} PRIVATE
        $<TARGET_PROPERTY:${other},INTERFACE_INCLUDE_DIRECTORIES>)
    endforeach()
    target_link_libraries(${compiled} PRIVATE ${LIBRARIES_${target}} Threads::Threads)
  else()
    add_library(${target} STATIC ${sources} ${ZERV_EMPTY})
    set(compiled ${target})
    target_link_libraries(${compiled} PRIVATE ${below} ${LIBRARIES_${target}} Threads::Threads)
  endif()
  target_include_directories(${target} INTERFACE ${CMAKE_BINARY_DIR}/include/public/${target})
  target_include_directories(zerv-headers INTERFACE ${CMAKE_BINARY_DIR}/include/public/${target})
  # A public header may show headers of the folders below its own.
  foreach(other ${below})
    target_include_directories(${target} INTERFACE
      $<TARGET_PROPERTY:${other},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
  zerv_include_own(${compiled} ${folder})
  zerv_common_options(${compiled})
endfunction()

# Makes all folders of the plan, lowest first; tools/layers.py says what the lines mean.
function(zerv_house plan)
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${plan})
  if(BUILD_SHARED_LIBS)
    foreach(part hobkit hobkit-image hobkit-font hobkit-audio hobkit-db)
      add_library(${part} SHARED ${ZERV_EMPTY})
      set_target_properties(${part} PROPERTIES SOVERSION 2)
      install(TARGETS ${part} LIBRARY DESTINATION lib/zerv-player NAMELINK_SKIP COMPONENT player)
    endforeach()
  endif()
  set(all)
  file(STRINGS ${plan} lines REGEX "^[a-z]")
  foreach(line ${lines})
    string(REGEX REPLACE "^([a-z/]+) *\\|([^|]*)\\|(.*)$" "\\1;\\2;\\3" fields "${line}")
    list(GET fields 0 folder)
    list(GET fields 1 names)
    list(GET fields 2 public)
    separate_arguments(names)
    separate_arguments(public)
    set(below)
    foreach(name ${names})
      string(REPLACE "/" "-" name ${name})
      if(name MATCHES "^(.*-)\\*$")
        set(group ${all})
        list(FILTER group INCLUDE REGEX "^${CMAKE_MATCH_1}")
        list(APPEND below ${group})
      elseif(name IN_LIST all)
        list(APPEND below ${name})
      else()
        message(FATAL_ERROR "${plan}: ${folder} names ${name}, which does not stand below it")
      endif()
    endforeach()
    if((folder STREQUAL "platform/device/sdl" AND NOT ZERV_SDL) OR
       (folder STREQUAL "platform/device/web" AND NOT ZERV_WEB))
      continue()
    endif()
    # The linker reads static libraries in order: the highest first.
    list(REVERSE below)
    zerv_folder(${folder} "${below}" "${public}")
    if(NOT folder IN_LIST ZERV_MODULES)
      string(REPLACE "/" "-" target ${folder})
      list(APPEND all ${target})
    endif()
  endforeach()
  set(ZERV_FOLDERS ${all} PARENT_SCOPE)
endfunction()

function(zerv_define_key target)
  string(LENGTH "${ZERV_UPDATE_KEY}" length)
  if(NOT ZERV_UPDATE_KEY MATCHES "^[0-9a-fA-F]*$" OR (ZERV_UPDATE_KEY AND NOT length EQUAL 64))
    message(FATAL_ERROR "ZERV_UPDATE_KEY is no key: 64 hexadecimal digits, as in update.key")
  endif()
  target_compile_definitions(${target} PRIVATE ZERV_UPDATE_KEY="${ZERV_UPDATE_KEY}")
endfunction()

# One program a test file: zerv_test(platform/file/file_test.cpp platform/file) makes the program
# file_test of the folder's library, run in an empty scratch folder of its own.
function(zerv_test file folder)
  get_filename_component(name ${file} NAME_WE)
  add_executable(${name} ${CMAKE_SOURCE_DIR}/tests/unit/${file})
  target_link_libraries(${name} PRIVATE ${ARGN} zerv-headers GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  zerv_include_own(${name} ${folder})
  # The tests themselves need not be fast, but to be built soon.
  target_compile_options(${name} PRIVATE -O0)
  # Only where they are used: a path in the command line keeps checkouts from sharing a cache.
  file(STRINGS ${CMAKE_SOURCE_DIR}/tests/unit/${file} places REGEX "ZERV_(SOURCE|BINARY)_DIR")
  if(places)
    target_compile_definitions(${name} PRIVATE
      ZERV_SOURCE_DIR="${CMAKE_SOURCE_DIR}" ZERV_BINARY_DIR="${CMAKE_BINARY_DIR}")
  endif()
  set(scratch ${CMAKE_BINARY_DIR}/scratch/${name})
  file(MAKE_DIRECTORY ${scratch})
  add_test(NAME unit/${name} COMMAND ${name} WORKING_DIRECTORY ${scratch})
  set_tests_properties(unit/${name} PROPERTIES TIMEOUT ${ZERV_TEST_SECONDS})
endfunction()

# Cores without 64-bit atomics take them from a library.
function(zerv_link_atomics)
  include(CheckCXXSourceCompiles)
  set(source "#include <atomic>
#include <cstdint>
std::atomic<int64_t> counter{0};
int main(int count, char **) { return static_cast<int>(counter += count); }")
  check_cxx_source_compiles("${source}" ZERV_HAS_ATOMICS)
  if(NOT ZERV_HAS_ATOMICS AND ZERV_CARRIED)
    link_libraries(-l:libatomic.a)
  elseif(NOT ZERV_HAS_ATOMICS)
    link_libraries(atomic)
  endif()
endfunction()

# A program that makes files for the build, as the command to run and what to depend on: of this
# build, or of ZERV_HOST_BUILD, where FILE is its place.
function(zerv_maker result target file)
  if(CMAKE_CROSSCOMPILING AND ZERV_HOST_BUILD)
    set(${result} ${ZERV_HOST_BUILD}/${file} PARENT_SCOPE)
  else()
    set(${result} ${target} PARENT_SCOPE)
  endif()
endfunction()

# Compiles a source of the tests and puts static libraries of C with it into one object, which keeps their
# names for itself: the library that decodes without floating point has functions of the same names.
# The result is the object's place.
function(zerv_enclose result name source)
  add_library(${name} OBJECT ${source})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests ${ZERV_WORKSHOP})
  target_compile_options(${name} PRIVATE -O0)
  set(archives)
  foreach(file ${ARGN})
    find_library(ZERV_ARCHIVE_${file} NAMES ${file} REQUIRED)
    list(APPEND archives ${ZERV_ARCHIVE_${file}})
  endforeach()
  set(object ${CMAKE_BINARY_DIR}/${name}.o)
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -o ${object} $<TARGET_OBJECTS:${name}> ${archives}
    COMMAND ${CMAKE_COMMAND} -DOBJECT=${object} -DNAME=enclosed_${name} -DNM=${CMAKE_NM}
      -DOBJCOPY=${CMAKE_OBJCOPY} -P ${CMAKE_SOURCE_DIR}/cmake/enclose.cmake
    DEPENDS ${name} $<TARGET_OBJECTS:${name}> COMMENT "" VERBATIM)
  set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
  set(${result} ${object} PARENT_SCOPE)
endfunction()
