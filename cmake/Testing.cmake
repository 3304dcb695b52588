# Optimising the matchers of a test takes much longer than they ever run.
if(NOT MSVC)
    set(RENDERERAUDIO_TEST_OPTIONS -O0 ${RENDERERAUDIO_UNCHECKED_OPTIONS})
endif()

# GoogleTest as the distribution or vcpkg built it; for Windows on another system from the distribution's sources, by this
# build's compiler.
if(CMAKE_CROSSCOMPILING)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
    find_path(GOOGLETEST_SOURCE_DIR googletest/CMakeLists.txt
        PATHS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    add_subdirectory(${GOOGLETEST_SOURCE_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(library gtest gtest_main gmock gmock_main)
        target_compile_options(${library} PRIVATE ${RENDERERAUDIO_TEST_OPTIONS})
    endforeach()
else()
    find_package(GTest CONFIG REQUIRED)
endif()
rendereraudio_precompile(test_headers OPTIONS ${RENDERERAUDIO_TEST_OPTIONS} LIBRARIES GTest::gmock
    HEADERS <gmock/gmock.h> <gtest/gtest.h> ${RENDERERAUDIO_COMMON_HEADERS})

# A sanitizer that finds something fails the test.
set(RENDERERAUDIO_TEST_ENVIRONMENT
    ASAN_OPTIONS=detect_leaks=1:halt_on_error=1
    TSAN_OPTIONS=halt_on_error=1
    UBSAN_OPTIONS=print_stacktrace=1)
# On a bare machine no locale is set; Wine then has no name for most files unless its starter sees to it.
if(CMAKE_CROSSCOMPILING)
    list(APPEND RENDERERAUDIO_TEST_ENVIRONMENT LC_ALL=C)
endif()

# What is shipped is linked by the compiler's own linker.
if(WIN32 AND CMAKE_CROSSCOMPILING AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(RENDERERAUDIO_TEST_LINK_OPTIONS -wrapper ${CMAKE_CURRENT_LIST_DIR}/link-with-lld)
endif()

# rendereraudio_test(NAME [SIMULATED] LABEL label [SOURCES ...] [LIBRARIES ...]): one
# GoogleTest program. Each program is one entry for ctest: starting one process for every case would cost a second
# each under Wine. Its own sources are compiled without optimisation: what they test stands in libraries. With SIMULATED
# they see the simulated platform instead of the machine's own. The target suite_LABEL builds all programs of a label.
function(rendereraudio_test name)
    cmake_parse_arguments(arg "SIMULATED" "LABEL" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    rendereraudio_warnings(${name})
    rendereraudio_join_sources(${name})
    target_compile_options(${name} PRIVATE ${RENDERERAUDIO_TEST_OPTIONS})
    if(arg_SIMULATED)
        rendereraudio_simulate(${name} simulated_test_headers)
    else()
        target_precompile_headers(${name} REUSE_FROM test_headers)
    endif()
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
    target_link_options(${name} PRIVATE ${RENDERERAUDIO_TEST_LINK_OPTIONS})
    if(NOT TARGET suite_${arg_LABEL})
        add_custom_target(suite_${arg_LABEL})
    endif()
    add_dependencies(suite_${arg_LABEL} ${name})
    # The report's path is relative, as GoogleTest under Wine takes one that begins with a slash for such.
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1 --gtest_output=xml:results/${name}.xml
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
    # Compilers name their sanitizers in ways of their own.
    if(CMAKE_CXX_FLAGS MATCHES "sanitize=(address|thread)")
        string(TOUPPER ${CMAKE_MATCH_1} sanitizer)
        target_compile_definitions(${name} PRIVATE UNDER_${sanitizer}_SANITIZER)
    endif()
    # No verdict on the machine: a hang is ended, after ten times and more of what any of them takes.
    set_tests_properties(${name} PROPERTIES LABELS ${arg_LABEL} TIMEOUT 1800
        ENVIRONMENT "${RENDERERAUDIO_TEST_ENVIRONMENT}")
endfunction()
