package kiv.media.ffmpeg.exactness;

import static org.assertj.core.api.Assertions.assertThat;

import java.io.ByteArrayOutputStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.function.LongUnaryOperator;
import java.util.stream.Stream;
import kiv.media.ffmpeg.Programs;
import kiv.media.ffmpeg.TestMedia;
import kiv.media.ffmpeg.TestMedia.Clip;
import kiv.media.ffmpeg.Tier;
import kiv.media.ffmpeg.exactness.NativeDecoder.Result;
import kiv.media.ffmpeg.exactness.Reference.Picture;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;
import org.junit.jupiter.params.provider.ValueSource;

/** What Java gets is what FFmpeg decodes, byte for byte. */
@Tag("exactness")
class ExactnessTest {

    /** Codecs whose decoders take streams cut anywhere. */
    private static final Set<String> TRUNCATED = Set.of("mpeg1video", "mpeg2video", "mpeg4", "h263");

    /** Whole packets make a difference to some decoders only; with the others one of the models has them. */
    static Stream<Arguments> everyClipInEveryWay() {
        return Tier.of(TestMedia.clips().stream().filter(clip -> clip.width() != clip.height()).toList(), Clip::codec,
                clip -> Stream.of(PictureModel.values()).flatMap(model -> Stream.of(true, false)
                        .filter(whole -> TRUNCATED.contains(clip.codec()) || whole == (model == PictureModel.I420))
                        .map(whole -> Arguments.of(clip, model, whole))).toList());
    }

    @ParameterizedTest(name = "{0} as {1}, whole packets: {2}")
    @MethodSource("everyClipInEveryWay")
    void everyPictureIsThatOfFfmpeg(Clip clip, PictureModel model, boolean whole) {
        int pictures = Comparison.run(clip, model, whole, 2 * model.ordinal() + (whole ? 0 : 1));
        assertThat(pictures).isPositive();
    }

    static List<Clip> someClips() {
        return Tier.of(TestMedia.clips(), Clip::codec);
    }

    /** A newer FFmpeg has other inverse transforms for some codecs, but never another number of pictures. */
    @ParameterizedTest
    @MethodSource("someClips")
    void theReferenceAgreesWithTheFfmpegProgram(Clip clip) {
        List<Picture> reference = Reference.decode(Track.of(clip), "yuv420p", true, "--drain").pictures();
        List<String> program = Programs.lines(List.of("ffmpeg", "-nostdin", "-v", "error", "-i", clip.file().toString(),
                "-map", "0:v:0", "-vsync", "passthrough", "-autoscale", "0", "-f", "framemd5", "-")).stream()
                .filter(line -> !line.startsWith("#")).map(line -> line.substring(line.lastIndexOf(' ') + 1)).toList();
        assertThat(reference).hasSameSizeAs(program);
        boolean converted = !reference.get(0).decoded().equals("yuv420p");
        // The standard of H.264, Xvid's own transform and that of WMV2 leave no choice.
        if (!converted && (List.of("h264", "wmv2").contains(clip.codec()) || clip.traits().contains("xvid"))) {
            assertThat(reference).extracting(Picture::md5).isEqualTo(program);
        }
    }

    @Test
    void timestampsTravelInTwoHalves() {
        Clip clip = TestMedia.clip("h264_b_320x240.mp4");
        List<Long> times = Track.of(clip).times();
        assertThat(times).isNotEqualTo(times.stream().sorted().toList());
        for (LongUnaryOperator sent : List.<LongUnaryOperator>of(number -> times.get((int) number),
                number -> 0x5_0000_0000L + number, number -> 0x5_8000_0000L + number)) {
            try (NativeDecoder decoder = new NativeDecoder(Track.of(clip), true, 0, PictureModel.I420)) {
                Comparison.run(decoder, clip, PictureModel.I420, true, sent);
            }
        }
    }

    /** Of several models the one of the decoder's own format is taken, else the first of RGB. */
    @Test
    void theModelIsChosenByTheDecodersFormat() {
        Clip clip = TestMedia.clip("mpeg4_320x240.avi");
        Track track = Track.of(clip);
        try (NativeDecoder decoder =
                new NativeDecoder(track, true, 0, PictureModel.RGB32, PictureModel.YV12, PictureModel.I420)) {
            Comparison.run(decoder, clip, PictureModel.I420);
        }
        try (NativeDecoder decoder = new NativeDecoder(track, true, 0, PictureModel.YV12, PictureModel.RGB32)) {
            Comparison.run(decoder, clip, PictureModel.RGB32);
        }
    }

    /** Java's array is Java's: the decoder refers to the picture's pixels for long after. */
    @Test
    void handedOutArraysAreLeftAlone() {
        Track track = Track.of(TestMedia.clip("mpeg2_320x240.m2v"));
        List<Result> results;
        try (NativeDecoder decoder = new NativeDecoder(track, true, 0, PictureModel.I420)) {
            results = track.packets().stream().map(packet -> decoder.process(packet, 0, 0))
                    .filter(result -> result.out() != null)
                    .peek(result -> Arrays.fill((byte[]) result.out().array(), (byte) 7)).toList();
        }
        byte[] filled = new byte[((byte[]) results.get(0).out().array()).length];
        Arrays.fill(filled, (byte) 7);
        assertThat(results).allMatch(result -> Arrays.equals((byte[]) result.out().array(), filled));
    }

    /** Equal width and height are taken for a corrupt state: no array is asked for, and no picture comes. */
    @ParameterizedTest
    @ValueSource(strings = {"h264_b_256x256.avi", "wmv2_256x256.avi", "mpeg4_256x256.m4v", "cinepak_256x256.avi"})
    void squarePicturesAreRefused(String name) {
        Clip clip = TestMedia.clip(name);
        Track track = Track.of(clip);
        for (PictureModel model : PictureModel.values()) {
            try (NativeDecoder decoder = new NativeDecoder(track, true, 0, model)) {
                List<Result> results = track.packets().stream().limit(5).map(packet -> decoder.process(packet, 0, 0)).toList();
                assertThat(results).extracting(Result::out).containsOnlyNulls();
                boolean direct = model.isPlanar() && !clip.codec().equals("cinepak");
                // The decoder gets no memory, or the picture cannot be converted.
                assertThat(results.get(0).code()).isEqualTo(direct ? 8 : 2);
                assertThat(decoder.allocated()).isZero();
            }
        }
    }

    /**
     * As the interface is without options: a stream may be cut anywhere, also within a start code. FFmpeg's own handling
     * of that writes through a null pointer where a new sequence begins.
     */
    @ParameterizedTest
    @ValueSource(strings = {"mpeg1_320x240.m1v", "mpeg2_sizechange.m2v", "mpeg4_b_322x242.avi", "h263_176x144.avi"})
    void aStreamMayBeCutAnywhere(String name) {
        Track track = Track.of(TestMedia.clip(name));
        ByteArrayOutputStream stream = new ByteArrayOutputStream();
        track.packets().forEach(stream::writeBytes);
        List<String> whole = picturesOfPieces(track, stream.toByteArray(), stream.size());
        assertThat(whole).hasSizeGreaterThan(20);
        for (int size : new int[] {1, 2, 3, 7, 64, 1000}) {
            assertThat(picturesOfPieces(track, stream.toByteArray(), size)).as("pieces of %d bytes", size).isEqualTo(whole);
        }
    }

    private static List<String> picturesOfPieces(Track track, byte[] stream, int size) {
        List<String> pictures = new ArrayList<>();
        try (NativeDecoder decoder = new NativeDecoder(track, false, 0, PictureModel.I420)) {
            for (int at = 0; at < stream.length; at += size) {
                byte[] piece = Arrays.copyOfRange(stream, at, Math.min(stream.length, at + size));
                for (Result result = decoder.process(piece, 0, 0); result.out() != null;
                        result = decoder.process(null, 0, 0)) {
                    int[] layout = result.out().layout();
                    pictures.add(Comparison.md5(result, PictureModel.I420, layout[0], layout[1]));
                }
            }
        }
        return pictures;
    }
}
