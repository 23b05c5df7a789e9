#!/usr/bin/env bash
# tools/fetch_ffmpeg.sh [RELEASE]
# Brings a ready-made FFmpeg into a directory of its own under build/ and prints that: 8.0.1, which is the usual one, 7.1.1
# or 6.1.1 with their programs, or 2.8.1, the library's own line. The first and the last are the Maven artefacts that
# pom.xml names. 2.8.1 is for use on this machine only: its build may not be redistributed, so it is never committed and
# never packed into anything of ours.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

release=${1:-8.0.1}
group=org.bytedeco
target=$build/ffmpeg-$release
case $release in
8.0.1) version=8.0.1-1.5.13 sum=01da6cce8fb8686abd4a0be940edafcc199255cc97b37b28c49d4f696c1d9ef3 ;;
7.1.1) version=7.1.1-1.5.12 sum=cd1a18c46127f983d7cf14a41e6161c73bcafb1b985e350d06e73213ed6854fa ;;
6.1.1) version=6.1.1-1.5.10 sum=fba80d4007014f8879766e969172b85a5adad9eba217a2b360f416fce275d379 ;;
2.8.1) version=2.8.1-1.1 sum=0e02ec6ff5a985b99b28b1320da34f44da175ac97fe34f0332f69c04bf09e9cb group=org.bytedeco.javacpp-presets target=$build/ffmpeg ;;
*) die "usage: tools/fetch_ffmpeg.sh [8.0.1 | 7.1.1 | 6.1.1 | 2.8.1]" ;;
esac
classifier=linux-x86_64
plugin=org.apache.maven.plugins:maven-dependency-plugin:3.8.1

if [[ ! -e $target/.complete-$version ]]; then
    say "fetching FFmpeg ($group:ffmpeg:$version, $classifier)"
    work=$target.part
    rm -rf "$work"
    mkdir -p "$work/found"
    jar=$work/ffmpeg-$version-$classifier.jar
    # From outside any project, so that no pom of ours takes part.
    (cd "$work" && logged "fetch-ffmpeg-$release" mvn -B -q "$plugin:copy" -DoutputDirectory="$work" \
        -Dartifact="$group:ffmpeg:$version:jar:$classifier" -Dmdep.useBaseVersion=true) ||
        die "FFmpeg could not be fetched: Maven's repository is out of reach (network?)"
    [[ $(sha256sum <"$jar") == "$sum  -" ]] || die "$jar is not the file that it was: its SHA-256 differs"
    # The jar tool is part of the JDK, so no unzip is needed.
    (cd "$work" && jar --extract --file "$jar")
    find "$work" -type f -path "*/$classifier/*" ! -path '*/META-INF/*' ! -name 'libjni*' -exec mv -t "$work/found" {} +
    libraries=("$work"/found/lib{avutil,swresample,swscale,avcodec,avformat}.so.*)
    ((${#libraries[@]} == 5)) || die "the package has not FFmpeg's five libraries"
    chmod -f +x "$work"/found/ff{mpeg,probe} || true
    rm -rf "$target"
    mv "$work/found" "$target"
    rm -rf "$work"
    touch "$target/.complete-$version"
fi
printf '%s\n' "$target"
