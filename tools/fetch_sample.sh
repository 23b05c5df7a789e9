#!/usr/bin/env bash
# Brings the real media files of Debian's package python3-mecavideo into build/media/ and prints that directory.
# The package is downloaded and unpacked, never installed; nothing of it belongs to this repository.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

media=$build/media
package=python3-mecavideo

if [[ ! -e $media/.complete ]]; then
    say "fetching the sample files (Debian's $package)"
    rm -rf "$build/media.part"
    mkdir -p "$build/media.part/deb" "$build/media.part/unpacked"
    cd "$build/media.part/deb"
    # apt's own user may not reach the checkout; as root it then warns and downloads all the same.
    download() { apt-get -q -o APT::Sandbox::User=root download "$package"; }
    # The package lists of a fresh machine are empty or old: then once more with new ones.
    if ! download >"$logs/sample.log" 2>&1 </dev/null; then
        apt-get -q update >>"$logs/sample.log" 2>&1 </dev/null || true
        download >>"$logs/sample.log" 2>&1 </dev/null ||
            die "the sample files could not be downloaded: Debian's package $package is out of reach (network?); see build/log/sample.log"
    fi
    dpkg-deb -x "$package"_*.deb "$build/media.part/unpacked"
    find "$build/media.part/unpacked" -type f \
        \( -iname '*.mp4' -o -iname '*.avi' -o -iname '*.mov' -o -iname '*.mpg' -o -iname '*.mkv' -o -iname '*.webm' -o -iname '*.ogv' \) \
        -exec mv -n -t "$build/media.part" {} +
    rm -rf "$build/media.part/deb" "$build/media.part/unpacked"
    [[ -s $build/media.part/balle-jbart.mp4 ]] || die "Debian's $package no longer holds balle-jbart.mp4"
    touch "$build/media.part/.complete"
    rm -rf "$media"
    mv "$build/media.part" "$media"
fi
printf '%s\n' "$media"
