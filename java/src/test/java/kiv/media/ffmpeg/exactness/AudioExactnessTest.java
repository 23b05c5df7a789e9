package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Stream;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.TestMedia.Sound;
import kiv.media.ffmpeg.Tier;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.exactness.NativeSoundDecoder.Result;
import kiv.media.ffmpeg.natives.AudioStatus;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/** The PCM that Java gets is what FFmpeg decodes, and every byte of a block is accounted for, however it is cut. */
@Tag("exactness")
class AudioExactnessTest {

    /** How a stream is cut into blocks, as options of the reference. */
    enum Cut {
        PACKETS, JOINED("--join", "8"), HALVES("--pieces", "2"), SMALL("--cut", "31"), BYTES("--cut", "1");

        private final List<String> options;

        Cut(String... options) {
            this.options = List.of(options);
        }
    }

    static Stream<Arguments> everySoundInEveryWay() {
        return Tier.of(TestMedia.pcmSources(), Sound::codec, sound -> Stream.of(Cut.values())
                // A call for every byte of a long stream takes its time and shows nothing more.
                .filter(cut -> cut != Cut.BYTES || sound.file().toFile().length() < 40_000)
                .map(cut -> Arguments.of(sound, cut)).toList());
    }

    @ParameterizedTest(name = "{0} in {1}")
    @MethodSource("everySoundInEveryWay")
    void everySampleIsThatOfFfmpeg(Sound sound, Cut cut) throws IOException {
        Track track = Track.of(sound);
        Reference.Sound expected = Reference.decodeSound(track, cut.options);
        ByteArrayOutputStream stream = new ByteArrayOutputStream();
        track.packets().forEach(stream::writeBytes);
        ByteBuffer input = ByteBuffer.wrap(stream.toByteArray());
        int tag = sound.tags().get(cut.ordinal() % sound.tags().size());
        try (NativeSoundDecoder decoder = new NativeSoundDecoder(track, tag)) {
            MediaStream format = track.stream();
            assertThat(decoder.formats()).isDeepEqualTo(new byte[][] {
                WaveFormat.of(tag, format.channels(), format.sampleRate(), (int) format.bitRate() / 8, format.blockAlign(),
                        format.bitsPerCodedSample(), format.extradata()).toBytes(),
                WaveFormat.pcm16(format.sampleRate(), format.channels()).toBytes()});
            for (int i = 0; i < expected.blocks().size(); i++) {
                Reference.Block block = expected.blocks().get(i);
                byte[] bytes = new byte[block.length()];
                input.get(bytes);
                int code = (block.failed() ? 1 : 0) | (block.consumed() < block.length() ? 2 : 0);
                String where = "block " + i + " of " + block.length() + " bytes";
                // There is just the room that is needed, and every third time at first one byte less.
                boolean tooSmall = i % 3 == 2 && block.pcm() != null && block.pcm().length > 0;
                Result result = decoder.process(bytes, block.pcm() == null ? 1 << 20 : block.pcm().length - (tooSmall ? 1 : 0));
                assertThat(result.code()).as("result of " + where)
                        .isEqualTo(tooSmall ? AudioStatus.OUTPUT_TOO_SMALL : code);
                assertThat(result.consumed()).as("consumed of " + where).isEqualTo(block.consumed());
                if (block.pcm() != null) {
                    assertThat(result.pcm().length).as("PCM of " + where).isEqualTo(block.pcm().length);
                    assertThat(difference(result.pcm(), block.pcm())).as("samples of " + where)
                            .isLessThanOrEqualTo(expected.integer() ? 0 : 1);
                }
            }
        }
        assertThat(input.hasRemaining()).isFalse();
    }

    static List<Sound> someSounds() {
        return Tier.of(TestMedia.pcmSources(), Sound::codec);
    }

    /** Rounding differs by a step or two between releases; the decoder of DTS has been rewritten since. */
    @ParameterizedTest
    @MethodSource("someSounds")
    void theReferenceAgreesWithTheFfmpegProgram(Sound sound) throws IOException {
        Track track = Track.of(sound);
        ByteArrayOutputStream reference = new ByteArrayOutputStream();
        Reference.decodeSound(track, List.of()).blocks()
                .forEach(block -> reference.writeBytes(block.pcm()));
        byte[] program = Programs.output(List.of("ffmpeg", "-nostdin", "-v", "error", "-flags2", "skip_manual", "-i",
                sound.file().toString(), "-map", "0:a:0", "-f", "s16le", "-"));
        // The program gets the last frame out of WMA, and one of silence out of AAC whose first packet has no sound.
        int more = sound.codec().startsWith("wma") || sound.codec().equals("aac") ? 2 * 2 * 2048 : 0;
        assertThat(program.length - reference.size()).isBetween(0, more);
        assertThat(difference(Arrays.copyOf(program, reference.size()), reference.toByteArray()))
                .isLessThanOrEqualTo(sound.codec().equals("dts") ? 32 : 2);
    }

    /** The largest difference of two samples. */
    private static int difference(byte[] one, byte[] other) {
        if (Arrays.equals(one, other)) {
            return 0;
        }
        ByteBuffer a = ByteBuffer.wrap(one).order(ByteOrder.LITTLE_ENDIAN);
        ByteBuffer b = ByteBuffer.wrap(other).order(ByteOrder.LITTLE_ENDIAN);
        int most = 0;
        while (a.remaining() >= 2 && b.remaining() >= 2) {
            most = Math.max(most, Math.abs(a.getShort() - b.getShort()));
        }
        return most;
    }
}
