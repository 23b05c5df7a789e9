# Shared by the scripts: where the tree is, one line a step, logs that are shown only when a step fails.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build
logs=$build/log
mkdir -p "$logs"

say() { printf '%s\n' "$*" >&2; }
die() { say "error: $*"; exit 1; }

# logged NAME COMMAND...: runs the command with its output in build/log/NAME.log; the log is shown when it fails.
logged() {
    local log=$logs/$1.log
    shift
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 80 "$log" >&2
        say "error: '$*' failed; the whole output is in ${log#"$root"/}"
        return 1
    fi
}

jobs=$(nproc)

# Without a locale, Java cannot name files beyond ASCII.
[[ $(locale charmap 2>/dev/null) == UTF-8 ]] || export LC_ALL=C.UTF-8
