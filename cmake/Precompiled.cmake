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

# Checks of every pointer that is used: a quarter of the work on a test. What ships has them.
if(CMAKE_CXX_FLAGS MATCHES "sanitize=address,undefined")
    set(RENDERERAUDIO_UNCHECKED_OPTIONS -fno-sanitize=null,alignment,vptr)
endif()

# rendereraudio_join_sources(TARGET): compiles eight sources of a target as one, their templates once: half the work.
# Names in nameless namespaces then have to differ within a target.
function(rendereraudio_join_sources target)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${RENDERERAUDIO_JOIN_SOURCES})
    # A test of a class in a nameless namespace: this compiler takes a joined source for a header.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endif()
endfunction()

# rendereraudio_serve_tests(TARGET [OPTIMIZED] [SHIPPED]): a library that in a build with sanitizers serves tests alone.
# Compiling most of them with optimisation takes longer than they ever run.
function(rendereraudio_serve_tests target)
    cmake_parse_arguments(arg "OPTIMIZED;SHIPPED" "" "" ${ARGN})
    rendereraudio_join_sources(${target})
    if(NOT arg_SHIPPED)
        target_compile_options(${target} PRIVATE ${RENDERERAUDIO_UNCHECKED_OPTIONS})
    endif()
    if(CMAKE_CXX_FLAGS MATCHES "sanitize=" AND NOT arg_OPTIMIZED)
        target_compile_options(${target} PRIVATE -O0)
    endif()
endfunction()

set(RENDERERAUDIO_COMMON_HEADERS
    <algorithm> <array> <atomic> <chrono> <cstdint> <functional> <map> <memory> <mutex> <optional> <string>
    <thread> <utility> <vector>)
