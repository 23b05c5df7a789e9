package kiv.media.ffmpeg.stress;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.assertj.core.api.Assumptions.assumeThat;

import java.nio.file.Path;
import java.util.List;
import java.util.Objects;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.c_multimediaapi_ffmpeg;
import kiv.media.ffmpeg.exactness.Comparison;
import kiv.media.ffmpeg.exactness.NativeDecoder;
import kiv.media.ffmpeg.exactness.NativeDecoder.Result;
import kiv.media.ffmpeg.exactness.PictureModel;
import kiv.media.ffmpeg.exactness.Track;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.MethodSource;

/**
 * The decoder under stress: small heaps under every collector, many threads, callbacks that fail, damaged packets, long
 * runs. {@code KIV_STRESS=full} makes the long ones as long as they should be before a release.
 */
@Tag("stress")
class StressTest {

    private static final Pattern FFMPEG_LINE = Pattern.compile("^ *(\\[[a-z0-9]+ @ 0x|Last message repeated)");
    private static final boolean FULL = "full".equals(System.getProperty("KIV_STRESS", System.getenv("KIV_STRESS")));
    private static final boolean SANITIZER = Objects.requireNonNullElse(System.getenv("LD_PRELOAD"), "").contains("san.so");

    @TempDir
    private Path directory;

    static Stream<Arguments> collectorsOfEveryVirtualMachine() {
        return Programs.virtualMachines()
                .flatMap(home -> Stream.of("-XX:+UseG1GC", "-XX:+UseSerialGC", "-XX:+UseParallelGC", "-XX:+UseZGC")
                        .map(collector -> Arguments.of(home, collector)));
    }

    /** Collections inside the callbacks move or free everything that is not held as it should be. */
    @ParameterizedTest
    @MethodSource("collectorsOfEveryVirtualMachine")
    void aSmallHeapIsCollectedInEveryCallback(String home, String collector) throws Exception {
        assumeThat(SANITIZER && collector.contains("UseZGC")).as("addresses that sanitizers take for themselves").isFalse();
        child(home, "collections", 0, collector, "-Xmx64m");
        child(home, "threads", 2, collector, "-Xmx96m");
        child(home, "sound threads", 3, collector, "-Xmx96m");
    }

    @ParameterizedTest
    @CsvSource({"resets, 1000, 10000", "pictures, 10000, 100000", "decoders, 200, 5000", "sound seconds, 300, 3600"})
    void memoryStaysFlat(String scenario, int quick, int full) throws Exception {
        assumeThat(SANITIZER).as("freed memory that a sanitizer keeps").isFalse();
        // Nothing but native memory can make this process grow.
        child(System.getProperty("java.home"), scenario, FULL ? full : quick, "-XX:+UseSerialGC", "-Xms64m", "-Xmx64m",
                "-Xmn24m", "-XX:+AlwaysPreTouch", "-XX:TieredStopAtLevel=1");
    }

    private void child(String home, String scenario, int count, String... options) throws Exception {
        List<String> lines = Programs.run(directory, home, List.of(options), Scenarios.class, scenario, "" + count);
        // What FFmpeg says about damaged packets is of no interest, what the virtual machine says is.
        System.out.println(scenario + " " + List.of(options) + ": " + lines.stream()
                .filter(line -> !FFMPEG_LINE.matcher(line).find()).collect(Collectors.joining("\n")));
    }

    /** In a process of its own, so that a crash is a failure and not the end of the tests. */
    @Test
    void damagedPacketsDoNoHarm() throws Exception {
        // Checked JNI guards both ends of every array that the decoders write into.
        child(System.getProperty("java.home"), "damage", 10_000, "-Xcheck:jni");
        child(System.getProperty("java.home"), "sound damage", FULL ? 10_000 : 500);
    }

    /** How an allocation callback can fail. */
    enum Refusal {
        FALSE, THROWS, TOO_SMALL, WRONG_KIND, NO_ARRAY_OBJECT, NULL
    }

    private static final class Refused extends RuntimeException {
        private static final long serialVersionUID = 1;
    }

    private static final class RefusingDecoder extends NativeDecoder {
        private Refusal refusal;
        private int grace;

        RefusingDecoder(Track track, PictureModel model, Refusal refusal, int grace) {
            super(track, true, 0, model);
            this.refusal = refusal;
            this.grace = grace;
        }

        @Override
        protected Object newArray(int[] layout, int[] buffer) {
            Object array = super.newArray(layout, buffer);
            return refusal == null || grace > 0 ? array : switch (refusal) {
                case THROWS -> throw new Refused();
                case TOO_SMALL -> array instanceof int[] ? new int[buffer[1] / 4 - 1] : new byte[buffer[1] - 1];
                case WRONG_KIND -> array instanceof int[] ? new byte[buffer[1]] : new int[buffer[1]];
                case NO_ARRAY_OBJECT -> "no array";
                default -> null;
            };
        }

        @Override
        public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
            if (refusal == Refusal.FALSE && grace <= 0) {
                return false;
            }
            boolean done = super.allocate(layout, buffer, slots);
            grace--;
            return done;
        }
    }

    /** The packet is lost, nothing else: no array, no later picture. */
    @ParameterizedTest
    @EnumSource
    void anAllocationMayFail(Refusal refusal) {
        for (String name : List.of("h264_320x240.h264", "mpeg4_320x240.avi")) {
            Clip clip = TestMedia.clip(name);
            Track track = Track.of(clip);
            for (PictureModel model : List.of(PictureModel.YV12, PictureModel.RGB32)) {
                for (int grace : new int[] {0, 3}) {
                    try (RefusingDecoder decoder = new RefusingDecoder(track, model, refusal, grace)) {
                        for (int i = 0; i < grace; i++) {
                            assertThat(decoder.process(track.packets().get(i), 0, i).out()).isNotNull();
                        }
                        byte[] packet = track.packets().get(grace);
                        if (refusal == Refusal.THROWS) {
                            assertThatThrownBy(() -> decoder.process(packet, 0, 0)).isExactlyInstanceOf(Refused.class);
                        } else {
                            Result result = decoder.process(packet, 0, 0);
                            // Without memory the decoder fails; without an array the converted picture is dropped.
                            assertThat(result.code()).isEqualTo(model == PictureModel.RGB32 ? 2 : 8);
                            assertThat(result.out()).isNull();
                        }
                        decoder.refusal = null;
                        decoder.reset();
                        Comparison.run(decoder, clip, model);
                    }
                }
            }
        }
    }

    /** An exception of the log reaches the caller, and the decoder is as good as before. */
    @Test
    void theLogMayFail() {
        Clip clip = TestMedia.clip("h264_320x240.h264");
        Track track = Track.of(clip);
        boolean[] throwing = new boolean[1];
        c_multimediaapi_ffmpeg receiver = new c_multimediaapi_ffmpeg() {
            @Override
            public void print_info(int level, String line) {
                if (throwing[0]) {
                    throw new Refused();
                }
            }
        };
        for (PictureModel model : PictureModel.values()) {
            NativeDecoder decoder = new NativeDecoder(track, true, 0, receiver, model.description());
            for (int round = 0; round < 2; round++) {
                throwing[0] = true;
                for (byte[] packet : track.packets().subList(0, 5)) {
                    assertThatThrownBy(() -> decoder.process(packet, 0, 0)).isExactlyInstanceOf(Refused.class);
                }
                throwing[0] = false;
                decoder.reset();
            }
            Result result = decoder.process(track.packets().get(0), 0, 0);
            assertThat(result.out()).isNotNull();
            throwing[0] = true;
            assertThatThrownBy(decoder::close).isExactlyInstanceOf(Refused.class);
            throwing[0] = false;
            decoder.close();
        }
    }
}
