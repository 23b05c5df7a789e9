#!/usr/bin/env bash
# Makes the small test streams in build/streams/ with the ffmpeg program, and manifest.tsv that lists them.
# Always the same bytes for the same ffmpeg: synthetic pictures, one thread, no time stamps or random identifiers.
#
# manifest.tsv lists the streams with video under a line of headings: file; codec, FFmpeg's name of it; subtype, four
#   characters of the media subtype that stands for the codec when the container names none of its own; width, height
#   and number of the shown pictures, as the ffmpeg program decodes them (of a stream whose size changes the first size);
#   format, FFmpeg's name of the decoder's pixel format; traits, what the stream is there for: words joined by commas, or -
# audio.tsv lists those without: file, codec, sample_rate, channels; tags, the WAVE format tags that stand for the codec,
#   joined by commas, or - when none does.
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/common.sh"

streams=$build/streams
script=$(sha256sum "${BASH_SOURCE[0]}" | cut -d' ' -f1)
made_by="$script $(ffmpeg -version | head -n 1)"
[[ $(cat "$streams/.made_by" 2>/dev/null) != "$made_by" ]] || { printf '%s\n' "$streams" && exit; }
say "making the test streams"
part=$build/streams.part
rm -rf "$part"
mkdir -p "$part"
cd "$part"

list() { local IFS=$'\t'; printf '%s\n' "$*"; }
encode() { ffmpeg -nostdin -v error -y "$@" -threads 1 -fflags +bitexact -map_metadata -1 "$file" </dev/null; }

# probe STREAM ENTRIES [options]: what another FFmpeg than the one under test sees in the file, joined by commas
probe() { ffprobe -v error -select_streams "$1" -show_entries "stream=$2" -of csv=p=0 "${@:3}" "$file" | head -n 1; }

# describe FILE SUBTYPE TRAITS: adds the stream to the manifest
describe() {
    local file=$1 codec width height format frames
    IFS=, read -r codec width height format frames < <(probe v:0 codec_name,width,height,pix_fmt,nb_read_frames -count_frames)
    list "$file" "$codec" "$2" "$width" "$height" "$frames" "$format" "$3" >>manifest.tsv
}

# video FILE SUBTYPE TRAITS WIDTHxHEIGHT PICTURES [encoder and muxer options]; of traits "sound" a second of both
video() {
    local file=$1 width=${4%x*} height=${4#*x} more=(-frames:v "$5")
    # The source makes even sizes only; cutting in 4:4:4 leaves an odd one exact.
    local source="testsrc2=size=$((width + width % 2))x$((height + height % 2)):rate=${rate:-25}"
    ((width % 2 + height % 2 == 0)) || source+=",format=yuv444p,crop=$width:$height:0:0:exact=1"
    if [[ $3 == sound ]]; then
        source+=:duration=1
        more=(-f lavfi -i sine=frequency=440:sample_rate=44100:duration=1 -ac 2 -flags:a +bitexact)
    fi
    encode -f lavfi -i "$source" "${more[@]}" -flags:v +bitexact "${@:6}"
    [[ $1 == *_small.* ]] || describe "${@:1:3}" # a part of another stream
}

# sounds LAYOUT RATE: a source of sound that differs in every channel, a tone, a sweep and noise
sounds() {
    local count=${1%(*} channel channels=()
    case $1 in mono) count=1 ;; stereo) count=2 ;; esac
    for ((channel = 1; channel <= ${count/./+}; channel++)); do
        channels+=("0.3*sin(2*PI*$((130 + 210 * channel))*t)+0.2*sin(2*PI*$((70 * channel))*(1+10*t)*t)")
        channels[-1]+="+0.$channel*(random(0)-0.5)"
    done
    local IFS='|'
    printf 'aevalsrc=%s:c=%s:s=%s:d=%s' "${channels[*]}" "$1" "$2" "${seconds:-1}"
}

# list_audio FILE TAGS
list_audio() {
    local file=$1 codec rate channels
    IFS=, read -r codec rate channels < <(probe a:0 codec_name,sample_rate,channels)
    list "$file" "$codec" "$rate" "$channels" "$2" >>audio.tsv
}

# audio FILE TAGS LAYOUT RATE [options]
audio() {
    local file=$1
    encode -f lavfi -i "$(sounds "$3" "$4")" -flags:a +bitexact "${@:5}"
    list_audio "$file" "$2"
}

list file codec subtype width height frames format traits >manifest.tsv
list file codec sample_rate channels tags >audio.tsv

# MPEG-1 and MPEG-2
mpeg1=(-c:v mpeg1video -q:v 3 -g 12)
video mpeg1_320x240.m1v MPG1 - 320x240 30 "${mpeg1[@]}"
video mpeg1_b_321x241.mpg MPG1 b,odd 321x241 30 "${mpeg1[@]}" -bf 2 -pix_fmt yuv420p -f mpeg
video mpeg1_b_720x576.mpg MPG1 b 720x576 12 "${mpeg1[@]}" -bf 2 -f mpeg
mpeg2=(-c:v mpeg2video -q:v 3 -g 12)
video mpeg2_320x240.m2v MPG2 - 320x240 30 "${mpeg2[@]}"
video mpeg2_b_323x243.mpg MPG2 b,odd 323x243 30 "${mpeg2[@]}" -bf 2 -pix_fmt yuv420p -f vob
video mpeg2_interlaced_b_720x576.ts MPG2 b,interlaced 720x576 12 "${mpeg2[@]}" -bf 2 -flags:v +bitexact+ildct+ilme -top 1
video mpeg2_422_720x576.ts MPG2 b,422 720x576 12 "${mpeg2[@]}" -bf 2 -pix_fmt yuv422p
video mpeg2_b_1920x1080.mpg MPG2 b,cropped 1920x1080 8 "${mpeg2[@]}" -bf 2 -f vob
video mpeg2_small.m2v MPG2 - 176x144 10 "${mpeg2[@]}"
cat mpeg2_320x240.m2v mpeg2_small.m2v >mpeg2_sizechange.m2v
describe mpeg2_sizechange.m2v MPG2 sizechange

# H.264: Annex B in raw, AVI and TS, with avcC extradata in MP4, MOV and Matroska
x264=(-c:v libx264 -preset medium -crf 22 -g 15 -x264-params threads=1:lookahead-threads=1)
video h264_320x240.h264 H264 - 320x240 30 "${x264[@]}" -bf 0
video h264_b_322x242.h264 H264 b 322x242 30 "${x264[@]}" -bf 3
video h264_b_256x256.avi H264 b 256x256 30 "${x264[@]}" -bf 2 -tag:v H264
video h264_baseline_320x240.mp4 avc1 - 320x240 30 "${x264[@]}" -profile:v baseline
video h264_b_320x240.mp4 avc1 b 320x240 60 "${x264[@]}" -bf 3
video h264_b_1920x1080.mp4 avc1 b,cropped 1920x1080 10 "${x264[@]}" -bf 2
video h264_b_720x576.mkv avc1 b 720x576 12 "${x264[@]}" -bf 2
video h264_interlaced_b_720x576.ts H264 b,interlaced 720x576 12 "${x264[@]}" -bf 2 -flags:v +bitexact+ildct+ilme
video h264_422_322x242.mp4 avc1 b,422 322x242 20 "${x264[@]}" -bf 2 -pix_fmt yuv422p
# The old FFmpeg under test misreads the 8x8 transforms that today's x264 makes in 4:4:4.
video h264_444_321x241.mp4 avc1 b,444,odd 321x241 20 "${x264[@]}" -bf 2 -pix_fmt yuv444p \
    -x264-params threads=1:lookahead-threads=1:8x8dct=0
video h264_high10_320x240.mp4 avc1 b,high10 320x240 20 "${x264[@]}" -bf 2 -pix_fmt yuv420p10le
video h264_cropped_224x208.h264 H264 cropped 352x288 20 "${x264[@]}" -bf 0 \
    -bsf:v h264_metadata=crop_left=16:crop_top=16:crop_right=112:crop_bottom=64
video h264_small.h264 H264 - 176x144 10 "${x264[@]}" -bf 0
cat h264_320x240.h264 h264_small.h264 >h264_sizechange.h264
describe h264_sizechange.h264 H264 sizechange

# Microsoft's MPEG-4 variants and Windows Media Video
while read -r size pictures; do
    video "msmpeg4v2_$size.avi" MP42 - "$size" "$pictures" -c:v msmpeg4v2 -q:v 3 -tag:v MP42
    video "msmpeg4v3_$size.avi" MP43 - "$size" "$pictures" -c:v msmpeg4 -q:v 3 -tag:v MP43
    video "wmv1_$size.asf" WMV1 - "$size" "$pictures" -c:v wmv1 -q:v 3
    video "wmv2_$size.asf" WMV2 - "$size" "$pictures" -c:v wmv2 -q:v 3
done <<<$'320x240 30\n322x242 30\n720x576 12'
video msmpeg4v3_321x241.avi MP43 odd 321x241 30 -c:v msmpeg4 -q:v 3 -tag:v MP43 -pix_fmt yuv420p
video wmv1_320x241.asf WMV1 odd 320x241 30 -c:v wmv1 -q:v 3 -pix_fmt yuv420p
video wmv2_256x256.avi WMV2 - 256x256 20 -c:v wmv2 -q:v 3

# MPEG-4
mpeg4=(-c:v mpeg4 -q:v 3 -g 15)
video mpeg4_320x240.avi DX50 - 320x240 30 "${mpeg4[@]}" -tag:v DX50
video mpeg4_b_322x242.avi DX50 b 322x242 30 "${mpeg4[@]}" -bf 2 -tag:v DX50
video mpeg4_b_320x240.mp4 MP4V b 320x240 30 "${mpeg4[@]}" -bf 2
video mpeg4_321x241.mkv MP4V odd 321x241 30 "${mpeg4[@]}" -pix_fmt yuv420p
video mpeg4_qpel_720x576.avi M4S2 interlaced 720x576 12 "${mpeg4[@]}" -flags:v +bitexact+qpel+mv4+ildct+ilme -tag:v M4S2
video mpeg4_256x256.m4v MP4V - 256x256 30 "${mpeg4[@]}"
video mpeg4_b_1920x1080.avi DX50 b,cropped 1920x1080 8 "${mpeg4[@]}" -bf 2 -tag:v DX50

# H.263 has few sizes
video h263_176x144.avi H263 - 176x144 30 -c:v h263 -q:v 3 -tag:v H263
video h263_352x288.avi H263 - 352x288 30 -c:v h263 -q:v 3 -tag:v H263
video h263_176x144.h263 H263 - 176x144 30 -c:v h263 -q:v 3

# DV
video dv_pal.avi dvsd interlaced 720x576 8 -c:v dvvideo -pix_fmt yuv420p -tag:v dvsd
video dv_pal.dv dvsd interlaced 720x576 8 -c:v dvvideo -pix_fmt yuv420p
rate=30000/1001 video dv_ntsc.avi dvsd interlaced,411 720x480 8 -c:v dvvideo -pix_fmt yuv411p -tag:v dvsd

# Cinepak
video cinepak_160x120.avi cvid - 160x120 12 -c:v cinepak
video cinepak_256x256.avi cvid - 256x256 6 -c:v cinepak

# Sound
audio pcm_s16.wav 0x0001 stereo 44100 -c:a pcm_s16le
audio pcm_s16_5.1.wav 0x0001 5.1 48000 -c:a pcm_s16le
audio pcm_f32.wav 0x0003 stereo 44100 -c:a pcm_f32le
audio alaw.wav 0x0006 mono 8000 -c:a pcm_alaw
audio mulaw.wav 0x0007,0x6c75 stereo 8000 -c:a pcm_mulaw
for layout in mono stereo; do
    audio "adpcm_ms_$layout.wav" 0x0002 $layout 22050 -c:a adpcm_ms
    audio "adpcm_ima_$layout.wav" 0x0011,0x0069 $layout 22050 -c:a adpcm_ima_wav
    audio "adpcm_yamaha_$layout.wav" 0x0020 $layout 22050 -c:a adpcm_yamaha
done
audio g722.wav 0x0065,0x028f mono 16000 -c:a g722
audio gsm.wav 0x0031,0x1500 mono 8000 -c:a libgsm_ms
audio mp2.mp2 0x0050 stereo 48000 -c:a mp2 -b:a 192k
audio mp2_mono.mp2 0x0050 mono 32000 -c:a mp2 -b:a 64k
audio mp3.mp3 0x0055 stereo 44100 -c:a libmp3lame -b:a 128k
audio mp3_mono.mp3 0x0055 mono 22050 -c:a libmp3lame -b:a 48k
seconds=2 audio mp3_vbr.mp3 0x0055,0x0050 stereo 44100 -c:a libmp3lame -q:a 4
audio aac.m4a 0x00ff,0x1602 stereo 44100 -c:a aac -b:a 128k
audio aac_mono.m4a 0x1610 mono 22050 -c:a aac -b:a 48k
audio aac_5.1.m4a 0x00ff 5.1 48000 -c:a aac -b:a 256k
audio aac.aac 0x1600 stereo 44100 -c:a aac -b:a 128k -f adts
for layout in mono 3.0 4.0 5.0 5.1; do
    audio "ac3_$layout.ac3" 0x2000 $layout 48000 -c:a ac3 -b:a 256k
done
audio ac3.ac3 0x2000 stereo 44100 -c:a ac3 -b:a 192k
audio dts.dts 0x0008,0x2001 stereo 48000 -c:a dca -strict -2
audio 'dts_5.1.dts' 0x2001 '5.1(side)' 48000 -c:a dca -strict -2
audio wma1.asf 0x0160 stereo 44100 -c:a wmav1 -b:a 96k
audio wma1_32k.asf 0x0160 mono 22050 -c:a wmav1 -b:a 32k
for kilobits in 48 64 192; do
    audio "wma2_${kilobits}k.asf" 0x0161 stereo 44100 -c:a wmav2 -b:a ${kilobits}k
done
audio wma2.asf 0x0161 stereo 44100 -c:a wmav2 -b:a 128k
audio vorbis.ogg - stereo 44100 -c:a libvorbis -q:a 3
audio flac.flac - stereo 44100 -c:a flac
# ffmpeg has no encoder of AMR. Any bits are a frame of it, so these are those of another codec: 20 ms in 12.2 kbit/s.
{
    printf '#!AMR\n'
    ffmpeg -nostdin -v error -f lavfi -i "$(sounds mono 8000)" -c:a g722 -f g722 - </dev/null |
        for frame in {1..50}; do printf '\x3c' && head -c 31; done
} >amr_nb.amr
list_audio amr_nb.amr 0x0038

# Pictures with sound
video mpeg4_mp3.avi DX50 sound 320x240 25 "${mpeg4[@]}" -bf 2 -tag:v DX50 -c:a libmp3lame -b:a 128k
video h264_aac.mp4 avc1 sound 320x240 25 "${x264[@]}" -bf 2 -c:a aac -b:a 128k
video h264_aac.mov avc1 sound 320x240 25 "${x264[@]}" -c:a aac -b:a 128k
video h264_aac.flv avc1 sound 320x240 25 "${x264[@]}" -bf 0 -c:a aac -b:a 128k
video h264_vorbis.mkv avc1 sound 320x240 25 "${x264[@]}" -bf 2 -c:a libvorbis -q:a 3
video mpeg1_mp2.mpg MPG1 sound 320x240 25 "${mpeg1[@]}" -bf 2 -c:a mp2 -b:a 192k -f mpeg
video mpeg2_ac3.ts MPG2 sound 320x240 25 "${mpeg2[@]}" -bf 2 -c:a ac3 -b:a 192k
video wmv2_wma2.asf WMV2 sound 320x240 25 -c:v wmv2 -q:v 3 -c:a wmav2 -b:a 128k

rm ./*_small.*
printf '%s\n' "$made_by" >.made_by
cd "$build"
rm -rf "$streams"
mv "$part" "$streams"
printf '%s\n' "$streams"
