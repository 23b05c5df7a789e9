# The build steps that ./run and ./test share; sourced after common.sh.
# shellcheck shell=bash

# build_native PRESET TARGET: "kivjniffmpeg" for the library alone, "all" with the tests.
build_native() {
    # Anew also when it was configured before: the test framework may have been installed since.
    if [[ ! -e $build/$1/build.ninja || $2 == all ]]; then
        (cd "$root" && logged "configure-$1" cmake --preset "$1")
    fi
    say "building the native library ($1)"
    (cd "$root" && logged "build-$1" cmake --build "$build/$1" --parallel "$jobs" --target "$2")
}

# maven LOG ARGUMENTS...: in java/, quiet when all goes well.
maven() {
    local log=$1
    shift
    (cd "$root/java" && logged "$log" mvn -B --no-transfer-progress "$@")
}

# build_java: the jar and what it runs with, made again only when something that goes into it changed. A directory's own
# time tells of files that are gone.
build_java() {
    local stamp=$build/java.stamp
    if [[ -e $stamp && -d $root/java/target/lib ]] && compgen -G "$root/java/target/kivjniffmpeg-*.jar" >/dev/null &&
        [[ -z $(find "$root/java/src/main" "$root/java/pom.xml" -newer "$stamp" -print -quit) ]]; then
        return
    fi
    say "building the Java side"
    touch "$stamp.new"
    # What was built before is not taken for whole when this is interrupted, nor stays an earlier version's jar.
    rm -rf "$stamp" "$root"/java/target/kivjniffmpeg-*.jar "$root/java/target/lib"
    maven java-package -q package -Dmaven.test.skip=true
    mv "$stamp.new" "$stamp"
}
