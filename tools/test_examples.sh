#!/usr/bin/env bash
# tools/test_examples.sh [build | run]: what a user of the artefacts does. "build" installs them into Maven's local
# repository and builds the examples, which know nothing of this tree; "run" runs these on real files with nothing unpacked
# before, from the class path and from the module path. Without an argument it does both. The release library must have
# been built.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
. "$root/tools/build.sh"

# expect WHAT WANTED FOUND
expect() { [[ $2 == "$3" ]] || die "examples: $1: $3 instead of $2"; }

shopt -s extglob
media=$("$root/tools/fetch_sample.sh")
streams=$("$root/tests/streams/make_streams.sh")
examples=$root/examples
work=$build/examples

build_examples() {
    local stamp=$build/examples.stamp
    build_java
    if [[ -e $stamp && -e $examples/target/examples.jar &&
        -z $(find "$build/java.stamp" "$examples/src" "$examples/pom.xml" -newer "$stamp" -print -quit) ]]; then
        return
    fi
    say "installing the artefacts and building the examples"
    rm -f "$stamp"
    maven java-install install -DskipTests
    sed -n 's/.* Installing .* to \(.*kivjniffmpeg-cli-[^ ]*\.jar\)$/\1/p' "$logs/java-install.log" >"$build/installed-cli"
    grep -q 'legal-copy.*Apache License 2.0' "$root/java/target/reports/apidocs/kiv.media.ffmpeg/module-summary.html" ||
        die "the Javadoc's foot does not name the licence"
    (cd "$examples" && logged examples-package mvn -B --no-transfer-progress -q clean package)
    touch "$stamp"
}
case ${1:-} in
build)
    build_examples
    exit
    ;;
run) ;;
'') build_examples ;;
*) die "usage: tools/test_examples.sh [build | run]" ;;
esac
rm -rf "$work"
mkdir -p "$work"

# Quiet even on a Java that warns: nothing may be said but what a program prints.
printed() {
    java --enable-native-access=ALL-UNNAMED "-Dkiv.media.ffmpeg.cache=$work/cache" -Djava.awt.headless=true \
        -cp "$examples/target/examples.jar:$examples/target/lib/*" "kiv.media.examples.$1" "${@:2}" 2>>"$work/said"
}
on_class_path() { printed "$@" >>"$work/said"; }
on_module_path() {
    java --enable-native-access=kiv.media.ffmpeg "-Dkiv.media.ffmpeg.cache=$work/module-cache" \
        --module-path "$examples/target/examples.jar:$(echo "$examples"/target/lib/kivjniffmpeg-+([0-9.]).jar)" \
        --class-path "$examples/target/lib/*" \
        -m "kiv.media.examples/kiv.media.examples.$1" "${@:2}" >>"$work/said" 2>&1
}
# The program says on which port it waits.
receive_camera() {
    local port
    exec 3< <(printed CameraReceiver 0)
    read -r port <&3 || return
    cat "$streams/h264_320x240.h264" >"/dev/tcp/127.0.0.1/$port"
    cat <&3 >"$work/camera.txt"
}
run_examples() {
    # 26 pictures.
    on_class_path FilmToPictures "$media/Force_constante.avi" "$work/pictures"
    # 255 pictures and 10.2 seconds of sound.
    on_module_path FilmToY4m "$media/balle-jbart.mp4" "$work/film.y4m" 320 256
    on_class_path SoundToMp3 "$media/balle-jbart.mp4" "$work/sound.mp3"
    on_class_path Thumbnails "$media/Force_constante.avi" "$work/thumbnails"
    # A title and an artist of ID3v2: frames of seven and five letters.
    printf 'ID3\3\0\0\0\0\0\042TIT2\0\0\0\010\0\0\0Evening''TPE1\0\0\0\006\0\0\0Choir' | cat - "$work/sound.mp3" >"$work/song.mp3"
    printed SoundToWav "$work/song.mp3" "$work/song.wav" >"$work/song.txt"
    printed MeanBrightness "$media/Force_constante.avi" >"$work/brightness.txt"
    printed Player "$streams/h264_aac.mp4" >"$work/played.txt"
    printed DirectoryTable "$media" >"$work/table.txt"
    receive_camera
    # The command line as Maven installs it, with its libraries elsewhere in the repository.
    java "-Dkiv.media.ffmpeg.cache=$work/cache" -jar "$(<"$build/installed-cli")" \
        encode -q --format alaw "$work/sound.mp3" "$work/sound.al" >>"$work/said" 2>&1
}
say "running the examples"
run_examples || { cat "$work/said" >&2; die "an example failed"; }

pictures=("$work"/pictures/*.png)
expect "pictures" 26 "${#pictures[@]}"
for picture in "${pictures[@]}"; do
    # The signature, the header's length and name, 400 x 300.
    expect "${picture##*/}" 89504e470d0a1a0a0000000d49484452000001900000012c "$(od -An -v -tx1 -N24 "$picture" | tr -d ' \n')"
done
header="YUV4MPEG2 W320 H256 F25:1 Ip A0:0 C420"
expect "film.y4m" "$header" "$(head -n 1 "$work/film.y4m")"
expect "bytes of film.y4m" $((${#header} + 1 + 255 * (6 + 320 * 256 * 3 / 2))) "$(stat -c %s "$work/film.y4m")"
# A frame of MPEG audio begins with eleven set bits; at 128 kbit/s a second takes 16000 bytes.
expect "sound.mp3" ff "$(od -An -tx1 -N1 "$work/sound.mp3" | tr -d ' ')"
[[ -s $work/sound.al ]] || die "examples: the installed command line encoded nothing"
expect "seconds of sound.mp3" 10 $(($(stat -c %s "$work/sound.mp3") / 16000))
thumbnails=("$work"/thumbnails/*.jpg)
expect "thumbnails" 10 "${#thumbnails[@]}"
for picture in "${thumbnails[@]}"; do
    expect "${picture##*/}" ffd8ff "$(od -An -v -tx1 -N3 "$picture" | tr -d ' ')"
done
expect "tags of song.mp3" "title: Evening artist: Choir" "$(paste -sd ' ' "$work/song.txt")"
expect "seconds of song.wav" 10 $((($(stat -c %s "$work/song.wav") - 44) / 4 / 48000))
# What format=gray of the program ffmpeg gives on average.
expect "brightness" 172.2 "$(<"$work/brightness.txt")"
expect "what was played" "25 pictures, 45056 samples" "$(<"$work/played.txt")"
expect "pictures of the camera" "30 320 x 240" "$(uniq -c "$work/camera.txt" | sed 's/^ *//')"
expect "files in the table" "$(find "$media/" -maxdepth 1 -type f ! -name '.*' | wc -l)" "$(grep -vc '^\.' "$work/table.txt")"
expect "a row of the table" "balle-jbart.mp4 mov,mp4,m4a,3gp,3g2,mj2 10 s" "$(grep ^balle-j "$work/table.txt" | cut -f 1-3 | tr '\t' ' ')"
for source in "$examples"/src/main/java/kiv/media/examples/*.java; do
    program=${source##*/}
    expect "lines of $program in README.md" "$(grep -cvE '^[[:space:]]*(//|/?\*|$)' "$source")" \
        "$(sed -n "s/.*\/$program) |.*| \([0-9]*\) |\$/\1/p" "$examples/README.md")"
done
# The native library, the bridge, FFmpeg and three libraries that it needs.
for cache in cache module-cache; do
    expect "unpacked libraries in $cache" 14 "$(find "$work/$cache" -type f -name 'lib*.so*' | wc -l)"
done
[[ ! -s $work/said ]] || { cat "$work/said" >&2; die "the examples should say nothing"; }
