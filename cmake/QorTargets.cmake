# Options and functions that all targets share.

find_program(CCACHE ccache)
if(CCACHE)
  # Without these, ccache does not keep a source that uses a precompiled header.
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

set(QOR_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, \"address,undefined\" or \"thread\"")
option(QOR_FUZZ "Link the fuzz targets with libFuzzer, and compile what they test with its counters (clang only)" OFF)
option(QOR_COVERAGE "Build with coverage counters" OFF)
# The presets switch this on. A plain build leaves it off, so that a newer compiler's new warnings do not break it.
option(QOR_WERROR "Treat warnings as errors" OFF)
# Where each source is compiled alone, saves a quarter of the time of building the program and a third of that of its tests; in
# groups a sixth of the program's. Costs memory, and a cached build some hits. Sources still include what they use: packages, and
# what clang-tidy reads, are compiled without.
option(QOR_PRECOMPILED_HEADERS "Compile headers of the standard library and of the test framework once for many sources" OFF)

# Most of a source's time goes into what it includes. For a first build; whoever changes a source waits for its group. The
# presets "dev" and "asan" show that each source compiles alone.
option(QOR_GROUPED_SOURCES "Compile several sources as one" OFF)
if(QOR_GROUPED_SOURCES)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  file(GLOB_RECURSE headers ${CMAKE_SOURCE_DIR}/cli/*.h ${CMAKE_SOURCE_DIR}/host/*.h ${CMAKE_SOURCE_DIR}/tests/*.h)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/cmake/group_sources.py ${headers})
endif()

# What every source is compiled with.
add_library(qor_warnings INTERFACE)
target_include_directories(qor_warnings INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(
  qor_warnings
  INTERFACE -Wall
            -Wextra
            -Wconversion
            -Wshadow
            $<$<BOOL:${QOR_WERROR}>:-Werror>
            -fno-omit-frame-pointer
            -fstack-protector-strong)
if(QOR_PRECOMPILED_HEADERS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ collects garbage from 128 MiB on. Without that the largest source needs 700 MiB, and all a twelfth less time.
  target_compile_options(qor_warnings INTERFACE --param=ggc-min-heapsize=524288)
endif()
target_link_options(qor_warnings INTERFACE -Wl,--as-needed -Wl,-O1 -Wl,--hash-style=gnu -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text)

# Sanitizers, counters of coverage and of the fuzzer.
add_library(qor_instrumentation INTERFACE)
if(QOR_SANITIZE)
  target_compile_options(qor_instrumentation INTERFACE -fsanitize=${QOR_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(qor_instrumentation INTERFACE -fsanitize=${QOR_SANITIZE})
endif()
if(QOR_COVERAGE)
  target_compile_options(qor_instrumentation INTERFACE --coverage -fprofile-abs-path -fprofile-update=atomic)
  target_link_options(qor_instrumentation INTERFACE --coverage)
endif()

# Not for tests, which switch it off for their folders.
if(QOR_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# All targets but one, which has a sanitizer of its own.
add_library(qor_options INTERFACE)
target_link_libraries(qor_options INTERFACE qor_warnings qor_instrumentation)

# Asio's headers without the library that they once belonged to.
add_library(qor_asio INTERFACE)
target_compile_definitions(qor_asio INTERFACE ASIO_STANDALONE)
if(QOR_SANITIZE STREQUAL "thread")
  # The thread sanitizer does not understand fences.
  target_compile_definitions(qor_asio INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()

# -O2, because g++ 12 gives false warnings about assignments to std::string at -O3.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1 -DNDEBUG -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2")
set(CMAKE_C_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")

# A symbol that nothing defines is an error when the library is linked. With clang, a sanitizer's own symbols are defined only
# in the program.
function(qor_reject_undefined_symbols name)
  if(NOT (QOR_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    target_link_options(${name} PRIVATE -Wl,-z,defs)
  endif()
endfunction()

# qor_group_sources(TARGET [ALONE folder...])
#
# Has the target's C++ sources compiled in groups, if the build is to, but for those in these folders. cmake/group_sources.py
# finds the groups, whenever one of them or a header has changed.
function(qor_group_sources name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "ALONE")
  if(NOT QOR_GROUPED_SOURCES)
    return()
  endif()
  list(TRANSFORM arg_ALONE PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set(sources)
  get_target_property(files ${name} SOURCES)
  foreach(file IN LISTS files)
    cmake_path(ABSOLUTE_PATH file NORMALIZE)
    cmake_path(GET file PARENT_PATH folder)
    cmake_path(IS_PREFIX CMAKE_BINARY_DIR ${file} is_made)
    if(file MATCHES "[.]cpp$" AND EXISTS ${file} AND NOT is_made AND NOT folder IN_LIST arg_ALONE)
      list(APPEND sources ${file})
    endif()
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources})
  execute_process(
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/cmake/group_sources.py 60000 ${sources} # a group takes about ten seconds
    OUTPUT_VARIABLE groups
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE ";" "|" groups "${groups}")
  string(REPLACE "\n" ";" groups "${groups}")
  set(number 0)
  foreach(group IN LISTS groups)
    math(EXPR number "${number} + 1")
    string(REPLACE "|" ";" group "${group}")
    set_source_files_properties(${group} PROPERTIES UNITY_GROUP ${name}_${number})
  endforeach()
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # To g++ a group is a header for what it includes. Its false alarms about texts differ with what is compiled together.
    target_compile_options(
      ${name}
      PRIVATE -Wno-subobject-linkage
              -Wno-array-bounds
              -Wno-restrict
              -Wno-stringop-overflow
              -Wno-stringop-overread)
  endif()
endfunction()

# qor_add_own_library(NAME SYMBOL symbol SOURCES file... LIBRARIES library...)
#
# Adds a library that the platform library loads when it is first needed (host/shared_library.h). It exports the symbol and
# nothing else. Installed into the folder of modules.
function(qor_add_own_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SYMBOL" "SOURCES;LIBRARIES")
  add_library(${name} MODULE ${arg_SOURCES})
  set(exports ${CMAKE_CURRENT_BINARY_DIR}/${name}.map)
  file(CONFIGURE OUTPUT ${exports} CONTENT "{ global: ${arg_SYMBOL}; local: *; };\n")
  # Needs no path to the platform library, which is loaded already.
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${exports} SKIP_BUILD_RPATH ON)
  target_link_libraries(${name} PRIVATE qor_options ${arg_LIBRARIES})
  target_link_options(${name} PRIVATE -Wl,--version-script=${exports})
  qor_reject_undefined_symbols(${name})
  install(TARGETS ${name} LIBRARY DESTINATION ${QOR_MODULE_FOLDER} COMPONENT qorstat)
endfunction()

# qor_add_tests(NAME AREA area SOURCES file... [SINGLE_THREADED file...] [LIBRARIES library...])
#
# Adds a GoogleTest program and registers each of its tests with CTest, with the area as its label. The tests find the
# locale de_DE.UTF-8 through LOCPATH. The thread sanitizer's build leaves out the files that start no thread and call
# nothing that does: it can find nothing there.
function(qor_add_tests name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "AREA" "SOURCES;SINGLE_THREADED;LIBRARIES")
  if(NOT QOR_SANITIZE STREQUAL "thread")
    list(APPEND arg_SOURCES ${arg_SINGLE_THREADED})
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE qor_options ${arg_LIBRARIES} GTest::gmock_main)
  qor_group_sources(${name})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  add_dependencies(${name} test_locales)
  if(QOR_PRECOMPILED_HEADERS)
    target_precompile_headers(${name} REUSE_FROM test_headers)
  endif()
  gtest_discover_tests(
    ${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 1800
    NO_PRETTY_VALUES
    PROPERTIES LABELS ${arg_AREA} TIMEOUT 1800 ENVIRONMENT LOCPATH=${QOR_TEST_LOCALES})
endfunction()
