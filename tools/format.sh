#!/usr/bin/env bash
# tools/format.sh [--check]: formats the C++ files with clang-format, or says which ones are not formatted.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

mapfile -d '' files < <(find src tests bridge worker bench -type f \( -name '*.h' -o -name '*.cpp' \) -print0 | sort -z)
command -v clang-format >/dev/null || "$root/tools/setup.sh" test
case ${1:-} in
--check) clang-format --dry-run --Werror "${files[@]}" ;;
'') clang-format -i "${files[@]}" ;;
*) die "usage: tools/format.sh [--check]" ;;
esac
