package kiv.media.ffmpeg.stress;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import kiv.media.ffmpeg.exactness.Comparison;
import kiv.media.ffmpeg.exactness.NativeDecoder;
import kiv.media.ffmpeg.exactness.NativeDecoder.Result;
import kiv.media.ffmpeg.exactness.PictureModel;
import kiv.media.ffmpeg.exactness.TestMedia;
import kiv.media.ffmpeg.exactness.TestMedia.Clip;
import kiv.media.ffmpeg.exactness.Track;

/** Hard uses of the decoder. Each ends normally or throws; {@link #main} runs one in a virtual machine of its own. */
final class Scenarios {

    private static final List<String> SMALL = List.of("mpeg1_320x240.m1v", "mpeg2_320x240.m2v", "h264_b_322x242.h264",
            "h264_b_320x240.mp4", "msmpeg4v2_320x240.avi", "msmpeg4v3_321x241.avi", "mpeg4_b_322x242.avi",
            "mpeg4_321x241.mkv", "h264_high10_320x240.mp4", "h263_176x144.avi", "wmv1_322x242.asf", "wmv2_320x240.asf",
            "cinepak_160x120.avi");
    private static final int LARGEST_ARRAY = 32 << 20;
    /** A fraction of what the smallest known leak of a decoder comes to in the shortest run. */
    private static final int LARGEST_GROWTH = 2 << 20;

    private Scenarios() {
    }

    /** Runs a scenario; the second argument is its count. */
    public static void main(String[] arguments) {
        int count = Integer.parseInt(arguments[1]);
        switch (arguments[0]) {
            case "collections" -> collections();
            case "threads" -> threads(count);
            case "damage" -> damage(count, 1);
            case "resets" -> resets(count);
            case "pictures" -> pictures(count);
            case "decoders" -> decoders(count);
            case "sound damage" -> SoundScenarios.damage(count, 1);
            case "sound seconds" -> SoundScenarios.seconds(count);
            case "sound threads" -> SoundScenarios.threads(count);
            default -> throw new IllegalArgumentException(arguments[0]);
        }
    }

    /** Decodes while the heap is collected inside every callback. */
    static void collections() {
        for (String name : List.of("h264_b_320x240.mp4", "mpeg2_320x240.m2v", "h264_b_1920x1080.mp4")) {
            Clip clip = TestMedia.clip(name);
            for (PictureModel model : List.of(PictureModel.YV12, PictureModel.RGB32)) {
                try (NativeDecoder decoder = new NativeDecoder(Track.of(clip.file()), true, 0, model) {
                    @Override
                    public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
                        System.gc();
                        boolean done = super.allocate(layout, buffer, slots);
                        System.gc();
                        return done;
                    }

                    @Override
                    public void free(Object[] slots) {
                        System.gc();
                        super.free(slots);
                    }
                }) {
                    compare(decoder, clip, model);
                }
            }
        }
    }

    /** Decodes different clips in eight threads at a time. */
    static void threads(int rounds) {
        ExecutorService pool = Executors.newFixedThreadPool(8);
        try {
            List<Future<?>> tasks = new ArrayList<>();
            for (int i = 0; i < 8; i++) {
                Clip clip = TestMedia.clip(SMALL.get(i));
                PictureModel model = PictureModel.values()[i % 3];
                tasks.add(pool.submit(() -> {
                    for (int round = 0; round < rounds; round++) {
                        Comparison.run(clip, model, true, round);
                    }
                }));
            }
            for (Future<?> task : tasks) {
                task.get();
            }
        } catch (InterruptedException e) {
            throw new IllegalStateException(e);
        } catch (ExecutionException e) {
            throw new AssertionError(e.getCause());
        } finally {
            pool.shutdown();
        }
    }

    /** Feeds damaged packets to decoders of every codec; some pictures come of them nevertheless. */
    static void damage(int packets, long seed) {
        Random random = new Random(seed);
        int pictures = 0;
        for (String name : SMALL) {
            Clip clip = TestMedia.clip(name);
            Track track = Track.of(clip.file());
            PictureModel model = PictureModel.values()[random.nextInt(2) * 2];
            boolean whole = random.nextBoolean();
            try (NativeDecoder decoder = new NativeDecoder(track, whole, 0, model) {
                @Override
                public boolean allocate(int[] layout, int[] buffer, Object[] slots) {
                    // Damage can ask for pictures of hundreds of megabytes.
                    return buffer[1] <= LARGEST_ARRAY && super.allocate(layout, buffer, slots);
                }
            }) {
                for (int i = 0; i < packets / SMALL.size(); i++) {
                    byte[] packet = damaged(track.packets().get(random.nextInt(track.packets().size())), random);
                    Result result = decoder.process(packet, random.nextInt(50) == 0 ? 2 : 0, i);
                    while (result.code() == 0 || result.code() == 1 || result.code() == 4) {
                        checkPlaces(result);
                        pictures++;
                        result = decoder.process(null, 0, 0);
                    }
                    check(result.code() == 2 || result.code() == 8, "code " + result.code());
                    if (random.nextInt(100) == 0) {
                        decoder.reset();
                    }
                }
            }
            // The same process still decodes what is whole.
            Comparison.run(clip, model, true, 0);
        }
        check(pictures > packets / 10, "only " + pictures + " pictures");
    }

    static byte[] damaged(byte[] packet, Random random) {
        byte[] damaged = packet.clone();
        switch (random.nextInt(4)) {
            case 0 -> random.nextBytes(damaged);
            case 1 -> damaged = java.util.Arrays.copyOf(damaged, random.nextInt(damaged.length) + 1);
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

    private static void checkPlaces(Result result) {
        int[] params = result.params();
        int[] layout = result.out().layout();
        int size = result.out().buffer()[1];
        boolean planar = params[5] == 0;
        for (int plane = 0; plane < (planar ? 3 : 1); plane++) {
            int lines = plane == 0 ? layout[1] : (layout[1] + 1) / 2;
            int from = (params[6] << params[5]) + params[7 + plane];
            check(from >= 0 && from + layout[2 + plane] * lines <= size, "plane " + plane + " leaves the array");
        }
    }

    /** Resets between pictures; the scaler is re-initialised each time. */
    static void resets(int count) {
        Track track = Track.of(TestMedia.clip("h263_176x144.avi").file());
        try (NativeDecoder decoder = new NativeDecoder(track, true, 0, PictureModel.RGB32)) {
            flat(count, i -> {
                check(decoder.process(track.packets().get(0), 0, i).out() != null, "no picture after a reset");
                decoder.reset();
            });
        }
    }

    /** Many pictures through one decoder. */
    static void pictures(int count) {
        Track track = Track.of(TestMedia.clip("h263_176x144.avi").file());
        try (NativeDecoder decoder = new NativeDecoder(track, true, 0, PictureModel.I420)) {
            flat(count, i -> {
                byte[] packet = track.packets().get(i % track.packets().size());
                check(decoder.process(packet, 0, i).out() != null, "no picture");
            });
        }
    }

    /** Many decoders, each with a few pictures, some that are never fetched and some that are damaged. */
    static void decoders(int count) {
        Track track = Track.of(TestMedia.clip("h264_b_320x240.mp4").file());
        Random random = new Random(1);
        flat(count, i -> {
            try (NativeDecoder decoder =
                    new NativeDecoder(track, true, 0, PictureModel.values()[i % PictureModel.values().length])) {
                for (byte[] packet : track.packets().subList(0, 6)) {
                    decoder.process(packet, 0, 0);
                }
                for (byte[] packet : track.packets().subList(6, 9)) {
                    decoder.process(damaged(packet, random), 0, 0);
                }
            }
        });
    }

    interface Step {
        void run(int number);
    }

    /** Repeats a step; from a fifth of the way on the process may not grow. */
    static void flat(int count, Step step) {
        long before = 0;
        for (int i = 0; i < count; i++) {
            if (i == count / 5) {
                before = residentBytes();
            }
            step.run(i);
        }
        long growth = residentBytes() - before;
        System.out.println("grown by " + (growth >> 10) + " KB");
        check(growth < LARGEST_GROWTH, "the process has grown by " + growth + " bytes");
    }

    private static long residentBytes() {
        System.gc();
        try {
            return Long.parseLong(Files.readString(Path.of("/proc/self/statm")).split(" ")[1]) * 4096;
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    static void compare(NativeDecoder decoder, Clip clip, PictureModel model) {
        Comparison.run(decoder, clip, model, true, number -> number, number -> number);
    }

    static void check(boolean right, String what) {
        if (!right) {
            throw new AssertionError(what);
        }
    }
}
