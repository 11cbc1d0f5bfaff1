# SPDX-License-Identifier: Apache-2.0
# The Debian packages that CPack makes of what is installed.
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc)
set(CPACK_COMPONENTS_ALL runtime platform recorder development)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzqm-trx${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME libkw-platform)
set(CPACK_DEBIAN_RECORDER_PACKAGE_NAME libzqm-trx-recorder)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzqm-trx-dev)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zqm-trx-tools)
if(ZQM_TRX_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_PACKAGE_CONTACT "zqm_trx maintainers <zqm_trx@example.invalid>")

# The folders of README, guides and examples stay as they are here, so that links among them hold.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  install(FILES cmake/copyright COMPONENT ${component}
    DESTINATION ${doc_dir}/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(CODE "execute_process(COMMAND ${CMAKE_COMMAND} -DVERSION=${PROJECT_VERSION}
    \"-DCONTACT=${CPACK_PACKAGE_CONTACT}\" \"-DFILE=${CMAKE_CURRENT_BINARY_DIR}/changelog\"
    -P \"${CMAKE_CURRENT_SOURCE_DIR}/cmake/changelog.cmake\" COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz COMPONENT ${component}
    DESTINATION ${doc_dir}/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(overrides ${CMAKE_CURRENT_SOURCE_DIR}/cmake/lintian/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  if(EXISTS ${overrides})
    install(FILES ${overrides} COMPONENT ${component}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)
  endif()
endforeach()
set(guides ${doc_dir}/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})
install(FILES README.md CHANGELOG.md DESTINATION ${guides} COMPONENT development)
install(DIRECTORY docs examples DESTINATION ${guides} COMPONENT development)
if(ZQM_TRX_TOOLS)
  install(FILES docs/trxctl.md docs/table-guide.md docs/trace-reference.md COMPONENT tools
    DESTINATION ${doc_dir}/${CPACK_DEBIAN_TOOLS_PACKAGE_NAME})
  install(CODE "file(GLOB pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/trxctl*.1\")
    if(pages)
      execute_process(COMMAND gzip -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT tools)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zqm-trx)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/packages_check.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/packages_finish.cmake)
# Installed below a folder of CPack's own as for /usr: the files of pkg-config name their prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_RUNTIME_DEPENDS platform)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime recorder)
# What the programs and libraries need is read off them; those of this build are not installed yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${CMAKE_BINARY_DIR}/src ${CMAKE_BINARY_DIR}/platform/standin)
set(shlibs ${CMAKE_CURRENT_BINARY_DIR}/shlibs)
file(WRITE ${shlibs} "libzqm_trx ${PROJECT_VERSION_MAJOR} ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} "
  "(>= ${PROJECT_VERSION})\n")
set(triggers ${CMAKE_CURRENT_BINARY_DIR}/triggers)
file(WRITE ${triggers} "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${shlibs} ${triggers})
set(CPACK_DEBIAN_PLATFORM_PACKAGE_CONTROL_EXTRA ${triggers})
set(CPACK_DEBIAN_RECORDER_PACKAGE_CONTROL_EXTRA ${triggers})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RECORDER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libgtest-dev, cmake, pkg-config")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS graphviz)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Engine that runs HAP functions and HAP tables")
set(CPACK_COMPONENT_PLATFORM_DESCRIPTION "Stand-in for the device's platform libraries")
set(CPACK_COMPONENT_RECORDER_DESCRIPTION "Trace ring beside the trace of any platform library")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, build files and guides of the HAP engine")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Command-line tool of the HAP engine")
include(CPack)
