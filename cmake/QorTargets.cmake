# What every target of this project shares.

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

set(QOR_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, \"address,undefined\" or \"thread\"")
option(QOR_COVERAGE "Build with coverage counters" OFF)

add_library(qor_options INTERFACE)
target_include_directories(qor_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(
  qor_options
  INTERFACE -Wall
            -Wextra
            -Wconversion
            -Wshadow
            -Werror
            -fno-omit-frame-pointer
            -fstack-protector-strong
            $<$<CONFIG:Release>:-U_FORTIFY_SOURCE
            -D_FORTIFY_SOURCE=2>)
target_link_options(qor_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text)

if(QOR_SANITIZE)
  target_compile_options(qor_options INTERFACE -fsanitize=${QOR_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(qor_options INTERFACE -fsanitize=${QOR_SANITIZE})
endif()
if(QOR_COVERAGE)
  target_compile_options(qor_options INTERFACE --coverage -fprofile-abs-path -fprofile-update=atomic)
  target_link_options(qor_options INTERFACE --coverage)
endif()

# g++ -O3 warns falsely about assignments to std::string; -O2 is clean, and what is measured is built with it.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g1 -DNDEBUG")
set(CMAKE_C_FLAGS_RELEASE "-O2 -g1 -DNDEBUG")

# qor_add_tests(NAME AREA area SOURCES file... [LIBRARIES library...])
#
# One GoogleTest program; CTest knows each of its tests, labelled by area. The tests find the locale de_DE.UTF-8.
function(qor_add_tests name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "AREA" "SOURCES;LIBRARIES")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE qor_options ${arg_LIBRARIES} GTest::gmock_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  add_dependencies(${name} test_locales)
  gtest_discover_tests(
    ${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 1800
    NO_PRETTY_VALUES
    PROPERTIES LABELS ${arg_AREA} TIMEOUT 1800 ENVIRONMENT LOCPATH=${QOR_TEST_LOCALES})
endfunction()
