#!/usr/bin/env bash
# tools/check_exports.sh LIBRARY HEADER_DIR
# The library defines JNI_OnLoad, JNI_OnUnload and exactly the natives that the Java classes declare (javac's headers in
# HEADER_DIR), and leaves no name of FFmpeg's undefined.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

(($# == 2)) || die "usage: tools/check_exports.sh LIBRARY HEADER_DIR"
library=$1
headers=("$2"/kiv_media_ffmpeg_*.h)
[[ -e ${headers[0]} ]] || die "no JNI headers in $2"

wanted=$({
    printf '%s\n' JNI_OnLoad JNI_OnUnload
    grep -hoE '\bJava_[A-Za-z0-9_]+' "${headers[@]}"
} | sort -u)
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | sort -u)
if ! difference=$(diff <(printf '%s\n' "$wanted") <(printf '%s\n' "$exported")); then
    say "exported names differ from the declared ones ('<' missing, '>' too many):"
    say "$(grep '^[<>]' <<<"$difference")"
    exit 1
fi
if undefined=$(nm -D --undefined-only "$library" | grep -wE '(av|avcodec|avformat|avio|sws|swr|swresample|swscale)_[a-z0-9_]+'); then
    say "names of FFmpeg's are undefined:"
    say "$undefined"
    exit 1
fi
say "exactly $(wc -l <<<"$exported") names are exported"
