# SPDX-License-Identifier: Apache-2.0
# Run by CPack on the packages it made: packs each anew, the same byte for byte whenever and wherever
# it was built. All files get the time of the release, and folders the usual rights. The calls of
# ldconfig that CPack adds are left out, as the packages have Debian's trigger for it.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked ${package}.unpacked)
  execute_process(COMMAND dpkg-deb -R "${package}" "${unpacked}" COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE "${unpacked}/DEBIAN/postinst" "${unpacked}/DEBIAN/postrm")
  execute_process(COMMAND find "${unpacked}" -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find "${unpacked}" -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b "${unpacked}" "${package}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${unpacked}")
endforeach()
