#!/usr/bin/env bash
# tools/check_jvm_output.sh LOG: what -Xcheck:jni said about our natives fails the tests.
# HotSpot prints most complaints with the Java frames of the thread below them. The JDK's own natives (AWT, image output)
# draw some too; their topmost frame is not ours. A complaint without frames counts as ours, and so does a fatal one.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

found=$(awk '
    function judge() {
        if (complaint != "" && (fatal || frame == "" || frame ~ /at kiv\.media\./)) print complaint frame
        complaint = ""
    }
    /FATAL ERROR in native method|WARNING in native method|WARNING: JNI|Warning: Calling other JNI functions|Warning: SIG|warning: You have loaded library/ {
        judge(); complaint = $0; fatal = /FATAL ERROR/; frame = ""; next
    }
    complaint != "" && /^[[:space:]]+at / { if (frame == "") frame = $0; next }
    complaint != "" { judge() }
    END { judge() }
' "$1" | sort | uniq -c)
[[ -n $found ]] || exit 0
say "complaints of the JVM about the native code:"
say "$found"
exit 1
