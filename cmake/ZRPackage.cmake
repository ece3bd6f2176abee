# Debian packages: the library for programs that use it, the headers for who builds such programs, and zrdl. CPack makes
# them; scripts/package runs it. ZR_PACKAGE adds what a package holds beyond an installation.

set(ZR_PACKAGE_MAINTAINER "ZRDownloadKit developers <zrdownloadkit@example.org>" CACHE STRING
  "Who answers for the packages, as in \"Name <address>\"")
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  message(FATAL_ERROR "packages are built with the prefix /usr, by the preset \"package\"")
endif()

set(folder ${CMAKE_CURRENT_LIST_DIR}/package)
set(package_Runtime libzrdownloadkit${PROJECT_VERSION_MAJOR})
set(package_Development libzrdownloadkit-dev)
set(package_Tool zrdl)

set(changelog ${CMAKE_CURRENT_BINARY_DIR}/package/changelog.gz)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${folder}/changelog.in package/changelog @ONLY)
execute_process(
  COMMAND gzip -9nc changelog
  WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/package
  OUTPUT_FILE ${changelog}
  COMMAND_ERROR_IS_FATAL ANY)
foreach(component Runtime Development Tool)
  install(FILES ${folder}/copyright ${changelog}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package_${component}}
    COMPONENT ${component})
endforeach()

# The guide and the reference, as scripts/docs builds them.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package_Development}
  COMPONENT Development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zrdownloadkit)
set(CPACK_PACKAGE_VENDOR "ZRDownloadKit developers")
set(CPACK_PACKAGE_CONTACT "${ZR_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL Runtime Development Tool)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${package_Runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "offline-video downloads for desktop players
A library that a video player loads into its own process to download videos
for watching offline: HLS, MP4, and videos shared on the local network.
Downloads survive a restart and continue where they stopped.")
# Policy wants the trigger; CPack calls ldconfig on top of it.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${folder}/triggers)

set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${package_Development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# pkg-config wants the .pc files of what the library uses itself.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libcurl4-openssl-dev | libcurl4-gnutls-dev, libsqlite3-dev, libfmt-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "offline-video downloads for desktop players - development files
A library that a video player loads into its own process to download videos
for watching offline: HLS, MP4, and videos shared on the local network.

This package holds the headers, the CMake package, the pkg-config file, and
the guide and the reference as pages for a browser.")

set(CPACK_COMPONENT_TOOL_DEPENDS Runtime)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${package_Tool})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/Classes)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "offline-video downloads from the command line
Downloads HLS videos, MP4 files and videos shared on the local network,
continues interrupted downloads, lists and removes them. It is the
command-line host of the library ZRDownloadKit.")

include(CPack)
