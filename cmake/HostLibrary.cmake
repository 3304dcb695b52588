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
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
    rendereraudio_warnings(${name})
endfunction()
