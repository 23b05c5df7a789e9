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
# codecs.tsv lists streams of the codecs that have neither subtype nor tag: file, kind (video or audio), codec.
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
    [[ $1 == *_small.* || $3 == none ]] || describe "${@:1:3}" # a part of another stream, or in another list
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

# Groups of pictures that refer to those before, and a film of fragments
opened=(-c:v libx264 -preset medium -crf 30 -g 10 -x264-params threads=1:lookahead-threads=1:open-gop=1:bframes=3:b-adapt=0)
video h264_open_b_160x120.ts H264 none 160x120 60 "${opened[@]}"
video h264_fragments_160x120.mp4 avc1 none 160x120 60 "${opened[@]}" -movflags frag_keyframe+empty_moov

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

# Codecs without a subtype or a tag, in sizes, depths, layouts of channels and containers that differ

# modern FILE WIDTHxHEIGHT PICTURES [options]: pictures
modern() {
    local file=$1
    video "$file" - none "${@:2}"
    list "$file" video "$(probe v:0 codec_name)" >>codecs.tsv
}

# heard FILE LAYOUT RATE [options]: sound
heard() {
    local file=$1
    encode -f lavfi -i "$(seconds=0.3 sounds "$2" "$3")" -flags:a +bitexact "${@:4}"
    list "$file" audio "$(probe a:0 codec_name | tr -d ,)" >>codecs.tsv
}

list file kind codec >codecs.tsv
x265=(-c:v libx265 -preset ultrafast -x265-params pools=none:frame-threads=1:log-level=none:bframes=3:b-adapt=0)
modern hevc.mp4 162x122 12 "${x265[@]}" -tag:v hvc1
modern hevc_odd.mkv 97x63 12 "${x265[@]}" -pix_fmt yuv444p
modern hevc_10.mkv 160x120 12 "${x265[@]}" -pix_fmt yuv420p10
hdr=colorprim=bt2020:colormatrix=bt2020nc:range=limited
modern hevc_pq.mkv 160x120 4 "${x265[@]}:$hdr:transfer=smpte2084" -pix_fmt yuv420p10
modern hevc_hlg.mkv 160x120 4 "${x265[@]}:$hdr:transfer=arib-std-b67" -pix_fmt yuv420p10
modern hevc_12.mp4 160x120 8 "${x265[@]}" -pix_fmt yuv422p12
modern hevc_gray.mkv 160x120 6 "${x265[@]}" -pix_fmt gray10
modern hevc.ts 160x120 12 "${x265[@]}"
modern hevc.hevc 160x120 12 "${x265[@]}"
modern vp8.webm 161x121 12 -c:v libvpx -deadline realtime -cpu-used 8 -pix_fmt yuv420p
modern vp8.ivf 160x120 12 -c:v libvpx -deadline realtime -cpu-used 8 -auto-alt-ref 1
vp9=(-c:v libvpx-vp9 -deadline realtime -cpu-used 8)
modern vp9.webm 162x122 12 "${vp9[@]}"
modern vp9_444.webm 97x63 8 "${vp9[@]}" -pix_fmt yuv444p
modern vp9_10.mkv 160x120 8 "${vp9[@]}" -pix_fmt yuv420p10
modern vp9_gbr.mp4 160x120 8 "${vp9[@]}" -pix_fmt gbrp
modern vp9.ivf 160x120 12 "${vp9[@]}"
av1=(-c:v libaom-av1 -cpu-used 8 -usage realtime -row-mt 0 -crf 40)
modern av1.mp4 162x122 8 "${av1[@]}"
modern av1_odd.webm 97x63 8 "${av1[@]}" -pix_fmt yuv420p
modern av1_10.mkv 160x120 6 "${av1[@]}" -pix_fmt yuv420p10
modern av1.ivf 160x120 6 "${av1[@]}"
modern av1.obu 160x120 6 "${av1[@]}"
modern picture.avif 160x120 1 -c:v libaom-av1 -still-picture 1 -cpu-used 8 -crf 40
modern theora.ogv 162x122 12 -c:v libtheora -q:v 5
modern theora_444.mkv 160x120 8 -c:v libtheora -q:v 5 -pix_fmt yuv444p
modern prores.mov 162x122 4 -c:v prores_ks -profile:v 2
modern prores_4444.mov 160x120 4 -c:v prores_ks -profile:v 4 -pix_fmt yuva444p10
modern dnxhd.mxf 1280x720 2 -c:v dnxhd -b:v 75M -pix_fmt yuv422p
modern dnxhr_10.mov 256x128 3 -c:v dnxhd -profile:v dnxhr_hqx -pix_fmt yuv422p10
for format in yuv420p yuv444p gray yuv422p10 gbrp yuva444p16; do
    modern "ffv1_$format.mkv" 97x63 4 -c:v ffv1 -level 3 -pix_fmt $format
done
modern ffv1.avi 160x120 4 -c:v ffv1 -level 1 -pix_fmt bgr0
modern mjpeg.avi 161x121 8 -c:v mjpeg -q:v 3 -pix_fmt yuvj420p
modern mjpeg_444.mov 160x120 4 -c:v mjpeg -q:v 3 -pix_fmt yuvj444p
modern jpeg2000.mkv 97x63 4 -c:v jpeg2000 -pix_fmt yuv420p
modern jpeg2000.mov 160x120 3 -c:v libopenjpeg -pix_fmt rgb24
modern huffyuv.avi 160x120 4 -c:v huffyuv -pix_fmt yuv422p
modern huffyuv_rgb.avi 97x63 4 -c:v huffyuv -pix_fmt rgb24
modern ffvhuff.mkv 160x120 4 -c:v ffvhuff -pix_fmt yuv420p10
modern utvideo.avi 160x120 4 -c:v utvideo -pix_fmt yuv422p
modern utvideo_rgb.mkv 162x122 4 -c:v utvideo -pix_fmt gbrp
modern qtrle.mov 160x120 8 -c:v qtrle -pix_fmt rgb24
modern qtrle_alpha.mov 97x63 4 -c:v qtrle -pix_fmt argb
modern raw.avi 160x120 3 -c:v rawvideo -pix_fmt bgr24
modern raw_pal.avi 160x120 3 -c:v rawvideo -pix_fmt pal8
modern raw_v210.mkv 160x120 3 -c:v rawvideo -pix_fmt yuv420p -allow_raw_vfw 1
modern raw_10.mov 160x120 3 -c:v rawvideo -pix_fmt uyvy422
modern raw.y4m 97x63 3 -pix_fmt yuv420p
modern raw_10.y4m 160x120 3 -pix_fmt yuv422p10 -strict -1
modern flv1.flv 160x120 12 -c:v flv -q:v 4
modern svq1.mov 160x120 6 -c:v svq1
modern h261.avi 176x144 12 -c:v h261 -q:v 4
modern animation.gif 97x63 5
modern animation.apng 97x63 5 -c:v apng -pix_fmt rgba -plays 0 -f apng
modern picture.png 97x63 1 -pix_fmt rgb48be -f image2 -update 1
modern picture_pal.png 160x120 1 -pix_fmt pal8 -f image2 -update 1
modern picture_ya.png 97x63 1 -pix_fmt ya8 -f image2 -update 1
modern picture.jpg 97x63 1 -pix_fmt yuvj420p -f image2 -update 1
modern picture.webp 98x64 1 -c:v libwebp -lossless 0 -f image2 -update 1
modern picture_lossless.webp 97x63 1 -c:v libwebp -lossless 1 -pix_fmt bgra -f image2 -update 1

heard opus.opus stereo 48000 -c:a libopus -b:a 64k
heard opus_mono.webm mono 48000 -c:a libopus -b:a 32k
heard 'opus_5.1.mkv' 5.1 48000 -c:a libopus -b:a 200k -mapping_family 1
heard vorbis_mono.ogg mono 22050 -c:a libvorbis -q:a 3
heard vorbis_5.1.mkv 5.1 44100 -c:a libvorbis -q:a 3
heard vorbis.webm stereo 44100 -c:a libvorbis -q:a 3
heard flac_16.flac stereo 44100 -c:a flac
heard flac_24.flac 5.1 96000 -c:a flac -sample_fmt s32
heard flac.ogg mono 22050 -c:a flac
heard flac.mkv 3.0 48000 -c:a flac
heard alac_16.m4a stereo 44100 -c:a alac
heard alac_24.caf 5.1 48000 -c:a alac -sample_fmt s32p
for layout in mono stereo 5.1; do
    heard "eac3_$layout.eac3" $layout 48000 -c:a eac3 -b:a 192k
done
heard eac3.mp4 stereo 44100 -c:a eac3 -b:a 128k
heard truehd.mkv stereo 48000 -c:a truehd -strict -2
heard truehd_24.mkv stereo 96000 -c:a truehd -strict -2 -sample_fmt s32
heard mlp.mkv stereo 44100 -c:a mlp -strict -2
heard wavpack.wv stereo 44100 -c:a wavpack
heard wavpack_24.mkv 5.1 48000 -c:a wavpack -sample_fmt s32p
heard wavpack_float.wv mono 44100 -c:a wavpack -sample_fmt fltp
heard tta.tta stereo 44100 -c:a tta
heard tta_24.mkv mono 48000 -c:a tta -sample_fmt s32
heard speex.ogg mono 16000 -c:a libspeex
heard mp2.mkv stereo 44100 -c:a mp2 -b:a 128k
for format in u8 s24le s32le f64le; do
    heard "pcm_$format.wav" stereo 44100 -c:a pcm_$format
done
heard pcm_s24le.w64 5.1 48000 -c:a pcm_s24le
for format in s8 s16be s24be s32be f32be f64be; do
    heard "pcm_$format.aiff" stereo 22050 -c:a pcm_$format
done
heard pcm_s24be.au mono 44100 -c:a pcm_s24be
heard pcm_u8.voc mono 11025 -c:a pcm_u8
heard pcm_s16le.caf 3.0 48000 -c:a pcm_s16le
heard pcm_s16be.mkv 7.1 48000 -c:a pcm_s16be
heard pcm_bluray.m2ts 5.1 48000 -c:a pcm_bluray -f mpegts -mpegts_m2ts_mode 1
heard adpcm_ima_qt.mov stereo 44100 -c:a adpcm_ima_qt
heard adpcm_swf.flv mono 22050 -c:a adpcm_swf
heard g726.wav mono 8000 -c:a g726
heard g726.au mono 8000 -c:a g726le -b:a 32k
# ffmpeg encodes neither DSD nor layer I of MPEG audio. Any bits are DSD: a block of one channel, then one of the other.
# A frame of layer I allots 3 bits to each sample here; any scale factors and samples may follow.
file=bits_small.g722 encode -f lavfi -i "$(seconds=9 sounds mono 16000)" -c:a g722 -f g722
number() { printf "\\x$(printf %02x $(($1 & 255)))"; (($2 == 1)) || number $(($1 >> 8)) $(($2 - 1)); } # little-endian
listed() { list "$1" audio "$(file=$1 probe a:0 codec_name | tr -d ,)" >>codecs.tsv; }
for sample_bits in 1 8; do
    {
        printf 'DSD ' && number 28 8 && number $((28 + 52 + 12 + 65536)) 8 && number 0 8
        printf 'fmt ' && number 52 8 && number 1 4 && number 0 4 && number 2 4 && number 2 4 && number 2822400 4
        number $sample_bits 4 && number $((32768 * 8)) 8 && number 4096 4 && number 0 4
        printf data && number $((12 + 65536)) 8 && head -c 65536 bits_small.g722
    } >dsd_$sample_bits.dsf
    listed dsd_$sample_bits.dsf
done
for frame in {1..40}; do
    printf '\xff\xff\xc4\x00' && printf '\x22%.0s' {1..32} && head -c 348
done <bits_small.g722 >mp1.mp1
listed mp1.mp1
# What files say of themselves: tags in several scripts, chapters, languages, covers, programs, colours. In no list.
cat >tags_small.txt <<'END'
;FFMETADATA1
title=Вечерний звон
artist=坂本 龍一
album=Größe & "Mut"
date=2011-05-07
comment=two\
lines
creation_time=2020-02-03T04:05:06.000000Z
[CHAPTER]
TIMEBASE=1/1000
START=0
END=400
title=Начало
[CHAPTER]
TIMEBASE=1/1000
START=400
END=1000
title=第二章
END
# said FILE [options]: with the tags and chapters
said() { ffmpeg -nostdin -v error -y -i tags_small.txt "${@:2}" -threads 1 -fflags +bitexact -flags +bitexact "$1" </dev/null; }
seen=(-f lavfi -i testsrc2=size=160x120:rate=25:duration=1)
tone=(-f lavfi -i sine=440:sample_rate=44100:duration=1)
for picture in jpg png; do
    file=cover_small.$picture encode -f lavfi -i testsrc2=size=64x48 -frames:v 1 -update 1
done
spoken=(-map 1 -map 2 -map 3 -metadata:s:a:0 language=rus -metadata:s:a:1 language=jpn -metadata:s:a:1 title=日本語
    -disposition:a:1 comment)
said tagged.mp4 "${seen[@]}" "${tone[@]}" "${tone[@]}" "${spoken[@]}" "${x264[@]}" -flags:v +ildct+ilme -color_primaries bt709 \
    -color_trc bt709 -colorspace bt709 -color_range tv -c:a aac
said tagged.mkv "${seen[@]}" "${tone[@]}" "${tone[@]}" "${spoken[@]}" "${x264[@]}" -c:a flac
said tagged.mp3 "${tone[@]}" -i cover_small.jpg -map 1 -map 2 -c:a libmp3lame -c:v copy -metadata:s:v comment="Cover (front)"
said tagged.m4a "${tone[@]}" -i cover_small.png -map 1 -map 2 -c:a aac -c:v copy -disposition:v attached_pic
said tagged.flac "${tone[@]}" -i cover_small.png -map 1 -map 2 -c:a flac -c:v copy -disposition:v attached_pic
said tagged.ogg "${tone[@]}" -c:a libvorbis
said programs.ts "${seen[@]}" "${tone[@]}" "${tone[@]}" -map 1 -map 2 -map 3 -c:v mpeg2video -c:a mp2 \
    -program title=Один:st=0:st=1 -program title=Two:st=2
light=pools=none:frame-threads=1:log-level=none:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:range=limited
light+=":master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,1):max-cll=1000,400"
file=hdr.hevc encode "${seen[@]}" -frames:v 3 -c:v libx265 -preset ultrafast -pix_fmt yuv420p10 -x265-params "$light"

# Codecs that FFmpeg decodes and the library does not
both=(-f lavfi -i testsrc2=size=160x120:rate=25:duration=0.4 -f lavfi -i sine=sample_rate=22050:duration=0.4)
file=snow_mp3.avi encode "${both[@]}" -flags +bitexact -c:v snow -c:a libmp3lame
file=flv1_nellymoser.flv encode "${both[@]}" -flags +bitexact -c:v flv -c:a nellymoser

rm ./*_small.*
printf '%s\n' "$made_by" >.made_by
cd "$build"
rm -rf "$streams"
mv "$part" "$streams"
printf '%s\n' "$streams"
