package kiv.media.ffmpeg;

import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import java.util.OptionalDouble;
import java.util.OptionalInt;
import kiv.media.ffmpeg.natives.SideDataFields;

/**
 * What a stream says besides its numbers and tags: how its pictures are turned, the buffer that it was coded for, its volume
 * and its place in space. Immutable, for any thread.
 *
 * <pre>{@code
 * stream.sideData().replayGain().ifPresent(gain -> mixer.change(gain.track()));
 * }</pre>
 *
 * @param displayMatrix the matrix by which a row (x, y, 1) is multiplied to turn a picture: nine numbers, row by row, of
 *     which those of the last column have 30 bits behind the point and the others 16; empty when there is none
 * @param codedBuffer the buffer that the stream was coded for; from FFmpeg 5.1 on
 * @param replayGain by how much players change the volume
 * @param stereo how a picture holds those of two eyes
 * @param sphere how a picture lies on a sphere; from FFmpeg 5.1 on
 * @param audioService what the sound serves as, in FFmpeg's numbers, such as 0 for the main one
 */
public record SideData(List<Integer> displayMatrix, Optional<CodedBuffer> codedBuffer, Optional<ReplayGain> replayGain,
        Optional<Stereo> stereo, Optional<Sphere> sphere, OptionalInt audioService) {

    private static final double HUNDRED_THOUSAND = 100_000;
    private static final double DEGREE = 1 << 16;
    private static final int MATRIX_SIZE = 9;
    private static final int ALL_OF_STEREO = 9;
    private static final SideData NONE = new SideData(List.of(), Optional.empty(), Optional.empty(), Optional.empty(),
            Optional.empty(), OptionalInt.empty());
    private static final List<String> ARRANGEMENTS = List.of("2D", "side by side", "top and bottom", "frame alternate",
            "checkerboard", "side by side (quincunx subsampling)", "interleaved lines", "interleaved columns", "unspecified");
    private static final List<String> VIEWS = List.of("packed", "left", "right", "unspecified");
    private static final List<String> EYES = List.of("none", "left", "right");
    private static final List<String> PROJECTIONS = List.of("equirectangular", "cubemap", "tiled equirectangular",
            "half equirectangular", "rectilinear", "fisheye");
    private static final String UNKNOWN = "unknown";

    /**
     * Describes a stream.
     *
     * @param displayMatrix the matrix by which pictures are turned; copied
     * @param codedBuffer the buffer that the stream was coded for
     * @param replayGain by how much players change the volume
     * @param stereo how a picture holds those of two eyes
     * @param sphere how a picture lies on a sphere
     * @param audioService what the sound serves as
     * @throws NullPointerException when something is null
     */
    public SideData {
        for (Object element : Objects.requireNonNull(displayMatrix, "displayMatrix")) {
            Objects.requireNonNull(element, "an element of displayMatrix");
        }
        displayMatrix = List.copyOf(displayMatrix);
        Objects.requireNonNull(codedBuffer, "codedBuffer");
        Objects.requireNonNull(replayGain, "replayGain");
        Objects.requireNonNull(stereo, "stereo");
        Objects.requireNonNull(sphere, "sphere");
        Objects.requireNonNull(audioService, "audioService");
    }

    /**
     * The buffer that a stream was coded for.
     *
     * @param maximumBitRate the greatest number of bits per second; 0 when unknown
     * @param minimumBitRate the least number of bits per second; 0 when unknown
     * @param averageBitRate the mean number of bits per second; 0 when unknown
     * @param size the size of the buffer in bits; 0 when unknown
     * @param delay how long a decoder waits before it begins, in periods of 27 MHz; -1 when unknown
     */
    public record CodedBuffer(long maximumBitRate, long minimumBitRate, long averageBitRate, long size, long delay) {
    }

    /**
     * By how much players change the volume, so that all tracks are equally loud.
     *
     * @param track decibels for the track; empty when unknown
     * @param trackPeak the greatest sample of the track, 1 being the greatest value; 0 when unknown
     * @param album decibels for the album; empty when unknown
     * @param albumPeak the greatest sample of the album, 1 being the greatest value; 0 when unknown
     */
    public record ReplayGain(OptionalDouble track, double trackPeak, OptionalDouble album, double albumPeak) {
    }

    /**
     * How a picture holds those of two eyes.
     *
     * @param arrangement where they are in the picture, by FFmpeg's name, such as {@code side by side}
     * @param inverted whether the right eye's comes first
     * @param space what is known from FFmpeg 7.1 on
     */
    public record Stereo(String arrangement, boolean inverted, Optional<Space> space) {
    }

    /**
     * The space of pictures for two eyes.
     *
     * @param view which eye's pictures the stream has: {@code packed} for both, {@code left} or {@code right}
     * @param primaryEye which eye's are shown where there is one picture only: {@code none}, {@code left} or {@code right}
     * @param baseline the distance of the eyes in micrometres; 0 when unknown
     * @param disparityAdjustment by how much of their width the pictures are moved apart
     * @param fieldOfView degrees that the pictures show from left to right; 0 when unknown
     */
    public record Space(String view, String primaryEye, long baseline, Rational disparityAdjustment, Rational fieldOfView) {
    }

    /**
     * How a picture lies on a sphere.
     *
     * @param projection FFmpeg's name for it, such as {@code equirectangular}
     * @param yaw degrees by which the sphere is turned to the right
     * @param pitch degrees by which it is turned up
     * @param roll degrees by which it is tilted
     * @param left what a tile leaves out on the left, of 2<sup>32</sup>
     * @param top what a tile leaves out above, of 2<sup>32</sup>
     * @param right what a tile leaves out on the right, of 2<sup>32</sup>
     * @param bottom what a tile leaves out below, of 2<sup>32</sup>
     * @param padding pixels around each face of a cube
     */
    public record Sphere(String projection, double yaw, double pitch, double roll, long left, long top, long right,
            long bottom, long padding) {
    }

    /** @param fields laid out as {@link SideDataFields}; null when the stream says nothing */
    static SideData of(long[] fields) {
        if (fields == null) {
            return NONE;
        }
        List<Integer> matrix = fields[SideDataFields.HAS_MATRIX] == 0 ? List.of()
                : Arrays.stream(fields, SideDataFields.MATRIX, SideDataFields.MATRIX + MATRIX_SIZE)
                        .mapToObj(number -> (int) number).toList();
        int service = (int) fields[SideDataFields.SERVICE];
        return new SideData(matrix, buffer(fields), gain(fields), stereo(fields), sphere(fields),
                service < 0 ? OptionalInt.empty() : OptionalInt.of(service));
    }

    private static Optional<CodedBuffer> buffer(long[] fields) {
        int at = SideDataFields.BUFFER;
        return fields[SideDataFields.HAS_BUFFER] == 0 ? Optional.empty()
                : Optional.of(new CodedBuffer(fields[at], fields[at + 1], fields[at + 2], fields[at + 3], fields[at + 4]));
    }

    private static Optional<ReplayGain> gain(long[] fields) {
        int at = SideDataFields.GAIN;
        return fields[SideDataFields.HAS_GAIN] == 0 ? Optional.empty()
                : Optional.of(new ReplayGain(decibels(fields[at]), fields[at + 1] / HUNDRED_THOUSAND,
                        decibels(fields[at + 2]), fields[at + 3] / HUNDRED_THOUSAND));
    }

    private static OptionalDouble decibels(long gain) {
        return gain == SideDataFields.NO_GAIN ? OptionalDouble.empty() : OptionalDouble.of(gain / HUNDRED_THOUSAND);
    }

    private static Optional<Stereo> stereo(long[] fields) {
        int at = SideDataFields.STEREO;
        if (fields[SideDataFields.STEREO_NUMBERS] == 0) {
            return Optional.empty();
        }
        Optional<Space> space = fields[SideDataFields.STEREO_NUMBERS] < ALL_OF_STEREO ? Optional.empty()
                : Optional.of(new Space(name(VIEWS, fields[at + 2]), name(EYES, fields[at + 3]), fields[at + 4],
                        new Rational(fields[at + 5], fields[at + 6]), new Rational(fields[at + 7], fields[at + 8])));
        return Optional.of(new Stereo(name(ARRANGEMENTS, fields[at]), (fields[at + 1] & 1) != 0, space));
    }

    private static Optional<Sphere> sphere(long[] fields) {
        int at = SideDataFields.SPHERE;
        return fields[SideDataFields.HAS_SPHERE] == 0 ? Optional.empty()
                : Optional.of(new Sphere(name(PROJECTIONS, fields[at]), fields[at + 1] / DEGREE, fields[at + 2] / DEGREE,
                        fields[at + 3] / DEGREE, fields[at + 4], fields[at + 5], fields[at + 6], fields[at + 7],
                        fields[at + 8]));
    }

    private static String name(List<String> names, long number) {
        return number >= 0 && number < names.size() ? names.get((int) number) : UNKNOWN;
    }
}
