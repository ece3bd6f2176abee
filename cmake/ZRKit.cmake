# The library as a host links it, and its installation.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# zr_add_kit(NAME [STATIC])
#
# The objects of all layers as one library, shared or static by BUILD_SHARED_LIBS unless it is told. It names no layer,
# so that nothing outside needs to know them.
function(zr_add_kit name)
  add_library(${name} ${ARGN})
  get_property(layers GLOBAL PROPERTY ZR_LAYERS)
  get_property(links GLOBAL PROPERTY ZR_LINKS)
  list(REMOVE_DUPLICATES links)
  foreach(layer IN LISTS layers)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:${layer}>)
  endforeach()
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:ZRBuildFlags> ${links})
  target_compile_features(${name} PUBLIC cxx_std_20)
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX
    OUTPUT_NAME ZRDownloadKit
    EXPORT_NAME ZRDownloadKit
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${name} INTERFACE
    $<BUILD_INTERFACE:${ZRDownloadKit_BINARY_DIR}/include>
    $<BUILD_INTERFACE:${ZRDownloadKit_BINARY_DIR}/include/ZRDownloadKit>)
  get_target_property(type ${name} TYPE)
  if(type STREQUAL SHARED_LIBRARY)
    # Nothing of a library that is linked in, and no instantiation of a standard template, becomes part of the interface.
    set(map ${ZRDownloadKit_SOURCE_DIR}/Classes/ZRDownloadKit.map)
    target_link_options(${name} PRIVATE "LINKER:--version-script=${map}")
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map})
  endif()
endfunction()

# zr_install_kit(NAME RUNTIME component DEVELOPMENT component [EXCLUDE_FROM_ALL])
#
# The library, its public headers, its CMake package and its pkg-config file. Whatever is installed finds the rest
# relative to itself.
function(zr_install_kit name)
  cmake_parse_arguments(kit "EXCLUDE_FROM_ALL" "RUNTIME;DEVELOPMENT" "" ${ARGN})
  set(all)
  if(kit_EXCLUDE_FROM_ALL)
    set(all EXCLUDE_FROM_ALL)
  endif()
  set(include_dir ${CMAKE_INSTALL_INCLUDEDIR}/ZRDownloadKit)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ZRDownloadKit)
  set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  set(made ${CMAKE_CURRENT_BINARY_DIR}/${name}-install)

  # A static library leaves it to the host's linker to find what the objects need.
  get_target_property(type ${name} TYPE)
  set(find_dependencies)
  set(kit_requires "Requires.private: libcurl sqlite3 fmt")
  set(kit_libs "Libs: -L\${libdir} -lZRDownloadKit\nLibs.private: -lSQLiteCpp -pthread")
  if(type STREQUAL STATIC_LIBRARY)
    set(find_dependencies [[
include(CMakeFindDependencyMacro)
find_dependency(Threads)
find_dependency(CURL 7.88)
find_dependency(SQLite3)
find_dependency(SQLiteCpp)
find_dependency(fmt 9)
]])
    set(kit_requires "Requires: libcurl sqlite3 fmt")
    set(kit_libs "Libs: -L\${libdir} -lZRDownloadKit -lSQLiteCpp -pthread")
  endif()
  set(to_prefix /prefix)
  cmake_path(RELATIVE_PATH to_prefix BASE_DIRECTORY /prefix/${pkgconfig_dir})
  set(pkgconfig_prefix "\${pcfiledir}/${to_prefix}")
  if(ZR_PACKAGE)
    set(pkgconfig_prefix ${CMAKE_INSTALL_PREFIX})  # lets pkg-config leave out what is searched anyway
  endif()

  configure_file(${ZRDownloadKit_SOURCE_DIR}/cmake/ZRDownloadKit.pc.in ${made}/ZRDownloadKit.pc @ONLY)
  configure_package_config_file(${ZRDownloadKit_SOURCE_DIR}/cmake/ZRDownloadKitConfig.cmake.in
    ${made}/ZRDownloadKitConfig.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO)
  write_basic_package_version_file(${made}/ZRDownloadKitConfigVersion.cmake COMPATIBILITY SameMajorVersion)

  target_include_directories(${name} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${include_dir}>)
  install(TARGETS ${name} EXPORT ${name}
    LIBRARY
      DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT ${kit_RUNTIME}
      NAMELINK_COMPONENT ${kit_DEVELOPMENT} ${all}
    ARCHIVE
      DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT ${kit_DEVELOPMENT} ${all})
  install(EXPORT ${name}
    FILE ZRDownloadKitTargets.cmake
    NAMESPACE ZRDownloadKit::
    DESTINATION ${package_dir}
    COMPONENT ${kit_DEVELOPMENT} ${all})
  install(FILES
      ${made}/ZRDownloadKitConfig.cmake
      ${made}/ZRDownloadKitConfigVersion.cmake
      ${ZRDownloadKit_SOURCE_DIR}/cmake/ZRDownloadKitToolkits.cmake
    DESTINATION ${package_dir}
    COMPONENT ${kit_DEVELOPMENT} ${all})
  install(FILES ${made}/ZRDownloadKit.pc
    DESTINATION ${pkgconfig_dir}
    COMPONENT ${kit_DEVELOPMENT} ${all})
  get_property(headers GLOBAL PROPERTY ZR_PUBLIC_HEADERS)
  install(FILES ${headers} DESTINATION ${include_dir} COMPONENT ${kit_DEVELOPMENT} ${all})
endfunction()
