# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts where, and the Debian packages that CPack makes of it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zqm_trx)

install(TARGETS zqm_trx EXPORT zqm_trx_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
get_target_property(platform_target kw::platform ALIASED_TARGET)
if(platform_target)
  install(TARGETS ${platform_target} EXPORT zqm_trx_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
install(DIRECTORY include/kw platform/include/kw
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(ZQM_TRX_TOOLS)
  install(TARGETS trxctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

install(EXPORT zqm_trx_targets NAMESPACE zqm_trx:: DESTINATION ${package_dir}
  COMPONENT development)
# A kit on a GoogleTest built along with it could not be linked anywhere else.
if(TARGET zqm_trx_testkit AND NOT CMAKE_CROSSCOMPILING)
  install(TARGETS zqm_trx_testkit EXPORT zqm_trx_testkit_targets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY testkit/include/kw
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  install(FILES cmake/zqm_trx_module_test.cmake DESTINATION ${package_dir} COMPONENT development)
  install(EXPORT zqm_trx_testkit_targets NAMESPACE zqm_trx:: DESTINATION ${package_dir}
    COMPONENT development)
endif()
configure_package_config_file(cmake/zqm_trx-config.cmake.in zqm_trx-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(zqm_trx-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/zqm_trx-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zqm_trx-config-version.cmake
  cmake/zqm_trx_hap_module.cmake
  DESTINATION ${package_dir} COMPONENT development)

file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/zqm_trx.pc.in zqm_trx.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zqm_trx.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zqm-trx)
set(CPACK_PACKAGE_CONTACT "zqm_trx maintainers <zqm_trx@example.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime platform development)
if(ZQM_TRX_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzqm-trx${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME libkw-platform)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzqm-trx-dev)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zqm-trx-tools)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6, libstdc++6")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libgtest-dev)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_DEPENDS "libc6, libstdc++6")
set(CPACK_COMPONENT_RUNTIME_DEPENDS platform)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Engine that runs HAP functions and HAP tables")
set(CPACK_COMPONENT_PLATFORM_DESCRIPTION "Stand-in for the device's platform libraries")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and build files of the HAP engine")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Command-line tool of the HAP engine")
include(CPack)
