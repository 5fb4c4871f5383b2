# Installation and Debian packages, in three components: library, dev, tool. What they hold is built by
# the target `installed`.

include(CMakePackageConfigHelpers)

install(TARGETS lmsupport lmhost
  EXPORT lmsupportTargets
  LIBRARY COMPONENT library NAMELINK_COMPONENT dev)
install(DIRECTORY include/ host/core/ host/thermal/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lmsupport
  COMPONENT dev
  FILES_MATCHING PATTERN *.h PATTERN LMLog.h EXCLUDE PATTERN aidl EXCLUDE)
install(FILES host/hidl/HostServices.h host/hidl/TrackerBase.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lmsupport
  COMPONENT dev)
install(DIRECTORY host/hidl/include/ ${PROJECT_BINARY_DIR}/host/hidl/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lmsupport/hidl-host
  COMPONENT dev
  FILES_MATCHING PATTERN *.h PATTERN *Hw*.h EXCLUDE PATTERN hw*.h EXCLUDE PATTERN Bs*.h EXCLUDE)
install(FILES config/DynamicLoader.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lmsupport/config
  COMPONENT dev)

set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/lmsupport)
install(EXPORT lmsupportTargets NAMESPACE lmsupport:: DESTINATION ${cmake_dir} COMPONENT dev)
configure_package_config_file(cmake/lmsupportConfig.cmake.in lmsupportConfig.cmake
  INSTALL_DESTINATION ${cmake_dir})
write_basic_package_version_file(lmsupportConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES
    ${CMAKE_CURRENT_BINARY_DIR}/lmsupportConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/lmsupportConfigVersion.cmake
    cmake/FindAndroidLog.cmake
    cmake/FindAndroidUtils.cmake
  DESTINATION ${cmake_dir}
  COMPONENT dev)

file(RELATIVE_PATH prefix_from_pc
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
get_filename_component(AndroidLog_LIBRARY_DIR ${AndroidLog_LIBRARY} DIRECTORY)
configure_file(cmake/lmsupport.pc.in lmsupport.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lmsupport.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)

add_custom_target(installed DEPENDS lmsupport lmhost)
if(LMSUPPORT_BUILD_TOOLS)
  add_dependencies(installed lmctl)
  install(TARGETS lmctl COMPONENT tool)
  install(FILES ${PROJECT_BINARY_DIR}/tools/lmctl.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool OPTIONAL)
endif()

set(CPACK_PACKAGE_NAME lmsupport)
set(CPACK_PACKAGE_CONTACT "The lmsupport developers <lmsupport@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_COMPONENTS_ALL library dev tool)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}
  ${CMAKE_CURRENT_BINARY_DIR}/host)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME liblmsupport1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME liblmsupport-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "android-liblog-dev, android-libutils-dev, libsqlite3-dev")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME lmctl)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
include(CPack)
cpack_add_component(library DESCRIPTION "the shared library")
cpack_add_component(dev DESCRIPTION "headers and build files" DEPENDS library)
cpack_add_component(tool DESCRIPTION "command-line tool" DEPENDS library)
