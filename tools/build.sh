# The build steps that ./run and ./test share; sourced after common.sh.
# shellcheck shell=bash

# build_native PRESET TARGET...: "kivjniffmpeg bridge" for the libraries alone, "all" with the tests.
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
        [[ -z $(find "$root"/{java,cli}/{src/main,pom.xml} "$root/pom.xml" "$build/libkivjniffmpeg.so" "$build/bridge" -newer "$stamp" \
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
