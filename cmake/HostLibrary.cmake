# rendereraudio_host_library(NAME folder MACRO sources...): one reference host library. A DLL for Windows; a
# static library natively, where the sanitizers want everything in one program.
function(rendereraudio_host_library name macro)
    if(WIN32)
        add_library(${name} SHARED ${ARGN})
        target_compile_definitions(${name} PRIVATE ${macro}_BUILD)
        set_target_properties(${name} PROPERTIES PREFIX "")
    else()
        add_library(${name} STATIC ${ARGN})
        target_compile_definitions(${name} PUBLIC ${macro}_STATIC)
    endif()
    rendereraudio_join_sources(${name})
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
    rendereraudio_warnings(${name})
    rendereraudio_guide_fuzzing(${name})
endfunction()

# What the fuzz targets look for new ways through; programs that are no fuzz targets use it all the same. Counters, not
# -fsanitize=fuzzer-no-link, which would ask the same of the precompiled headers and of every test.
function(rendereraudio_guide_fuzzing target)
    if(RENDERERAUDIO_FUZZ)
        target_compile_options(${target} PRIVATE -fsanitize-coverage=inline-8bit-counters,pc-table,indirect-calls,trace-cmp)
    endif()
endfunction()
