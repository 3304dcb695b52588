# embed.cmake: writes OUT, a C++ source with the script, the style sheet and the notice of the report's page. Run by the
# build with the files of each in SCRIPTS, STYLES and NOTICES, in their order.

# embed(NAME OUT FILE...): the texts one after the other, as C++. A policy tells a script by the hash of its very bytes:
# they are hashed and written down from one and the same file.
function(embed name out)
    set(joined ${OUT}.${name})
    file(WRITE ${joined} "")
    foreach(path ${ARGN})
        file(READ ${path} text)
        # Readers of HTML take a carriage return away, and would hash another script.
        string(REPLACE "\r" "" text "${text}")
        # Readers need neither indentation nor what is for those who read the sources.
        string(REGEX REPLACE "\n +" "\n" text "\n${text}")
        string(REGEX REPLACE "\n//[^\n]*" "" text "${text}")
        string(REGEX REPLACE "^\n+" "" text "${text}")
        if(text MATCHES "</(script|style)")
            message(FATAL_ERROR "${path} would end the element that holds it")
        endif()
        file(APPEND ${joined} "${text}\n")
    endforeach()
    file(READ ${joined} bytes HEX)
    file(SHA256 ${joined} hash)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(REGEX REPLACE "(..)" "0x\\1," hash "${hash}")
    # An array: compilers have a limit for the length of texts.
    set(${out} "constexpr unsigned char ${name}Bytes[] = {${bytes}};
constexpr std::array<std::uint8_t, 32> ${name}Hash = {{${hash}}};
std::string_view View${name}() {
    return {reinterpret_cast<char const*>(${name}Bytes), sizeof ${name}Bytes};
}
" PARENT_SCOPE)
endfunction()

embed(Script script ${SCRIPTS})
embed(Style style ${STYLES})
embed(Notice notice ${NOTICES})
file(WRITE ${OUT} "#include \"page/pageassets.h\"

namespace AudioHost {
namespace {
${script}${style}${notice}
} // namespace

PageAsset PageScript() {
    return {ViewScript(), ScriptHash};
}

PageAsset PageStyle() {
    return {ViewStyle(), StyleHash};
}

PageAsset PageNotice() {
    return {ViewNotice(), NoticeHash};
}

} // namespace AudioHost
")
