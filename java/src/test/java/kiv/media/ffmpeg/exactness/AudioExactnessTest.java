package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.List;
import java.util.stream.Stream;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.TestMedia.Sound;
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
    private static final List<String> CUTS = List.of("", "--join 8", "--pieces 2", "--cut 31", "--cut 1");

    static Stream<Arguments> everySoundInEveryWay() {
        return TestMedia.cases(TestMedia.pcmSources(), Sound::codec, sound -> CUTS.stream()
                // A call for every byte of a long stream takes its time and shows nothing more.
                .filter(cut -> !cut.equals("--cut 1") || sound.file().toFile().length() < 40_000)
                .map(cut -> Arguments.of(sound, cut)).toList());
    }

    @ParameterizedTest(name = "{0} {1}")
    @MethodSource("everySoundInEveryWay")
    void everySampleIsThatOfFfmpeg(Sound sound, String cut) throws IOException {
        Track track = Track.of(sound);
        Reference.Sound expected = Reference.decodeSound(track, cut);
        ByteArrayOutputStream stream = new ByteArrayOutputStream();
        track.packets().forEach(stream::writeBytes);
        ByteBuffer input = ByteBuffer.wrap(stream.toByteArray());
        int tag = sound.tags().get(CUTS.indexOf(cut) % sound.tags().size());
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
                int code = (block.failed() ? AudioStatus.DECODING_ERROR : 0)
                        | (block.consumed() < block.length() ? AudioStatus.INPUT_LEFT : 0);
                int room = block.pcm() == null ? 1 << 20 : block.pcm().length;
                // There is just the room that is needed, and every third time at first one byte less.
                boolean tooSmall = i % 3 == 2 && block.pcm() != null && room > 0;
                Result result = decoder.process(bytes, tooSmall ? room - 1 : room);
                String where = "block " + i + " of " + block.length() + " bytes";
                assertThat(result.code()).as(where).isEqualTo(tooSmall ? AudioStatus.OUTPUT_TOO_SMALL : code);
                assertThat(result.consumed()).as(where).isEqualTo(block.consumed());
                if (block.pcm() != null) {
                    assertThat(result.pcm().length).as(where).isEqualTo(block.pcm().length);
                    assertThat(difference(result.pcm(), block.pcm())).as(where)
                            .isLessThanOrEqualTo(expected.integer() ? 0 : 1);
                }
            }
        }
        assertThat(input.hasRemaining()).isFalse();
    }

    /** The largest difference of two samples. */
    private static int difference(byte[] one, byte[] other) {
        ByteBuffer a = ByteBuffer.wrap(one).order(ByteOrder.LITTLE_ENDIAN);
        ByteBuffer b = ByteBuffer.wrap(other).order(ByteOrder.LITTLE_ENDIAN);
        int most = 0;
        while (a.hasRemaining()) {
            most = Math.max(most, Math.abs(a.getShort() - b.getShort()));
        }
        return most;
    }
}
