#!/usr/bin/env bash
# tools/tidy.sh [FILE...]: clang-tidy over the given sources, or over all of src/, bridge/ and worker/.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
. "$root/tools/build.sh"

"$root/tools/setup.sh" tidy
build_native release kivjniffmpeg # for the generated headers and the compile commands
cd "$root"
if (($# == 0)); then mapfile -t files < <(find src bridge worker -name '*.cpp' | sort); else files=("$@"); fi
say "clang-tidy"
printf '%s\0' "${files[@]}" >"$build/tidy.files"
# GCC's own warning flags mean nothing to clang.
if ! logged clang-tidy xargs -0 -a "$build/tidy.files" -n 1 -P "$jobs" clang-tidy --quiet -p "$build/release" \
    --extra-arg=-Wno-unknown-warning-option; then
    # The log ends with a count of warnings for each file, the finding may be far above.
    grep -E ': (error|warning): ' "$logs/clang-tidy.log" >&2 || true
    exit 1
fi
