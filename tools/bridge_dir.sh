#!/usr/bin/env bash
# tools/bridge_dir.sh DIR FFMPEG_DIR [BRIDGE_DIR]
# Makes DIR a directory for n_init: links to the bridge's five libraries, which are called as those of FFmpeg 2.8, and to
# the libraries of FFMPEG_DIR, the FFmpeg that works behind them: 5.1 to 8.0, for instance Debian's
# /usr/lib/x86_64-linux-gnu. BRIDGE_DIR has the five; without it they are those of build/bridge.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

(($# == 2 || $# == 3)) || die "usage: tools/bridge_dir.sh DIR FFMPEG_DIR [BRIDGE_DIR]"
ffmpeg=$(realpath -e "$2") || die "there is no directory $2"
bridge=$(realpath -e "${3:-$build/bridge}") || die "the bridge is not built: cmake --build build/release"
names=(libavcodec.so.56 libavformat.so.56 libavutil.so.54 libswresample.so.1 libswscale.so.3)

shopt -s nullglob
# FFmpeg's own libraries, and what they need where they bring it along: beside Debian's lies all that the system has.
found=("$ffmpeg"/lib{avutil,swresample,swscale,avcodec,avformat}.so.*)
found+=("$ffmpeg"/lib{drm,va,va-drm,va-x11}.so*)
[[ $ffmpeg != /usr/lib* && $ffmpeg != /lib* ]] || found=("$ffmpeg"/lib{avutil,swresample,swscale,avcodec,avformat}.so.*)
[[ -e ${found[0]-} ]] || die "there is no FFmpeg in $ffmpeg"

mkdir -p "$1"
for file in "${found[@]}"; do
    [[ " ${names[*]} " == *" ${file##*/} "* ]] || ln -sfn "$file" "$1/${file##*/}"
done
for name in "${names[@]}"; do
    [[ -e $bridge/$name ]] || die "$bridge has no $name"
    ln -sfn "$bridge/$name" "$1/$name"
done
