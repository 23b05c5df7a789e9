package kiv.media.ffmpeg.stress;

import static kiv.media.ffmpeg.exactness.Comparison.check;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.TestMedia.Sound;
import kiv.media.ffmpeg.exactness.Comparison;
import kiv.media.ffmpeg.exactness.NativeDecoder;
import kiv.media.ffmpeg.exactness.NativeDecoder.Result;
import kiv.media.ffmpeg.exactness.NativeSoundDecoder;
import kiv.media.ffmpeg.exactness.PictureModel;
import kiv.media.ffmpeg.exactness.Track;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.BufferRequest;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.ProcessResult;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/**
 * The decoders under stress: small heaps under every collector, many threads, damaged packets, long runs. {@code
 * KIV_STRESS=full} makes the long ones as long as they should be before a release. A scenario runs in a virtual machine of
 * its own, so that a crash is a failure and not the end of the tests.
 */
@Tag("stress")
class StressTest {

    private static final boolean FULL = "full".equals(System.getProperty("KIV_STRESS", System.getenv("KIV_STRESS")));
    private static final List<String> SMALL = List.of("mpeg1_320x240.m1v", "mpeg2_320x240.m2v", "h264_b_322x242.h264",
            "h264_b_320x240.mp4", "msmpeg4v2_320x240.avi", "msmpeg4v3_321x241.avi", "mpeg4_b_322x242.avi",
            "mpeg4_321x241.mkv", "h264_high10_320x240.mp4", "h263_176x144.avi", "wmv1_322x242.asf", "wmv2_320x240.asf",
            "cinepak_160x120.avi");
    private static final int ROOM_FOR_SOUND = 1 << 15;
    /** Damage can ask for pictures of hundreds of megabytes. */
    private static final int LARGEST_ARRAY = 32 << 20;
    /** A fraction of what the smallest known leak of a decoder comes to in the shortest run. */
    private static final int LARGEST_GROWTH = 2 << 20;

    @TempDir
    private Path directory;

    static Stream<Arguments> collectorsOfEveryVirtualMachine() {
        return Programs.virtualMachines().flatMap(home -> Stream.of("G1", "Serial", "Parallel", "Z")
                .map(collector -> Arguments.of(home, "-XX:+Use" + collector + "GC")));
    }

    /** Collections inside the callbacks move or free everything that is not held as it should be. */
    @ParameterizedTest
    @MethodSource("collectorsOfEveryVirtualMachine")
    void aSmallHeapIsCollectedInEveryCallback(String home, String collector) throws Exception {
        child(home, "threads", 3, collector, "-Xmx96m");
    }

    @Test
    void memoryStaysFlat() throws Exception {
        // Nothing but native memory can make this process grow.
        child(System.getProperty("java.home"), "decoders", FULL ? 10_000 : 1_000, "-XX:+UseSerialGC", "-Xms64m", "-Xmx64m",
                "-Xmn24m", "-XX:+AlwaysPreTouch", "-XX:TieredStopAtLevel=1");
    }

    @Test
    void damagedPacketsDoNoHarm() throws Exception {
        // Checked JNI guards both ends of every array that the decoders write into.
        child(System.getProperty("java.home"), "damage", 10_000, "-Xcheck:jni");
        child(System.getProperty("java.home"), "soundDamage", FULL ? 10_000 : 500);
    }

    private void child(String home, String scenario, int count, String... options) throws Exception {
        Programs.run(directory, home, List.of(options), StressTest.class, scenario, "" + count);
    }

    /** Runs a scenario; the second argument is its count. */
    public static void main(String[] arguments) throws Exception {
        StressTest.class.getDeclaredMethod(arguments[0], int.class).invoke(null, Integer.parseInt(arguments[1]));
    }

    /** Decodes clips in eight threads while the heap is collected inside the callbacks, and sound in eight others. */
    static void threads(int rounds) throws Exception {
        List<Sound> sounds = TestMedia.pcmSources();
        ExecutorService pool = Executors.newFixedThreadPool(16);
        for (Future<?> task : IntStream.range(0, 8).boxed().flatMap(i -> Stream.<Runnable>of(() -> {
            for (int round = 0; round < rounds; round++) {
                Clip clip = TestMedia.clip(SMALL.get(i));
                PictureModel model = PictureModel.values()[(i + round) % 3];
                try (NativeDecoder decoder = new NativeDecoder(Track.of(clip), true, model) {
                    @Override
                    public boolean allocate(int[] layout, int[] request, Object[] slots) {
                        System.gc();
                        boolean done = super.allocate(layout, request, slots);
                        System.gc();
                        return done;
                    }
                }) {
                    Comparison.run(decoder, clip, model);
                }
            }
        }, () -> {
            Sound sound = sounds.get(i * sounds.size() / 8);
            byte[] first = samples(sound, sound.tags().get(0));
            for (int round = 1; round < rounds; round++) {
                check(Arrays.equals(first, samples(sound, sound.tags().get(0))), "other samples");
            }
        })).<Future<?>>map(pool::submit).toList()) {
            task.get();
        }
        pool.shutdown();
    }

    /** Feeds damaged packets to decoders of every codec; some pictures come of them nevertheless. */
    static void damage(int packets) {
        Random random = new Random(1);
        int pictures = 0;
        for (String name : SMALL) {
            Track track = Track.of(TestMedia.clip(name));
            PictureModel model = PictureModel.values()[random.nextInt(2) * 2];
            try (NativeDecoder decoder = new NativeDecoder(track, random.nextBoolean(), model) {
                @Override
                public boolean allocate(int[] layout, int[] request, Object[] slots) {
                    return request[BufferRequest.BYTES] <= LARGEST_ARRAY && super.allocate(layout, request, slots);
                }
            }) {
                for (int i = 0; i < packets / SMALL.size(); i++) {
                    byte[] packet = damaged(track.packets().get(random.nextInt(track.packets().size())), random);
                    Result result = decoder.process(packet, random.nextInt(50) == 0 ? ProcessFlags.DISCONTINUITY : 0, i);
                    for (; result.out() != null; result = decoder.process(null, 0, 0)) {
                        Comparison.checkPlaces(result, result.out().layout()[0], result.out().layout()[1]);
                        pictures++;
                    }
                    check(result.code() == ProcessResult.NO_PICTURE || result.code() == ProcessResult.DECODING_ERROR,
                            "code " + result.code());
                    if (random.nextInt(100) == 0) {
                        decoder.reset();
                    }
                }
            }
            // The same process still decodes what is whole.
            Comparison.run(TestMedia.clip(name), model, true);
        }
        check(pictures > packets / 10, "only " + pictures + " pictures");
    }

    private static byte[] damaged(byte[] packet, Random random) {
        byte[] damaged = packet.clone();
        switch (random.nextInt(4)) {
            case 0 -> random.nextBytes(damaged);
            case 1 -> damaged = Arrays.copyOf(damaged, random.nextInt(damaged.length) + 1);
            default -> {
                for (int i = 1 << random.nextInt(6); i > 0; i--) {
                    // Most codecs have what matters most in front.
                    int range = random.nextBoolean() ? Math.min(damaged.length, 32) : damaged.length;
                    damaged[random.nextInt(range)] ^= (byte) (1 << random.nextInt(8));
                }
            }
        }
        return damaged;
    }

    /**
     * Many decoders, each with pictures that are never fetched, damaged ones, and those that follow a reset; and one whose
     * sound has another rate each time.
     */
    static void decoders(int count) throws IOException {
        Track track = Track.of(TestMedia.clip("h264_b_320x240.mp4"));
        Track sound = Track.of(new Sound(TestMedia.stream("ac3.ac3"), "ac3", List.of(0x2000)));
        List<Track> rates = Stream.of("mp3.mp3", "mp2.mp2", "mp2_mono.mp2")
                .map(file -> Track.of(new Sound(TestMedia.stream(file), "mp3", List.of(0x55)))).toList();
        NativeSoundDecoder changing = new NativeSoundDecoder(rates.get(2), 0x55);
        Random random = new Random(1);
        long before = 0;
        for (int i = 0; i < count; i++) {
            changing.process(rates.get(i % 2).packets().get(0), ROOM_FOR_SOUND);
            if (i == count / 5) {
                before = residentBytes();
            }
            try (NativeDecoder decoder = new NativeDecoder(track, true, PictureModel.values()[i % 3]);
                    NativeSoundDecoder other = new NativeSoundDecoder(sound, 0x2000)) {
                for (int number = 0; number < 20; number++) {
                    byte[] packet = track.packets().get(number % 6);
                    decoder.process(number / 6 == 1 ? damaged(packet, random) : packet, 0, 0);
                    other.process(sound.packets().get(number), ROOM_FOR_SOUND);
                    if (number == 12) {
                        decoder.reset();
                    }
                }
            }
        }
        long growth = residentBytes() - before;
        changing.close();
        check(growth < LARGEST_GROWTH, "the process has grown by " + growth + " bytes");
    }

    private static long residentBytes() throws IOException {
        System.gc();
        return Long.parseLong(Files.readString(Path.of("/proc/self/statm")).split(" ")[1]) * 4096;
    }

    /** Feeds damaged blocks to a decoder of every stream; afterwards another one still decodes what is whole. */
    static void soundDamage(int blocksPerStream) {
        Random random = new Random(1);
        for (Sound sound : TestMedia.pcmSources()) {
            Track track = Track.of(sound);
            int tag = sound.tags().get(random.nextInt(sound.tags().size()));
            byte[] whole = samples(sound, tag);
            try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
                track.packets().forEach(packet -> decoder.process(packet, ROOM_FOR_SOUND));
                decoder.reset();
                for (int i = 0; i < blocksPerStream; i++) {
                    byte[] block = damaged(track.packets().get(random.nextInt(track.packets().size())), random);
                    try {
                        // Any other code than these, and anything written where it must not be, throws.
                        int code = decoder.process(block, ROOM_FOR_SOUND).code();
                        check((code & ~(AudioStatus.DECODING_ERROR | AudioStatus.INPUT_LEFT
                                | AudioStatus.OUTPUT_TOO_SMALL)) == 0, sound + ": code " + code);
                    } catch (RuntimeException e) {
                        // Damage can ask for what the resampler cannot do, such as fourteen channels.
                        check(e.getMessage().startsWith("swr_init failed"), e.toString());
                    }
                    if (random.nextInt(200) == 0) {
                        decoder.reset();
                    }
                }
            }
            check(Arrays.equals(whole, samples(sound, tag)), sound + ": other samples afterwards");
        }
    }

    private static byte[] samples(Sound sound, int tag) {
        ByteArrayOutputStream all = new ByteArrayOutputStream();
        try (NativeSoundDecoder decoder = new NativeSoundDecoder(Track.of(sound), tag)) {
            Stream.concat(Track.of(sound).packets().stream(), Stream.of(new byte[0]))
                    .forEach(packet -> all.writeBytes(decoder.process(packet, ROOM_FOR_SOUND).pcm()));
        }
        return all.toByteArray();
    }
}
