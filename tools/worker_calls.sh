#!/usr/bin/env bash
# tools/worker_calls.sh COMMAND...: runs a command under strace, and lists the system calls of its workers from the moment
# on at which they are behind the wall. Fails for a call that the table in docs/wall.md does not have.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

(($# > 0)) || die "usage: tools/worker_calls.sh COMMAND..."
trace=$(mktemp)
trap 'rm -f "$trace"' EXIT
strace -f -o "$trace" "$@" >&2
calls=$(awk '
    /seccomp\(SECCOMP_SET_MODE_FILTER|prctl\(PR_SET_SECCOMP/ { behind[$1] = 1; next }
    /clone3?\(.*= [0-9]+$|<\.\.\. clone3? resumed.*= [0-9]+$/ { if (behind[$1]) behind[$NF] = 1 }
    behind[$1] && match($2, /^[a-z0-9_]+\(/) { print substr($2, 1, RLENGTH - 1) }' "$trace" | sort | uniq -c)
[[ -n $calls ]] || die "no worker was started"
printf '%s\n' "$calls"
while read -r _ call; do
    grep -q "^| \`$call\` |" "$root/docs/wall.md" || die "$call is not in docs/wall.md"
done <<<"$calls"
