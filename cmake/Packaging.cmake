# cmake --install gives a relocatable tree: bin with every DLL that the module needs at run time, import libraries, public
# headers, a CMake package, pkg-config files, documentation and examples. CPack makes a zip of it, and without Visual C++
# what is released: package/makepackage.py.
if(NOT WIN32)
    return()
endif()
include(CMakePackageConfigHelpers)

set(package_dir lib/cmake/RendererAudio)
set(libraries rendereraudio mediacodec mediapipeline mediacore devparams kovra)

# What a host's compiler has to agree on with this one. The header that says so is checked against the library's own
# sources, too.
set(RENDERERAUDIO_RENDERER_BYTES 72)
get_target_property(boost_headers Boost::headers INTERFACE_INCLUDE_DIRECTORIES)
find_file(boost_version_header boost/version.hpp PATHS ${boost_headers} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH NO_CACHE
    REQUIRED)
file(STRINGS ${boost_version_header} boost_version REGEX "^#define BOOST_VERSION [0-9]+$")
string(REGEX REPLACE "[^0-9]" "" boost_version "${boost_version}")
math(EXPR RENDERERAUDIO_BOOST_VERSION_NUMBER "${boost_version} / 100")
math(EXPR major "${boost_version} / 100000")
math(EXPR minor "${RENDERERAUDIO_BOOST_VERSION_NUMBER} % 1000")
math(EXPR patch "${boost_version} % 100")
set(RENDERERAUDIO_BOOST_VERSION ${major}.${minor}.${patch})
set(build_header ${PROJECT_BINARY_DIR}/include/rendereraudiobuild.h)
configure_file(cmake/rendereraudiobuild.h.in ${build_header} @ONLY)
target_include_directories(rendereraudio PUBLIC $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>)
target_compile_definitions(rendereraudio INTERFACE $<INSTALL_INTERFACE:BOOST_THREAD_WIN32>)

install(TARGETS ${libraries} EXPORT RendererAudioTargets
    RUNTIME DESTINATION bin ARCHIVE DESTINATION lib LIBRARY DESTINATION lib)
# Not exported with them: the package makes its target, which needs none of the others and has an import library for each
# ABI.
install(TARGETS rendereraudio_c RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(TARGETS audiohost RUNTIME DESTINATION bin)
foreach(library kovra mediacore pipeline codec devparams)
    install(DIRECTORY host/${library}/include/ DESTINATION include)
endforeach()
install(FILES
    media/src/rendereraudio/rendereraudio.h
    media/src/rendereraudio/rendereraudiocapturedevice.h
    media/src/rendereraudio/rendereraudiocaptureproxy.h
    media/src/rendereraudio/rendereraudioexport.h
    media/src/rendereraudio/rendereraudioplaybackdevice.h
    ${build_header}
    DESTINATION include/rendereraudio)
install(DIRECTORY sdk/include/ DESTINATION include)
install(FILES sdk/rendereraudio_c.def DESTINATION lib)
if(CMAKE_CROSSCOMPILING)
    install(FILES ${PROJECT_BINARY_DIR}/lib/msvc/rendereraudio_c.lib DESTINATION lib/msvc)
endif()
install(EXPORT RendererAudioTargets NAMESPACE Media:: DESTINATION ${package_dir})

configure_package_config_file(cmake/package/RendererAudioConfig.cmake.in
    ${PROJECT_BINARY_DIR}/RendererAudioConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RendererAudioConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/RendererAudioConfig.cmake
    ${PROJECT_BINARY_DIR}/RendererAudioConfigVersion.cmake
    DESTINATION ${package_dir})

foreach(name rendereraudio rendereraudio_c)
    configure_file(cmake/package/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION lib/pkgconfig)
endforeach()

# What the linker found in the tool chain and in the cached builds, beside our own DLLs.
if(MINGW)
    foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libssp-0.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
            OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT IS_ABSOLUTE "${path}")
            message(FATAL_ERROR "the tool chain has no ${name}")
        endif()
        install(FILES ${path} DESTINATION bin)
    endforeach()
endif()
if(CMAKE_CROSSCOMPILING)
    install(DIRECTORY ${BOOST_WINDOWS_ROOT}/bin/ ${FFMPEG_WINDOWS_ROOT}/bin/ DESTINATION bin
        FILES_MATCHING PATTERN "*.dll")
endif()
install(FILES cmake/package/README.md CHANGELOG.md DESTINATION .)
install(DIRECTORY examples DESTINATION .)
# What is of use to a host; how this is tested and why it became so is of use to those who change it. The reference comes as
# pages.
install(DIRECTORY docs DESTINATION .
    PATTERN testing.md EXCLUDE PATTERN decisions EXCLUDE PATTERN Doxyfile EXCLUDE PATTERN reference.md EXCLUDE)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME rendereraudio)
set(CPACK_PACKAGE_VENDOR "rendereraudio developers")
set(CPACK_PACKAGE_FILE_NAME rendereraudio-${PROJECT_VERSION}-windows-x86_64)
if(MINGW AND CMAKE_CROSSCOMPILING)
    configure_file(cmake/package/settings.json.in ${PROJECT_BINARY_DIR}/package.json @ONLY)
    set(CPACK_GENERATOR External)
    set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${PROJECT_SOURCE_DIR}/cmake/package/package.cmake)
    set(CPACK_EXTERNAL_ENABLE_STAGING ON)
    set(CPACK_RENDERERAUDIO_SETTINGS ${PROJECT_BINARY_DIR}/package.json)
endif()
include(CPack)
