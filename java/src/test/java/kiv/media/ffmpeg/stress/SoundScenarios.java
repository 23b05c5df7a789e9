package kiv.media.ffmpeg.stress;

import java.io.ByteArrayOutputStream;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.exactness.NativeSoundDecoder;
import kiv.media.ffmpeg.exactness.SoundTrack;
import kiv.media.ffmpeg.exactness.TestMedia;
import kiv.media.ffmpeg.exactness.TestMedia.Sound;

/** Hard uses of decoders of sound; see {@link Scenarios}. */
final class SoundScenarios {

    private static final int ROOM = 1 << 15;

    private SoundScenarios() {
    }

    /** Feeds damaged blocks to a decoder of every stream; afterwards the same one still decodes what is whole. */
    static void damage(int blocksPerStream, long seed) {
        Random random = new Random(seed);
        for (Sound sound : TestMedia.pcmSources()) {
            SoundTrack track = SoundTrack.of(sound.file());
            List<byte[]> packets = track.packets();
            int tag = sound.tags().get(random.nextInt(sound.tags().size()));
            byte[] whole;
            try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
                whole = decodeAll(decoder, track);
                decoder.reset();
                for (int i = 0; i < blocksPerStream; i++) {
                    byte[] block = Scenarios.damaged(packets.get(random.nextInt(packets.size())), random);
                    // Any other code than these, and anything written where it must not be, throws.
                    int code = code(decoder, block);
                    Scenarios.check((code & ~(1 | 2 | NativeSoundDecoder.TOO_SMALL)) == 0, sound + ": code " + code);
                    if (random.nextInt(200) == 0) {
                        decoder.reset();
                    }
                }
            }
            try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
                Scenarios.check(Arrays.equals(whole, decodeAll(decoder, track)), sound + ": other samples afterwards");
            }
        }
    }

    /** Damage can ask for what the resampler cannot do, such as fourteen channels, and only that is an exception. */
    private static int code(NativeSoundDecoder decoder, byte[] block) {
        try {
            return decoder.process(block, ROOM).code();
        } catch (RuntimeException e) {
            Scenarios.check(e.getMessage().startsWith("swr_init failed"), e.toString());
            return 1;
        }
    }

    /** Many seconds of AC-3 through one decoder. */
    static void seconds(int count) {
        SoundTrack track = SoundTrack.of(
                TestMedia.pcmSources().stream().filter(sound -> sound.codec().equals("ac3")).findFirst().orElseThrow().file());
        try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, 0x2000)) {
            int[] packet = {0};
            int perSecond = 2 * track.channels() * track.rate();
            Scenarios.flat(count, second -> {
                for (int bytes = 0; bytes < perSecond;) {
                    byte[] block = track.packets().get(packet[0]++ % track.packets().size());
                    bytes += decoder.process(block, ROOM).pcm().length;
                }
            });
        }
    }

    /** Decodes different streams in eight threads at a time, and each gives the same samples every time. */
    static void threads(int rounds) {
        List<Sound> sounds = TestMedia.pcmSources();
        IntStream.range(0, 8).mapToObj(i -> {
            SoundTrack track = SoundTrack.of(sounds.get(i * sounds.size() / 8).file());
            int tag = sounds.get(i * sounds.size() / 8).tags().get(0);
            return new Worker(() -> {
                byte[] first = null;
                for (int round = 0; round < rounds; round++) {
                    try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
                        byte[] all = decodeAll(decoder, track);
                        Scenarios.check(first == null || Arrays.equals(first, all), "other samples");
                        first = all;
                    }
                }
            });
        }).toList().forEach(Worker::finish);
    }

    /** A thread that is running already. */
    private static final class Worker {
        private final Thread thread;
        private Throwable failure;

        Worker(Runnable work) {
            thread = new Thread(work);
            thread.setUncaughtExceptionHandler((failed, e) -> failure = e);
            thread.start();
        }

        void finish() {
            try {
                thread.join();
            } catch (InterruptedException e) {
                throw new IllegalStateException(e);
            }
            if (failure != null) {
                throw new AssertionError(failure);
            }
        }
    }

    private static byte[] decodeAll(NativeSoundDecoder decoder, SoundTrack track) {
        ByteArrayOutputStream all = new ByteArrayOutputStream();
        track.packets().forEach(packet -> all.writeBytes(decoder.process(packet, ROOM).pcm()));
        all.writeBytes(decoder.process(new byte[0], ROOM).pcm());
        return all.toByteArray();
    }
}
