#!/usr/bin/env bash
# tools/checkstyle.sh: Checkstyle over all Java sources, with the rules in tools/checkstyle.xml.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
. "$root/tools/build.sh"

"$root/tools/setup.sh" run
say "checkstyle"
maven checkstyle -N checkstyle:check
