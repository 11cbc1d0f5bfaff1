#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Writes the manual page of a command line: man_page.sh HELP2MAN VERSION PAGE TOOL [COMMAND]
#
# help2man takes a program for what it runs and a help for one paragraph after the other, so it gets
# the name of the page, and a help in which each part of the text has the heading of its section. It
# cuts the option for the help at blanks, so the files have no path.
set -e
help2man=$1 version=$2
cd "$(dirname "$3")"
page=$(basename "$3")
shift 3
"$@" --help >"$page.help"
what=$(sed -n "3s/\.$//p" "$page.help")
awk '
  NR == 1 { print; next }
  NR <= 3 { next }
  NR == 5 && !/:$/ { print "*Description*" }
  sub(/^Example: /, "  $ ") { print "\nExamples:" }
  sub(/^Exit status/, "") { sub(/^: /, ""); sub(/^ of each command: /, ""); print "\n*Exit status*" }
  { print }' "$page.help" >"$page.text"
"$help2man" --no-info --section=1 --name="$what" --output="$page" \
  --version-string="${page%.1} $version" --help-option="$page.text" cat
rm "$page.help" "$page.text"
