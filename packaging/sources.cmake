# Runs before a package is made and fills a source package with what is under version control.
if(NOT CPACK_PACKAGE_FILE_NAME STREQUAL CPACK_SOURCE_PACKAGE_FILE_NAME)
  return()
endif()
execute_process(COMMAND git archive HEAD COMMAND tar -x -C ${CPACK_TEMPORARY_INSTALL_DIRECTORY}
  WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}/.. COMMAND_ERROR_IS_FATAL ANY)
