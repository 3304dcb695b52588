# Warnings are errors in our own targets; dependencies come in as system headers.
function(rendereraudio_warnings target)
    if(MSVC)
        # 4251, 4275: exported classes hold standard types, as all libraries come from one compiler.
        target_compile_options(${target} PRIVATE /W4 /WX /wd4251 /wd4275 /permissive- /utf-8)
    else()
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    endif()
endfunction()
