# GoogleTest from the distribution's sources, so that it is built with this build's compiler and sanitizers; from
# vcpkg on Windows itself.
if(WIN32 AND NOT CMAKE_CROSSCOMPILING)
    find_package(GTest CONFIG REQUIRED)
else()
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    find_path(GOOGLETEST_SOURCE_DIR googletest/CMakeLists.txt
        PATHS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    add_subdirectory(${GOOGLETEST_SOURCE_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()

# A sanitizer that finds something fails the test.
set(RENDERERAUDIO_TEST_ENVIRONMENT
    ASAN_OPTIONS=detect_leaks=1:halt_on_error=1
    TSAN_OPTIONS=halt_on_error=1:suppressions=${CMAKE_CURRENT_LIST_DIR}/../tests/tsan.supp
    UBSAN_OPTIONS=print_stacktrace=1)

# rendereraudio_test(NAME [OPTIMIZED] LABEL label [TIMEOUT seconds] [SOURCES ...] [LIBRARIES ...]): one GoogleTest
# program. Each program is one entry for ctest: starting one process for every case would cost a second each under
# Wine. Its own sources are compiled without optimisation unless told otherwise: what they test stands in libraries.
function(rendereraudio_test name)
    cmake_parse_arguments(arg "OPTIMIZED" "LABEL;TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    rendereraudio_warnings(${name})
    if(NOT MSVC AND NOT arg_OPTIMIZED)
        # Optimising the matchers takes much longer than they ever run.
        target_compile_options(${name} PRIVATE -O0)
    endif()
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
    # The report's path is relative, as GoogleTest under Wine takes one that begins with a slash for such.
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1 --gtest_output=xml:results/${name}.xml
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()
    set_tests_properties(${name} PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT}
        ENVIRONMENT "${RENDERERAUDIO_TEST_ENVIRONMENT}")
endfunction()
