# Boost and FFmpeg, each behind a target of our own: builds for Windows take what tools/setup built (what the
# vcpkg manifest brings on Windows itself), native builds the distribution's.
set(RENDERERAUDIO_DEPENDENCIES ${PROJECT_SOURCE_DIR}/build/dependencies.cmake)
if(CMAKE_CROSSCOMPILING AND EXISTS ${RENDERERAUDIO_DEPENDENCIES})
    include(${RENDERERAUDIO_DEPENDENCIES})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${RENDERERAUDIO_DEPENDENCIES})
endif()

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# Under the names that CMake's own module gives them.
if(CMAKE_CROSSCOMPILING)
    if(NOT BOOST_WINDOWS_ROOT)
        message(FATAL_ERROR "Boost for Windows is missing: run tools/setup/setup first")
    endif()
    add_library(Boost::headers INTERFACE IMPORTED)
    target_include_directories(Boost::headers INTERFACE ${BOOST_WINDOWS_ROOT}/include)
    foreach(component thread log)
        add_library(Boost::${component} INTERFACE IMPORTED)
        target_link_libraries(Boost::${component} INTERFACE
            Boost::headers ${BOOST_WINDOWS_ROOT}/lib/libboost_${component}.dll.a)
        target_compile_definitions(Boost::${component} INTERFACE BOOST_ALL_DYN_LINK BOOST_ALL_NO_LIB)
    endforeach()
else()
    find_package(Boost 1.65 REQUIRED COMPONENTS thread log)
    # The thread sanitizer must see in which order a thread and whoever started it let go of what they share: the
    # distribution's library does that unseen.
    if(CMAKE_CXX_FLAGS MATCHES "sanitize=thread")
        include(${RENDERERAUDIO_DEPENDENCIES})
        set(thread_source ${BOOST_WINDOWS_ROOT}/thread-source)
        add_library(instrumented_boost_thread STATIC
            ${thread_source}/future.cpp ${thread_source}/pthread/once.cpp ${thread_source}/pthread/thread.cpp)
        target_compile_definitions(instrumented_boost_thread PRIVATE BOOST_THREAD_BUILD_LIB)
        target_link_libraries(instrumented_boost_thread PRIVATE Boost::headers)
        set_target_properties(Boost::thread PROPERTIES IMPORTED_LOCATION_RELEASE
            ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/libinstrumented_boost_thread.a)
    endif()
endif()

add_library(rendereraudio_ffmpeg INTERFACE)
if(CMAKE_CROSSCOMPILING)
    target_include_directories(rendereraudio_ffmpeg SYSTEM INTERFACE ${FFMPEG_WINDOWS_ROOT}/include)
    foreach(component avformat avcodec swresample avutil)
        target_link_libraries(rendereraudio_ffmpeg INTERFACE ${FFMPEG_WINDOWS_ROOT}/lib/lib${component}.dll.a)
    endforeach()
elseif(WIN32)
    find_package(FFMPEG REQUIRED)
    target_include_directories(rendereraudio_ffmpeg SYSTEM INTERFACE ${FFMPEG_INCLUDE_DIRS})
    target_link_libraries(rendereraudio_ffmpeg INTERFACE ${FFMPEG_LIBRARIES})
else()
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libswresample libavutil)
    target_link_libraries(rendereraudio_ffmpeg INTERFACE PkgConfig::FFMPEG)
endif()
