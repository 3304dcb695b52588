# rendereraudio_precompile(SET [OPTIONS ...] [LIBRARIES ...] HEADERS ...): headers that nearly every source of many
# targets includes, compiled once. A target takes them with target_precompile_headers(TARGET REUSE_FROM SET); it has
# to be compiled with the same options. CMAKE_DISABLE_PRECOMPILE_HEADERS compiles every source by its own includes
# alone.
function(rendereraudio_precompile set)
    cmake_parse_arguments(arg "" "" "OPTIONS;LIBRARIES;HEADERS" ${ARGN})
    # A target has a source.
    set(source ${PROJECT_BINARY_DIR}/precompiled.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "")
    add_library(${set} OBJECT ${source})
    target_compile_options(${set} PRIVATE ${arg_OPTIONS})
    target_link_libraries(${set} PRIVATE ${arg_LIBRARIES})
    rendereraudio_warnings(${set})
    target_precompile_headers(${set} PRIVATE ${arg_HEADERS})
endfunction()

# Checks of every pointer that is used: a quarter of the work on a test, and AddressSanitizer finds what they find.
if(CMAKE_CXX_FLAGS MATCHES "sanitize=address,undefined")
    set(RENDERERAUDIO_UNCHECKED_OPTIONS -fno-sanitize=null,alignment,vptr)
endif()

# rendereraudio_join_sources(TARGET...): compiles eight sources of a target as one, their templates once: half the work.
# Names in nameless namespaces then have to differ within a target.
function(rendereraudio_join_sources)
    set_target_properties(${ARGN} PROPERTIES UNITY_BUILD ${RENDERERAUDIO_JOIN_SOURCES})
    # A test of a class in a nameless namespace: this compiler takes a joined source for a header.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        foreach(target ${ARGN})
            target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
        endforeach()
    endif()
endfunction()

# rendereraudio_serve_tests([OPTIMIZED] TARGET...): libraries that in this build serve tests alone. Where it has
# sanitizers, compiling most of them with optimisation takes longer than they ever run.
function(rendereraudio_serve_tests)
    cmake_parse_arguments(arg "OPTIMIZED" "" "" ${ARGN})
    rendereraudio_join_sources(${arg_UNPARSED_ARGUMENTS})
    if(NOT CMAKE_CXX_FLAGS MATCHES "sanitize=")
        return()
    endif()
    foreach(target ${arg_UNPARSED_ARGUMENTS})
        target_compile_options(${target} PRIVATE ${RENDERERAUDIO_UNCHECKED_OPTIONS})
        if(NOT arg_OPTIMIZED)
            target_compile_options(${target} PRIVATE -O0)
        endif()
    endforeach()
endfunction()

set(RENDERERAUDIO_COMMON_HEADERS
    <algorithm> <array> <atomic> <chrono> <cstdint> <functional> <map> <memory> <mutex> <optional> <string>
    <thread> <utility> <vector>)
