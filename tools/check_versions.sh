#!/usr/bin/env bash
# Versions and names that stand in one place: the project's version and those of the ready-made FFmpegs in pom.xml, the majors
# of FFmpeg's libraries in FfmpegLine.java. Programs of others, pages, scripts and C++ repeat them; here they are compared.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "${1:-$root}"

# property NAME: of pom.xml
property() { sed -n "s:.*<$1>\(.*\)</$1>.*:\1:p" pom.xml; }

# compare WHAT WANTED FILE...: every line of the input that differs is a fault.
faults=0
compare() {
    local wrong
    wrong=$(grep -vxF -e "$2" | sort -u | tr '\n' ' ' || true)
    [[ -z $wrong ]] || { say "$1: ${wrong}instead of ${2//$'\n'/ }"; faults=1; }
}

own=$(property revision)
ffmpeg=$(property ffmpeg.version)
old=$(property ffmpeg.old.version)
loading=java/src/main/java/kiv/media/ffmpeg/loading/FfmpegLine.java
# The releases and the majors of libavutil, libswresample, libswscale, libavcodec and libavformat of each line.
lines=$(sed -nE 's/.*new FfmpegLine\((".*"), ([0-9, ]*)\).*/\1 \2/p' "$loading")
libraries=$(while read -r avutil swresample swscale avcodec avformat; do
    printf 'lib%s\n' "avutil.so.$avutil" "swresample.so.$swresample" "swscale.so.$swscale" "avcodec.so.$avcodec" \
        "avformat.so.$avformat"
done < <(sed 's/.*" //; s/,//g' <<<"$lines"))
[[ -n $own && -n $ffmpeg && -n $old && $(wc -l <<<"$lines") == 5 ]] || die "the places of versions and names have changed"

for file in README.md examples/pom.xml; do
    compare "$file: version" "$own" < <(sed -nE '/<artifactId>kivjniffmpeg/{n;s:.*<version>([0-9].*)</version>.*:\1:p}
        s:.*<kivjniffmpeg.version>(.*)</kivjniffmpeg.version>.*:\1:p' "$file")
done
for file in README.md examples/pom.xml docs/licences.md java/src/main/java/kiv/media/ffmpeg/FfmpegLibrary.java; do
    compare "$file: FFmpeg" "$ffmpeg"$'\n'"$old" < <(grep -oE '[0-9]+\.[0-9]+\.[0-9]+-[0-9]+(\.[0-9]+)*' "$file")
done
for version in "$ffmpeg" "$old"; do
    grep -qF "version=$version " tools/fetch_ffmpeg.sh || { say "tools/fetch_ffmpeg.sh: not $version"; faults=1; }
done
compare "names of libraries" "$libraries" < <(
    grep -rohE 'lib(avcodec|avformat|avutil|swresample|swscale)\.so\.[0-9]+' src java/src/main cli/src tests docs README.md)
compare "majors behind the bridge" "$lines" < <(
    sed -nE 's/^ *\{([0-9]+, [0-9]+, [0-9]+, [0-9]+, [0-9]+), [0-9]+, (".*")\},$/\2 \1/p' bridge/real/loading.cpp)
[[ $(grep -cE '^ *\{[0-9]+, [0-9]+, [0-9]+, [0-9]+, [0-9]+, [0-9]+, "' bridge/real/loading.cpp) == 4 ]] ||
    die "the lines of bridge/real/loading.cpp have changed"
exit "$faults"
