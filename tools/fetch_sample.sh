#!/usr/bin/env bash
# Brings real media files out of Debian's packages into build/media/ and prints that directory.
#
#   tools/fetch_sample.sh [test]
#
# Always the films of python3-mecavideo; for the tests some sounds too, which needs the ffmpeg program.
# Packages are downloaded and unpacked, never installed; nothing of them belongs to this repository.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

media=$build/media
part=$build/media.part

# apt's own user may not reach the checkout; as root it then warns and downloads all the same.
download() { apt-get -q -o APT::Sandbox::User=root download "$1" >>"$logs/sample.log" 2>&1 </dev/null; }

# bring PACKAGE PATTERN...: puts the package's files of these names into the directory. Each pattern must find some.
bring() {
    local package=$1 pattern found
    shift
    [[ ! -e $media/.complete-$package ]] || return 0
    say "fetching sample files (Debian's $package)"
    rm -rf "$part"
    mkdir -p "$part/deb" "$part/unpacked" "$part/chosen" "$media"
    cd "$part/deb"
    # The package lists of a fresh machine are empty or old: then once more with new ones.
    if ! download "$package"; then
        apt-get -q update >>"$logs/sample.log" 2>&1 </dev/null || true
        download "$package" ||
            die "the sample files could not be downloaded: Debian's package $package is out of reach (network?); see build/log/sample.log"
    fi
    dpkg-deb -x "$package"_*.deb "$part/unpacked"
    for pattern; do
        found=$(find "$part/unpacked" -type f -iname "$pattern" -size +0 -print -exec mv -n -t "$part/chosen" {} +)
        [[ -n $found ]] || die "Debian's $package no longer holds $pattern"
    done
    for found in "$part"/chosen/*.g722; do
        [[ -e $found ]] || continue
        # A bare stream of bytes says nothing about itself; a WAV header does.
        ffmpeg -nostdin -v error -i "$found" -c copy -flags:a +bitexact -fflags +bitexact "${found%.g722}_g722.wav"
        rm "$found"
    done
    mv "$part"/chosen/* "$media"
    touch "$media/.complete-$package"
    cd "$build"
    rm -rf "$part"
}

: >"$logs/sample.log"
bring python3-mecavideo balle-jbart.mp4 '*.avi' '*.ogv'
case ${1:-} in
'') ;;
test)
    bring psi-plus-sounds chess_start.wav pepnotify.wav reminder.wav
    bring asterisk-core-sounds-en-g722 activated.g722 demo-congrats.g722
    ;;
*) die "usage: tools/fetch_sample.sh [test]" ;;
esac
printf '%s\n' "$media"
