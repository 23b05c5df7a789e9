#!/usr/bin/env bash
# tools/mutate_java.sh [CLASSES [TESTS]]: PIT changes classes of the Java library, one place at a time, and lists the changes
# that no test notices. Both arguments are patterns of class names, joined by commas. Without them it takes the classes
# that need little of the native library, with their own tests. ./test must have run once.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
. "$root/tools/build.sh"

api=kiv.media.ffmpeg
classes=${1:-"$api.AudioClock,$api.FourCharacterCode,$api.MediaSubtypes,$api.PacketFilter,$api.PacketTimes,$api.PictureClock,$api.Plane,"$(
)"$api.PictureMemory*,$api.Rational,$api.WaveFormat*,$api.headers.*,$api.io.*,$api.javasound.SpoolChannel,"$(
)"$api.loading.CacheEntry*,$api.loading.ResourceCache*,$api.loading.TrustedDirectory"}
tests=${2:-"$api.AudioDecoderTest,$api.FormatTablesTest,$api.PictureTest,$api.TimesTest,$api.headers.*,$api.io.*,"$(
)"$api.javasound.SpoolChannelTest,$api.loading.ResourceCacheTest"}

report=$root/java/target/pit-reports
say "mutating Java classes"
maven mutation -pl java -Pmutation test-compile org.pitest:pitest-maven:mutationCoverage \
    "-DtargetClasses=$classes" "-DtargetTests=$tests"
# file, class, mutator, method, line, status, test
awk -F, '{ ++count[$6] } $6 == "SURVIVED" || $6 == "NO_COVERAGE" { sub(/.*\./, "", $3); print $2 ":" $5, $4, $3, $6 }
    END { for (status in count) print count[status], status }' "$report/mutations.csv"
say "the report is in ${report#"$root"/}/index.html"
