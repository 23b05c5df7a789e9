#!/usr/bin/env bash
# bridge/tables/make_tables.sh OLD WORK
# Measures the tables of bridge/tables/*.inc and writes them anew. OLD is a directory with libavcodec 56 and its
# companions (tools/fetch_ffmpeg.sh). The newer FFmpegs come with their bindings from Maven, into the directory WORK.
# A new major is one more line below, and one in bridge/real/loading.cpp.
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/common.sh"

(($# == 2)) || die "usage: bridge/tables/make_tables.sh OLD WORK"
old=$(realpath "$1")
here=$root/bridge/tables
mkdir -p "$2"
work=$(realpath "$2")
plugin=org.apache.maven.plugins:maven-dependency-plugin:3.8.1

# libavcodec's major, libavutil's, the versions of FFmpeg and of JavaCPP
lines=(
    "59 57 5.1.2 1.5.8"
    "60 58 6.1.1 1.5.10"
    "61 59 7.1.1 1.5.12"
    "62 60 8.0.1 1.5.13"
)

copy() { # ARTIFACT
    local file=${1#*:}
    file=${file//:jar/}
    [[ -e $work/jars/${file//:/-}.jar ]] ||
        (cd "$work" && logged fetch-bindings mvn -B -q "$plugin:copy" -DoutputDirectory="$work/jars" \
            -Dmdep.useBaseVersion=true -Dartifact="$1")
}

elements=$((0x$(nm -DS "$old/libavutil.so.54" | awk '/ av_pix_fmt_descriptors/ {print $2}') / 32))
LD_LIBRARY_PATH=$old "$here/measure_numbers.py" "$old" 54 56 "$elements" >"$work/numbers-56.json"
majors=()
for line in "${lines[@]}"; do
    read -r avcodec avutil version javacpp <<<"$line"
    majors+=("$avcodec")
    copy "org.bytedeco:ffmpeg:$version-$javacpp"
    copy "org.bytedeco:ffmpeg:$version-$javacpp:jar:linux-x86_64"
    copy "org.bytedeco:javacpp:$javacpp"
    jars=$work/jars/ffmpeg-$version-$javacpp.jar
    jars+=:$work/jars/ffmpeg-$version-$javacpp-linux-x86_64.jar:$work/jars/javacpp-$javacpp.jar
    libraries=$work/$version/org/bytedeco/ffmpeg/linux-x86_64
    [[ -d $libraries ]] || (mkdir -p "$work/$version" && cd "$work/$version" &&
        jar --extract --file "$work/jars/ffmpeg-$version-$javacpp-linux-x86_64.jar")
    mkdir -p "$work/classes"
    javac -cp "$jars" -d "$work/classes" "$here/MeasureLayouts.java"
    java -cp "$work/classes:$jars" MeasureLayouts "$here/layout_fields.txt" >"$work/layout-$avcodec.txt"
    LD_LIBRARY_PATH=$libraries "$here/measure_numbers.py" "$libraries" "$avutil" "$avcodec" >"$work/numbers-$avcodec.json"
done
"$here/write_tables.py" "$work" "$here" "${majors[@]}"
