# Warnings are errors in our own targets, but with Visual C++; dependencies come in as system headers.
function(rendereraudio_warnings target)
    if(MSVC)
        # No errors here: nobody of us sees these warnings before those who build.
        # 4251, 4275: exported classes hold standard types, as all libraries come from one compiler.
        target_compile_options(${target} PRIVATE /W4 /wd4251 /wd4275 /permissive- /utf-8)
    else()
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    endif()
endfunction()
