# The build steps that ./run and ./test share; sourced after common.sh.
# shellcheck shell=bash

# build_native PRESET TARGET...: "kivjniffmpeg kivjniffmpeg_worker bridge" for what is packed, "all" with the tests.
build_native() {
    # The library alone is built without the test framework. Who asks for the tests gets them, however the directory was
    # configured before.
    if [[ $2 == all ]]; then
        (cd "$root" && logged "configure-$1" cmake --preset "$1")
    elif [[ ! -e $build/$1/build.ninja ]]; then
        (cd "$root" && logged "configure-$1" cmake --preset "$1" -DKIV_BUILD_TESTS=OFF)
    fi
    say "bringing the native libraries up to date ($1)"
    (cd "$root" && logged "build-$1" cmake --build "$build/$1" --parallel "$jobs" --target "${@:2}")
}

# maven LOG ARGUMENTS...: in the root, quiet when all goes well.
maven() {
    local log=$1
    shift
    (cd "$root" && logged "$log" mvn -B --no-transfer-progress "$@")
}

# build_java: the library's jars, the command line's and what it runs with, made again only when something that goes into
# them changed. A directory's own time shows that a file in it is gone.
build_java() {
    local stamp=$build/java.stamp
    if [[ -e $stamp && -d $root/cli/target/app/lib ]] && compgen -G "$root/cli/target/app/bin/kivjniffmpeg-cli-*.jar" >/dev/null &&
        [[ -z $(find "$root"/{java,cli}/{src/main,pom.xml} "$root/pom.xml" "$build/libkivjniffmpeg.so" "$build/kivjniffmpeg-worker" "$build/bridge" -newer "$stamp" \
            -print -quit) ]]; then
        return
    fi
    say "building the Java side"
    touch "$stamp.new"
    # What was built before is not taken for whole when this is interrupted, nor stays an earlier version's jar.
    rm -rf "$stamp" "$root"/java/target/kivjniffmpeg-*.jar "$root/cli/target/app"
    maven java-package -q package -Dmaven.test.skip=true
    mv "$stamp.new" "$stamp"
}

# archive: the classes of the command line as Java maps them into memory, so that it starts in half of the time.
archive=$build/start.jsa

# build_archive: made again when a jar is newer. Nothing needs it, so a Java that makes none is no error.
build_archive() {
    local jars=("$root"/cli/target/app/bin/kivjniffmpeg-cli-*.jar) sound=$build/start.wav
    [[ $archive -nt ${jars[0]} ]] && return
    say "archiving the classes for a quick start"
    rm -f "$archive"
    # Whatever is opened brings the classes in: a tenth of a second of silence.
    { printf 'RIFF\x44\x03\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x40\x1f\0\0\x40\x1f\0\0\x01\0\x08\0data\x20\x03\0\0'
        printf '%.0s\x80' {1..800}; } >"$sound"
    # Only a dump of listed classes takes those of picocli, which are compiled for an old Java.
    { java "-XX:DumpLoadedClassList=$build/start.classes" "-Dkiv.media.ffmpeg.library=$build/libkivjniffmpeg.so" \
        -jar "${jars[0]}" info "$sound" &&
        java -Xshare:dump "-XX:SharedClassListFile=$build/start.classes" "-XX:SharedArchiveFile=$archive" -jar "${jars[0]}"; \
    } >"$logs/archive.log" 2>&1 </dev/null || rm -f "$archive"
}

# is_built: whether there is something to run.
is_built() {
    [[ -e $build/libkivjniffmpeg.so && -d $root/cli/target/app/lib ]] && compgen -G "$root/cli/target/app/bin/kivjniffmpeg-cli-*.jar" >/dev/null
}

# is_older_than STAMP: whether nothing that the libraries and jars are made of is newer. A directory's own time shows that a
# file in it is gone.
is_older_than() {
    [[ -z $(find "$root"/{src,worker,bridge,cmake,tools,java/src/main,cli/src/main} "$root"/{CMakeLists.txt,CMakePresets.json,pom.xml,LICENSE} \
        "$root"/{java,cli}/pom.xml "$root/docs/licences" -newer "$1" -print -quit) ]]
}

# usual_ffmpeg: the FFmpeg that everything is tested on.
usual_ffmpeg=8.0.1

# ffmpeg_home RELEASE: the directory of an FFmpeg's libraries, which is fetched; "system" is the one of Debian.
ffmpeg_home() {
    if [[ $1 == system ]]; then
        local avcodec
        avcodec=$(ldconfig -p 2>/dev/null || /sbin/ldconfig -p)
        avcodec=$(awk '/libavcodec\.so\.[0-9]+ .*x86-64/ { print $NF; exit }' <<<"$avcodec")
        [[ -n $avcodec ]] || die "the system has no libavcodec"
        realpath "${avcodec%/*}"
    else
        "$root/tools/fetch_ffmpeg.sh" "$1"
    fi
}

# ffmpeg_for_init RELEASE PRESET: the same for programs that know the five names only, with the bridge that was built.
ffmpeg_for_init() {
    local home directory=$build/$2/with-$1
    home=$(ffmpeg_home "$1")
    if [[ -e $home/libavcodec.so.56 ]]; then
        printf '%s\n' "$home"
        return
    fi
    rm -rf "$directory"
    "$root/tools/bridge_dir.sh" "$directory" "$home" "$(bridge_of "$2")"
    printf '%s\n' "$directory"
}

# bridge_of PRESET: where its bridge is built.
bridge_of() { if [[ $1 == release ]]; then printf '%s\n' "$build/bridge"; else printf '%s\n' "$build/$1/bridge"; fi; }
