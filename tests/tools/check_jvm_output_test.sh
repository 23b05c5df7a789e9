#!/usr/bin/env bash
# tools/check_jvm_output.sh finds each kind of complaint that HotSpot makes about us, and none of those about the JDK.
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/common.sh"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
ours=$'\n\tat kiv.media.ffmpeg.c_mediareader_ffmpeg.n_mreader_read(Native Method)\n\tat java.lang.Thread.run(Thread.java:1)'
theirs=$'\n\tat sun.awt.X11.init(Native Method)\n\tat kiv.media.ffmpeg.Picture.toBufferedImage(Picture.java:1)'

# expect passes|fails TEXT
expect() {
    local found=fails
    printf '[INFO] Running kiv.media.ffmpeg.AnyTest\n%s\n[INFO] Tests run: 1\n' "$2" >"$log"
    ! "$root/tools/check_jvm_output.sh" "$log" 2>/dev/null || found=passes
    [[ $found == "$1" ]] || die "$found instead of $1: $2"
}

expect passes '[h264 @ 0x7f0000000000] Warning: not compliant'
unchecked='WARNING in native method: JNI call made without checking exceptions when required to by CallIntMethodV'
expect fails "$unchecked$ours"
expect passes "$unchecked$theirs"
expect fails "$unchecked$theirs"$'\n'"$unchecked$ours"
expect fails "$unchecked"
expect fails "FATAL ERROR in native method: Bad global or local ref passed to JNI$theirs"
expect fails "WARNING: JNI local refs: 33, exceeds capacity: 32$ours"
expect fails 'Warning: Calling other JNI functions in the scope of Get/ReleasePrimitiveArrayCritical or Get/ReleaseStringCritical'
expect fails 'Warning: SIGSEGV handler modified!'
expect fails 'OpenJDK 64-Bit Server VM warning: You have loaded library /x.so which might have disabled stack guard.'
