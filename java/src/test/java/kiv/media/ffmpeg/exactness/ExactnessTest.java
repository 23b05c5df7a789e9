package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.function.LongUnaryOperator;
import java.util.stream.IntStream;
import java.util.stream.Stream;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.TestMedia.Sound;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.exactness.NativeDecoder.Result;
import kiv.media.ffmpeg.natives.AudioStatus;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

/** What Java gets is what FFmpeg decodes, byte for byte, and every byte of sound is accounted for, however it is cut. */
@Tag("exactness")
class ExactnessTest {

    /** Codecs whose decoders take streams cut anywhere. */
    private static final Set<String> TRUNCATED = Set.of("mpeg1video", "mpeg2video", "mpeg4", "h263");

    /** Whole packets make a difference to some decoders only; with the others one of the models has them. */
    static Stream<Arguments> everyClipInEveryWay() {
        return TestMedia.cases(TestMedia.clips().stream().filter(clip -> clip.width() != clip.height()).toList(), Clip::codec,
                clip -> Stream.of(PictureModel.values()).flatMap(model -> Stream.of(true, false)
                        .filter(whole -> TRUNCATED.contains(clip.codec()) || whole == (model == PictureModel.I420))
                        .map(whole -> Arguments.of(clip, model, whole))).toList());
    }

    @ParameterizedTest(name = "{0} as {1}, whole packets: {2}")
    @MethodSource("everyClipInEveryWay")
    void everyPictureIsThatOfFfmpeg(Clip clip, PictureModel model, boolean whole) {
        assertThat(Comparison.run(clip, model, whole)).isPositive();
    }

    @Test
    void timestampsTravelInTwoHalves() {
        Clip clip = TestMedia.clip("h264_b_320x240.mp4");
        for (LongUnaryOperator sent : List.<LongUnaryOperator>of(number -> 40 * (number ^ 3),
                number -> 0x5_0000_0000L + number, number -> 0x5_8000_0000L + number)) {
            try (NativeDecoder decoder = new NativeDecoder(Track.of(clip), true, PictureModel.I420)) {
                Comparison.run(decoder, clip, PictureModel.I420, true, sent);
            }
        }
    }

    /** Of several models the one of the decoder's own format is taken, else the first of RGB. */
    @ParameterizedTest
    @CsvSource({"I420, RGB32 YV12 I420", "RGB32, YV12 RGB32"})
    void theModelIsChosenByTheDecodersFormat(PictureModel chosen, String models) {
        Clip clip = TestMedia.clip("mpeg4_320x240.avi");
        try (NativeDecoder decoder = new NativeDecoder(Track.of(clip), true,
                Stream.of(models.split(" ")).map(PictureModel::valueOf).toArray(PictureModel[]::new))) {
            Comparison.run(decoder, clip, chosen);
        }
    }

    /** Equal width and height are taken for a corrupt state: no array is asked for, and no picture comes. */
    @ParameterizedTest
    @ValueSource(strings = {"h264_b_256x256.avi", "wmv2_256x256.avi", "mpeg4_256x256.m4v", "cinepak_256x256.avi"})
    void squarePicturesAreRefused(String name) {
        Clip clip = TestMedia.clip(name);
        Track track = Track.of(clip);
        for (PictureModel model : PictureModel.values()) {
            try (NativeDecoder decoder = new NativeDecoder(track, true, model)) {
                boolean direct = model.isPlanar() && !clip.codec().equals("cinepak");
                for (int i = 0; i < 5; i++) {
                    Result result = decoder.process(track.packets().get(i), 0, 0);
                    assertThat(result.out()).isNull();
                    // The decoder gets no memory, or the picture cannot be converted.
                    assertThat(i > 0 || result.code() == (direct ? 8 : 2)).isTrue();
                }
            }
        }
    }

    /**
     * Without options a stream may be cut anywhere, also within a start code. FFmpeg's own handling of that writes through
     * a null pointer where a new sequence begins.
     */
    @ParameterizedTest
    @ValueSource(strings = {"mpeg1_320x240.m1v", "mpeg2_sizechange.m2v", "mpeg4_b_322x242.avi", "h263_176x144.avi"})
    void aStreamMayBeCutAnywhere(String name) {
        Track track = Track.of(TestMedia.clip(name));
        ByteArrayOutputStream stream = new ByteArrayOutputStream();
        track.packets().forEach(stream::writeBytes);
        byte[] bytes = stream.toByteArray();
        List<String> whole = new ArrayList<>();
        for (int size : new int[] {bytes.length, 1, 2, 3, 7, 64, 1000}) {
            List<String> pictures = new ArrayList<>();
            try (NativeDecoder decoder = new NativeDecoder(track, false, PictureModel.I420)) {
                if (size == 1) {
                    // A start code that begins before a reset has no end.
                    decoder.process(new byte[] {0, 0, 1}, 0, 0);
                    decoder.reset();
                }
                for (int at = 0; at < bytes.length; at += size) {
                    byte[] piece = Arrays.copyOfRange(bytes, at, Math.min(bytes.length, at + size));
                    for (Result result = decoder.process(piece, 0, 0); result.out() != null;
                            result = decoder.process(null, 0, 0)) {
                        int[] layout = result.out().layout();
                        pictures.add(Comparison.md5(result, PictureModel.I420, layout[0], layout[1]));
                    }
                }
            }
            whole = whole.isEmpty() ? pictures : whole;
            assertThat(pictures).as("pieces of %d bytes", size).isEqualTo(whole).hasSizeGreaterThan(20);
        }
    }

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
                NativeSoundDecoder.Result result = decoder.process(bytes, tooSmall ? room - 1 : room);
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
        return IntStream.range(0, a.limit() / Short.BYTES).map(i -> Math.abs(a.getShort(2 * i) - b.getShort(2 * i))).max()
                .orElse(0);
    }
}
