# The library for JSON is header-only. Its folder is copied into the build tree: a cross build must not see the rest of
# the distribution's include folder.
if(NOT TARGET rendereraudio_json)
    find_path(JSON_SOURCE_DIR nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    file(COPY ${JSON_SOURCE_DIR}/nlohmann DESTINATION ${PROJECT_BINARY_DIR}/json)
    add_library(rendereraudio_json INTERFACE)
    target_include_directories(rendereraudio_json SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/json)
endif()
