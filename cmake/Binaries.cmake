# What a binary for Windows by GCC is beside its code: protected, and the same wherever and whenever it is built. High
# entropy ASLR and NX are this linker's defaults.
if(NOT MINGW)
    return()
endif()
set(protection -fstack-protector-strong)
# Debuggers and messages name sources from the top of the checkout. Of nested folders the last one counts.
set(replaced_paths -ffile-prefix-map=${PROJECT_BINARY_DIR}=build -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
if(CMAKE_CROSSCOMPILING)
    list(APPEND replaced_paths
        -ffile-prefix-map=${BOOST_WINDOWS_ROOT}=boost -ffile-prefix-map=${FFMPEG_WINDOWS_ROOT}=ffmpeg)
endif()
add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:${protection};${replaced_paths}>")
add_link_options(${protection} -Wl,--no-insert-timestamp)
