#!/usr/bin/env bash
# Brings the five FFmpeg libraries that the native tests open into build/ffmpeg/ and prints that directory.
# They come out of the same Maven artifact that the Java side depends on: pom.xml has its version, FfmpegDirectory.java
# the names. They are fetched for use on this machine only: their build may not be redistributed, so they are never
# committed and never packed into anything of ours.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

version=$(sed -n 's:.*<ffmpeg\.version>\(.*\)</ffmpeg\.version>.*:\1:p' "$root/pom.xml")
[[ -n $version ]] || die "pom.xml does not say which FFmpeg"
classifier=linux-x86_64
group=org.bytedeco.javacpp-presets
plugin=org.apache.maven.plugins:maven-dependency-plugin:3.8.1
mapfile -t libraries < <(grep -oE '"lib[a-z]+\.so\.[0-9]+"' \
    "$root/java/src/main/java/kiv/media/ffmpeg/loading/FfmpegDirectory.java" | tr -d '"')
((${#libraries[@]} == 5)) || die "FfmpegDirectory.java does not name FFmpeg's libraries"

target=$build/ffmpeg
if [[ ! -e $target/.complete-$version ]]; then
    say "fetching FFmpeg ($group:ffmpeg:$version, $classifier)"
    work=$build/ffmpeg.part
    rm -rf "$work"
    mkdir -p "$work"
    # From outside any project, so that no pom of ours takes part.
    (cd "$work" && logged fetch-ffmpeg mvn -B -q "$plugin:copy" -DoutputDirectory="$work" \
        -Dartifact="$group:ffmpeg:$version:jar:$classifier" -Dmdep.useBaseVersion=true) ||
        die "FFmpeg could not be fetched: Maven's repository is out of reach (network?)"
    # The jar tool is part of the JDK, so no unzip is needed.
    (cd "$work" && jar --extract --file "ffmpeg-$version-$classifier.jar" &&
        for library in "${libraries[@]}"; do
            found=$(find . -type f -name "$library" -print -quit)
            [[ -n $found ]] || die "$library is not in the package"
            mv "$found" "$work/$library.keep"
        done)
    rm -rf "$target"
    mkdir "$target"
    for library in "${libraries[@]}"; do mv "$work/$library.keep" "$target/$library"; done
    rm -rf "$work"
    touch "$target/.complete-$version"
fi
printf '%s\n' "$target"
