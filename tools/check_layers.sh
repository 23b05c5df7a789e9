#!/usr/bin/env bash
# Who may include whom. The floors of src/ are trace <- memory <- jni <- kivjniffmpeg: a file includes its own floor or a
# lower one. Inside kivjniffmpeg each room names the rooms below it; docs/architecture.md draws the same arrows.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "${1:-$root/src}"

floors=(trace memory jni kivjniffmpeg)
declare -A below=(
    [context]=''
    [ffmpeg]=''
    [formats]='ffmpeg'
    [workers]=''
    [buffers]='context ffmpeg formats'
    [codecs]='context ffmpeg formats buffers'
    [pictures]='ffmpeg formats buffers'
    [containers]='context ffmpeg formats'
    [entries]='context ffmpeg formats buffers codecs pictures containers workers'
)
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

# room_of PATH: the folder inside kivjniffmpeg, empty for the other floors.
room_of() {
    local rest=${1#kivjniffmpeg/}
    [[ $rest == "$1" ]] || printf '%s' "${rest%%/*}"
}

while IFS=: read -r file line include; do
    target=${include#*\"}
    target=${target%%\"*}
    where="src/$file:$line"
    from=$(height_of "${file%%/*}")
    to=$(height_of "${target%%/*}")
    if ((to < 0)); then
        fault "$where: \"$target\" does not begin with a floor (${floors[*]})"
        continue
    fi
    ((to <= from)) || fault "$where: ${file%%/*} includes the higher floor ${target%%/*}"
    [[ -e $target ]] || fault "$where: \"$target\" does not exist"
    room=$(room_of "$file")
    other=$(room_of "$target")
    if [[ -n $other && $other != "$room" && " ${below[$room]-} " != *" $other "* ]]; then
        fault "$where: the room $room may not include $other (below it: ${below[$room]:-none})"
    fi
done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' --include='*.h' --include='*.cpp' . | sed 's|^\./||')

# Every file of the source tree lies on a floor, and in a room where the floor has rooms.
for directory in */; do
    (($(height_of "${directory%/}") >= 0)) || fault "src/$directory is not a floor (${floors[*]})"
done
for place in kivjniffmpeg/*; do
    room=${place##*/}
    case $place in
    *.h | *.cpp) fault "src/$place lies in no room (${!below[*]})" ;;
    *) [[ ! -d $place || -v below[$room] ]] || fault "src/$place is not a room (${!below[*]})" ;;
    esac
done
# The headers that are made from the Java classes come with angle brackets: the prototypes of the natives for the entries,
# the numbers that Java and C++ share for what speaks to Java.
while IFS= read -r match; do
    fault "src/${match#./}: only the entries export natives"
done < <(grep -rn '<kiv_media_ffmpeg_' --exclude-dir=entries . || true)
while IFS= read -r match; do
    fault "src/${match#./}: this place does not speak to Java and knows no number of Java's"
done < <(grep -rn '<natives/' memory kivjniffmpeg/{context,ffmpeg,pictures} || true)
# The bridge's rooms are another house: docs/bridge.md has their arrows. Of src/ they know the declarations of FFmpeg.
declare -A bridge_below=(
    [real]='tables'
    [old]='real'
    [avutil]='real old'
    [swscale]='real old'
    [swresample]='real old'
    [avcodec]='real old'
    [avformat]='real old'
)
while IFS=: read -r file line include; do
    target=${include#*\"}
    target=${target%%\"*}
    room=${file%%/*}
    other=${target#bridge/}
    other=${other%%/*}
    where="bridge/$file:$line"
    [[ -e $root/$target || -e $root/src/$target ]] || fault "$where: \"$target\" does not exist"
    [[ $target == kivjniffmpeg/ffmpeg/abi*.h || $other == "$room" || " ${bridge_below[$room]-} " == *" $other "* ]] ||
        fault "$where: the room $room may not include $target (below it: ${bridge_below[$room]:-none})"
done < <(cd "$root/bridge" && grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' --include='*.h' --include='*.cpp' . | sed 's|^\./||')
# The worker is a program of the library's rooms, without those that export natives.
while IFS= read -r match; do
    fault "$match: the worker may include worker/ and the library's rooms, but neither its entries nor Java's interface"
done < <(cd "$root" && grep -rnE '#[[:space:]]*include[[:space:]]*("|<jni)' worker |
    grep -vE '"(worker/|trace/|memory/bytes\.h"|jni/exceptions\.h"|kivjniffmpeg/(context|ffmpeg|formats|buffers|codecs|containers|workers)/)' || true)
while IFS= read -r match; do
    fault "src/${match#./}: the library starts the worker, and includes nothing of it"
done < <(grep -rn '#include "worker/' . || true)
while IFS= read -r match; do
    fault "src/${match#./}: the library knows FFmpeg's interface, and nothing of the bridge"
done < <(grep -rn '#include "bridge/' . || true)
# FFmpeg's headers and the JDK's come through one door each.
while IFS= read -r match; do
    fault "src/${match#./}: FFmpeg is known through kivjniffmpeg/ffmpeg/abi*.h only"
done < <(grep -rnE '#[[:space:]]*include[[:space:]]*<lib(av|sw)' . || true)

exit "$faults"
