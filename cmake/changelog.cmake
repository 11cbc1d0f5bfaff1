# SPDX-License-Identifier: Apache-2.0
# Writes the changelog of the Debian packages, of one entry: cmake -DVERSION=.. -DCONTACT=.. -DFILE=..
# -P changelog.cmake. Its time is SOURCE_DATE_EPOCH where that is set.
string(TIMESTAMP time "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "${FILE}" "zqm-trx (${VERSION}) unstable; urgency=medium

  * The changes stand in CHANGELOG.md of the package libzqm-trx-dev.

 -- ${CONTACT}  ${time}
")
execute_process(COMMAND gzip -9nf "${FILE}" COMMAND_ERROR_IS_FATAL ANY)
