# cpack runs this on the tree that it has installed: what is released is made of it.
execute_process(
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/makepackage.py
        ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME} ${CPACK_RENDERERAUDIO_SETTINGS}
    COMMAND_ERROR_IS_FATAL ANY)
