#!/usr/bin/env bash
# Installs what the build needs and the machine lacks, from Debian's own packages.
#
#   tools/setup.sh [run|show|test|bench|tidy]
#
# run   what ./run needs: compiler, CMake, Ninja, JDK, Maven
# show  the same and pip, which brings the film that ./run decodes when it is given none
# test  the same and what ./test needs: GoogleTest, clang-format, pip, the ffmpeg program (it only makes test streams),
#       Chromium to look at the command line's page, Valgrind to count instructions
# bench what bench/run needs: the same without the tests' own, and Matplotlib for its plots
# tidy  the same as run and clang-tidy
#
# Nothing is asked of the network when everything is there.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

purpose=${1:-run}
missing=()

# need PACKAGE PROBE...: the package is missing unless every probe is a program on the path or an existing file.
need() {
    local package=$1 probe
    shift
    for probe in "$@"; do
        case $probe in
        /*) [[ -e $probe ]] && continue ;;
        *) command -v "$probe" >/dev/null && continue ;;
        esac
        missing+=("$package")
        return
    done
}

need ca-certificates /etc/ssl/certs/ca-certificates.crt
need g++ g++
need libc6-dev /usr/include/dlfcn.h
need binutils objcopy
need libyuv-dev /usr/include/libyuv.h
need libdeflate-dev /usr/include/libdeflate.h
need cmake cmake
need ninja-build ninja
need openjdk-17-jdk-headless javac java
need maven mvn
case $purpose in
run) ;;
show) need python3-pip pip3 ;;
test)
    need libgtest-dev /usr/include/gtest/gtest.h
    need libgmock-dev /usr/include/gmock/gmock.h
    need clang-format clang-format
    need ffmpeg ffmpeg
    need python3-pip pip3
    need chromium chromium
    need valgrind valgrind
    ;;
bench)
    need libgtest-dev /usr/include/gtest/gtest.h
    need libgmock-dev /usr/include/gmock/gmock.h
    need ffmpeg ffmpeg
    need python3-pip pip3
    need python3-matplotlib /usr/lib/python3/dist-packages/matplotlib
    ;;
tidy) need clang-tidy clang-tidy ;;
*) die "setup: unknown purpose '$purpose' (run, show, test, bench or tidy)" ;;
esac

((${#missing[@]})) || exit 0

as_root=()
if ((EUID != 0)); then
    command -v sudo >/dev/null || die "these packages are missing, and only root can install them: ${missing[*]}"
    as_root=(sudo)
fi
command -v apt-get >/dev/null || die "these Debian packages, or what they hold, are missing: ${missing[*]}"

say "installing ${missing[*]}"
apt() { "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 "$@"; }
# One unreachable third-party source must not stop an installation that Debian's own sources can serve.
apt -qq update >"$logs/apt-update.log" 2>&1 </dev/null || true
logged apt-install apt install -y -qq --no-install-recommends "${missing[@]}" ||
    die "the packages could not be installed (no network, or not a Debian 12?): ${missing[*]}"
