#!/usr/bin/env bash
# Versions and names that stand in one place: the project's version and that of the ready-made FFmpeg in pom.xml, the names
# of FFmpeg's libraries in FfmpegDirectory.java. Programs of others, pages and C++ repeat them; here they are compared.
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
libraries=$(grep -oE '"lib[a-z]+\.so\.[0-9]+"' java/src/main/java/kiv/media/ffmpeg/loading/FfmpegDirectory.java | tr -d '"')
[[ -n $own && -n $ffmpeg && $(wc -l <<<"$libraries") == 5 ]] || die "the places of versions and names have changed"

for file in README.md examples/pom.xml; do
    compare "$file: version" "$own" < <(sed -nE '/<artifactId>kivjniffmpeg/{n;s:.*<version>([0-9].*)</version>.*:\1:p}
        s:.*<kivjniffmpeg.version>(.*)</kivjniffmpeg.version>.*:\1:p' "$file")
done
for file in README.md examples/pom.xml docs/licences.md java/src/main/java/kiv/media/ffmpeg/FfmpegLibrary.java; do
    compare "$file: FFmpeg" "$ffmpeg" < <(grep -oE '[0-9]+\.[0-9]+\.[0-9]+-[0-9]+(\.[0-9]+)*' "$file")
done
compare "names of libraries" "$libraries" < <(
    grep -rohE 'lib(avcodec|avformat|avutil|swresample|swscale)\.so\.[0-9]+' src java/src cli/src tests docs README.md)
exit "$faults"
