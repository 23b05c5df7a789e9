package kiv.media.ffmpeg.stress;

import static kiv.media.ffmpeg.exactness.Comparison.check;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.function.IntConsumer;
import java.util.stream.IntStream;
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

/** Hard uses of the decoders. Each ends normally or throws; {@link #main} runs one in a virtual machine of its own. */
final class Scenarios {

    private static final List<String> SMALL = List.of("mpeg1_320x240.m1v", "mpeg2_320x240.m2v", "h264_b_322x242.h264",
            "h264_b_320x240.mp4", "msmpeg4v2_320x240.avi", "msmpeg4v3_321x241.avi", "mpeg4_b_322x242.avi",
            "mpeg4_321x241.mkv", "h264_high10_320x240.mp4", "h263_176x144.avi", "wmv1_322x242.asf", "wmv2_320x240.asf",
            "cinepak_160x120.avi");
    private static final int ROOM_FOR_SOUND = 1 << 15;
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
            case "resets" -> pictures(count, PictureModel.RGB32);
            case "pictures" -> pictures(count, PictureModel.I420);
            case "decoders" -> decoders(count);
            case "sound damage" -> soundDamage(count, 1);
            case "sound seconds" -> soundSeconds(count);
            case "sound threads" -> soundThreads(count);
            default -> throw new IllegalArgumentException(arguments[0]);
        }
    }

    /** Decodes while the heap is collected inside every callback. */
    static void collections() {
        for (String name : List.of("h264_b_320x240.mp4", "mpeg2_320x240.m2v", "h264_b_1920x1080.mp4")) {
            Clip clip = TestMedia.clip(name);
            for (PictureModel model : List.of(PictureModel.YV12, PictureModel.RGB32)) {
                try (NativeDecoder decoder = new NativeDecoder(Track.of(clip), true, 0, model) {
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
                    Comparison.run(decoder, clip, model);
                }
            }
        }
    }

    /** Decodes different clips in eight threads at a time. */
    static void threads(int rounds) {
        inEightThreads(i -> {
            for (int round = 0; round < rounds; round++) {
                Comparison.run(TestMedia.clip(SMALL.get(i)), PictureModel.values()[i % 3], true, round);
            }
        });
    }

    static void inEightThreads(IntConsumer step) {
        ExecutorService pool = Executors.newFixedThreadPool(8);
        try {
            for (Future<?> task : IntStream.range(0, 8).mapToObj(i -> pool.submit(() -> step.accept(i))).toList()) {
                task.get();
            }
        } catch (InterruptedException | ExecutionException e) {
            throw new AssertionError(e);
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
            Track track = Track.of(clip);
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
                        Comparison.checkPlaces(result, result.out().layout()[0], result.out().layout()[1]);
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

    /** Many pictures through one decoder; between those in RGB it is reset, which initialises the scaler each time. */
    static void pictures(int count, PictureModel model) {
        Track track = Track.of(TestMedia.clip("h263_176x144.avi"));
        boolean resets = model == PictureModel.RGB32;
        try (NativeDecoder decoder = new NativeDecoder(track, true, 0, model)) {
            flat(count, i -> {
                byte[] packet = track.packets().get(resets ? 0 : i % track.packets().size());
                check(decoder.process(packet, 0, i).out() != null, "no picture");
                if (resets) {
                    decoder.reset();
                }
            });
        }
    }

    /** Many decoders, each with a few pictures, some that are never fetched and some that are damaged. */
    static void decoders(int count) {
        Track track = Track.of(TestMedia.clip("h264_b_320x240.mp4"));
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

    /** Feeds damaged blocks to a decoder of every stream; afterwards the same one still decodes what is whole. */
    static void soundDamage(int blocksPerStream, long seed) {
        Random random = new Random(seed);
        for (Sound sound : TestMedia.pcmSources()) {
            Track track = Track.of(sound);
            List<byte[]> packets = track.packets();
            int tag = sound.tags().get(random.nextInt(sound.tags().size()));
            byte[] whole;
            try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
                whole = decodeAll(decoder, track);
                decoder.reset();
                for (int i = 0; i < blocksPerStream; i++) {
                    byte[] block = damaged(packets.get(random.nextInt(packets.size())), random);
                    // Any other code than these, and anything written where it must not be, throws.
                    int code = code(decoder, block);
                    check((code & ~(1 | 2 | AudioStatus.OUTPUT_TOO_SMALL)) == 0, sound + ": code " + code);
                    if (random.nextInt(200) == 0) {
                        decoder.reset();
                    }
                }
            }
            try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
                check(Arrays.equals(whole, decodeAll(decoder, track)), sound + ": other samples afterwards");
            }
        }
    }

    /** Damage can ask for what the resampler cannot do, such as fourteen channels, and only that is an exception. */
    private static int code(NativeSoundDecoder decoder, byte[] block) {
        try {
            return decoder.process(block, ROOM_FOR_SOUND).code();
        } catch (RuntimeException e) {
            check(e.getMessage().startsWith("swr_init failed"), e.toString());
            return 1;
        }
    }

    /** Many seconds of AC-3 through one decoder. */
    static void soundSeconds(int count) {
        Track track = Track.of(new Sound(TestMedia.stream("ac3.ac3"), "ac3", List.of(0x2000)));
        try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, 0x2000)) {
            int[] packet = {0};
            int perSecond = 2 * track.stream().channels() * track.stream().sampleRate();
            flat(count, second -> {
                for (int bytes = 0; bytes < perSecond;) {
                    byte[] block = track.packets().get(packet[0]++ % track.packets().size());
                    bytes += decoder.process(block, ROOM_FOR_SOUND).pcm().length;
                }
            });
        }
    }

    /** Decodes different streams in eight threads at a time, and each gives the same samples every time. */
    static void soundThreads(int rounds) {
        List<Sound> sounds = TestMedia.pcmSources();
        inEightThreads(i -> {
            Sound sound = sounds.get(i * sounds.size() / 8);
            byte[] first = null;
            for (int round = 0; round < rounds; round++) {
                try (NativeSoundDecoder decoder = new NativeSoundDecoder(Track.of(sound), sound.tags().get(0))) {
                    byte[] all = decodeAll(decoder, Track.of(sound));
                    check(first == null || Arrays.equals(first, all), "other samples");
                    first = all;
                }
            }
        });
    }

    private static byte[] decodeAll(NativeSoundDecoder decoder, Track track) {
        ByteArrayOutputStream all = new ByteArrayOutputStream();
        track.packets().forEach(packet -> all.writeBytes(decoder.process(packet, ROOM_FOR_SOUND).pcm()));
        all.writeBytes(decoder.process(new byte[0], ROOM_FOR_SOUND).pcm());
        return all.toByteArray();
    }

    /** Repeats a step; from a fifth of the way on the process may not grow. */
    static void flat(int count, IntConsumer step) {
        long before = 0;
        for (int i = 0; i < count; i++) {
            if (i == count / 5) {
                before = residentBytes();
            }
            step.accept(i);
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
}
