# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts where. It installs the same whatever was built before.
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
install(FILES ring/include/kw/trace_record.h ring/include/kw/trace_recorder.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kw COMPONENT development)
install(TARGETS zqm_trx_recorder EXPORT zqm_trx_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT recorder
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(ZQM_TRX_TOOLS)
  install(FILES cmake/zqm_trx_table_test.cmake DESTINATION ${package_dir} COMPONENT development)
  # The tool runs where the platform library is another one, and hosts have another engine: it has
  # copies of its own, which it finds wherever the prefix goes. In the older form of the search path
  # they come before what LD_LIBRARY_PATH names for hosts.
  set(private_dir ${CMAKE_INSTALL_LIBDIR}/trxctl)
  set_target_properties(trxctl PROPERTIES INSTALL_RPATH $ORIGIN/${zqm_trx_bin_to_private})
  target_link_options(trxctl PRIVATE LINKER:--disable-new-dtags)
  install(TARGETS trxctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(TARGETS zqm_trx kw_platform
    LIBRARY DESTINATION ${private_dir} COMPONENT tools NAMELINK_SKIP)
  install(TARGETS zqm_trx_recorder LIBRARY DESTINATION ${private_dir}/recorder COMPONENT tools)
endif()

install(EXPORT zqm_trx_targets NAMESPACE zqm_trx:: DESTINATION ${package_dir}
  COMPONENT development)
# The test kit goes as sources: it is compiled where it is used, with the GoogleTest of that place.
if(ZQM_TRX_PLATFORM STREQUAL "")
  install(DIRECTORY testkit/include/kw
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  install(DIRECTORY testkit/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zqm_trx/testkit
    COMPONENT development FILES_MATCHING PATTERN *.cc PATTERN include EXCLUDE)
  install(FILES src/shared/zqm_trx/hap_stand_in.h COMPONENT development
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zqm_trx/testkit/zqm_trx)
  install(FILES cmake/zqm_trx_testkit.cmake cmake/zqm_trx_module_test.cmake
    DESTINATION ${package_dir} COMPONENT development)
endif()
set(testkit_dir ${CMAKE_INSTALL_DATADIR}/zqm_trx/testkit)
configure_package_config_file(cmake/zqm_trx-config.cmake.in zqm_trx-config.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS testkit_dir)
write_basic_package_version_file(zqm_trx-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/zqm_trx-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zqm_trx-config-version.cmake
  cmake/zqm_trx_hap_module.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The prefix is known only when it is installed. In its plain form pkg-config can tell whether the
# compiler looks there anyway.
set(PREFIX_WHEN_INSTALLED @prefix@)
configure_file(cmake/zqm_trx.pc.in zqm_trx.pc.in @ONLY)
install(CODE "
  get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
  configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/zqm_trx.pc.in\"
    \"${CMAKE_CURRENT_BINARY_DIR}/zqm_trx.pc\" @ONLY)" COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zqm_trx.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

include(cmake/packages.cmake)
