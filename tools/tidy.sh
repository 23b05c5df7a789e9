#!/usr/bin/env bash
# tools/tidy.sh [FILE...]: clang-tidy over the given sources, or over all of src/.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
. "$root/tools/build.sh"

"$root/tools/setup.sh" tidy
build_native release kivjniffmpeg # for the generated headers and the compile commands
cd "$root"
if (($# == 0)); then mapfile -t files < <(find src -name '*.cpp' | sort); else files=("$@"); fi
# GCC's own warning flags mean nothing to clang.
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p "$build/release" \
    --extra-arg=-Wno-unknown-warning-option
