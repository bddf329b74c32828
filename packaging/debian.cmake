# Runs before a Debian package is made and brings the installed files into the distribution's form.
if(NOT CPACK_GENERATOR STREQUAL DEB)
  return()
endif()
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}/share)
set(documents ${share}/doc/${CPACK_PACKAGE_NAME})  # the guides stay where they are
file(MAKE_DIRECTORY ${documents})
file(RENAME ${share}/doc/cvsprovider/CHANGELOG.md ${documents}/changelog)

# The newest entry of the changelog, in the distribution's words. Every version has one.
file(READ ${documents}/changelog changes)
string(REGEX MATCH "\n## \\[([0-9.]+)\\] - ([0-9-]+)\n" heading "${changes}")
set(date ${CMAKE_MATCH_2})
if(NOT CMAKE_MATCH_1 STREQUAL CPACK_PACKAGE_VERSION)
  message(FATAL_ERROR "The newest entry of CHANGELOG.md is not that of ${CPACK_PACKAGE_VERSION}")
endif()
string(FIND "${changes}" "${heading}" start)
string(SUBSTRING "${changes}" ${start} -1 changes)
string(REPLACE "${heading}" "\n" changes "${changes}")
string(FIND "${changes}" "\n## " end)
string(SUBSTRING "${changes}" 0 ${end} changes)
string(REGEX REPLACE "\n###[^\n]*" "" changes "${changes}")
string(REGEX REPLACE "\n+" "\n" changes "${changes}")
string(REPLACE "\n  " "\n    " changes "${changes}")
string(REPLACE "\n- " "\n  * " changes "${changes}")
string(REGEX REPLACE "\n$" "" changes "${changes}")
execute_process(COMMAND date -u -R -d ${date} OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
file(WRITE ${documents}/changelog.Debian
  "${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium\n${changes}\n\n"
  " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")

file(GLOB pages ${share}/man/man1/*.1)
execute_process(COMMAND gzip -9n ${documents}/changelog ${documents}/changelog.Debian ${pages}
  COMMAND_ERROR_IS_FATAL ANY)
