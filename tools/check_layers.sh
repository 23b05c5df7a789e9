#!/usr/bin/env bash
# Who may include whom: trace <- memory <- jni <- kivjniffmpeg; a file includes its own floor or a lower one, names the
# floor in every include, and nothing but an entry point includes an entry point's header.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root/src"

floors=(trace memory jni kivjniffmpeg)
faults=0
fault() {
    say "$1"
    faults=1
}

height_of() {
    local i
    for i in "${!floors[@]}"; do [[ ${floors[i]} == "$1" ]] && printf '%d' "$i" && return; done
    printf '%d' -1
}

while IFS=: read -r file line include; do
    target=${include#*\"}
    target=${target%%\"*}
    from=$(height_of "${file%%/*}")
    to=$(height_of "${target%%/*}")
    where="src/$file:$line"
    # The headers that javac makes of the Java classes lie beside the source tree.
    if [[ $target == kiv_media_ffmpeg_c_*.h ]]; then
        [[ $file == kivjniffmpeg/entry_*.cpp ]] || fault "$where: only entry points include a generated JNI header"
        continue
    fi
    if ((to < 0)); then
        fault "$where: \"$target\" does not begin with a floor (${floors[*]})"
    elif ((to > from)); then
        fault "$where: ${file%%/*} includes the higher floor ${target%%/*}"
    fi
    [[ -e $target ]] || fault "$where: \"$target\" does not exist"
    if [[ $target == kivjniffmpeg/entry_* && $file != kivjniffmpeg/entry_* ]]; then
        fault "$where: only entry points include \"$target\""
    fi
done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' --include='*.h' --include='*.cpp' .  | sed 's|^\./||')

# Everything in the source tree stands on a floor.
for directory in */; do
    (($(height_of "${directory%/}") >= 0)) || fault "src/$directory is not a floor (${floors[*]})"
done
# FFmpeg's and the JDK's own headers come through one door each.
while IFS= read -r match; do
    fault "src/${match#./}: FFmpeg is known through kivjniffmpeg/ffmpeg_abi.h only"
done < <(grep -rnE '#[[:space:]]*include[[:space:]]*<lib(av|sw)' . || true)

exit "$faults"
