package kiv.media.ffmpeg;

import java.util.Objects;
import java.util.Optional;
import java.util.regex.Pattern;
import kiv.media.ffmpeg.natives.VideoFormatLayout;
import kiv.media.ffmpeg.wall.PictureDecoder;

/**
 * Describes compressed video for a {@link VideoDecoder}. Immutable, for any thread.
 *
 * <pre>{@code
 * VideoFormat film = VideoFormat.of(MediaSubtypes.H264_ANNEX_B, 320, 240, 0, new byte[0], new Rational(1, 25));
 * }</pre>
 *
 * @see MediaSubtypes
 */
public final class VideoFormat {

    /** FFmpeg refuses larger pictures, because it multiplies sizes in 32 bits. */
    private static final int MAX_SIDE = 16384;
    private static final Pattern GUID = Pattern.compile("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}");

    private final String subtype;
    private final int fourcc;
    private final int width;
    private final int height;
    private final int bitCount;
    private final byte[] extradata;
    private final Rational timeBase;
    /** Null for a media subtype that the library knows. */
    private final MediaStream stream;

    private VideoFormat(String subtype, int fourcc, int width, int height, int bitCount, byte[] extradata,
            Rational timeBase, MediaStream stream) {
        this.subtype = subtype;
        this.fourcc = fourcc;
        this.width = width;
        this.height = height;
        this.bitCount = bitCount;
        this.extradata = Objects.requireNonNull(extradata, "extradata").clone();
        this.timeBase = Objects.requireNonNull(timeBase, "timeBase");
        this.stream = stream;
    }

    /**
     * Describes video that no {@link MediaReader} reads.
     *
     * @param subtype the media subtype, a GUID of 36 lower-case characters
     * @param width the pictures' width in pixels, 1 to 16384
     * @param height the pictures' height in pixels, 1 to 16384
     * @param bitCount bits per pixel that the container states, or 0; some codecs need it
     * @param extradata the codec's private data, copied; may be empty
     * @param timeBase the unit of the packets' times in seconds; a fraction with a 0 when unknown
     * @return the format
     * @throws IllegalArgumentException when the subtype is no GUID, or a number is out of its range
     */
    public static VideoFormat of(String subtype, int width, int height, int bitCount, byte[] extradata,
            Rational timeBase) {
        if (!GUID.matcher(Objects.requireNonNull(subtype, "subtype")).matches()) {
            throw new IllegalArgumentException("no media subtype, such as those of MediaSubtypes: \"" + subtype + "\"");
        }
        if (bitCount < 0) {
            throw new IllegalArgumentException("negative number of bits per pixel " + bitCount);
        }
        return new VideoFormat(subtype, 0, checkedSide("width", width), checkedSide("height", height), bitCount, extradata,
                timeBase, null);
    }

    /**
     * Describes the video of a stream.
     *
     * @param stream a video stream
     * @return the format
     * @throws UnsupportedCodecException when the library or the loaded FFmpeg does not decode its codec
     * @throws MediaFormatException when the size of its pictures is unknown
     * @throws IllegalArgumentException when the stream is not a video stream
     */
    public static VideoFormat of(MediaStream stream) {
        if (Objects.requireNonNull(stream, "stream").kind() != MediaKind.VIDEO) {
            throw new IllegalArgumentException("no video: " + stream);
        }
        Optional<String> subtype = MediaSubtypes.find(stream);
        if (subtype.isEmpty() && !stream.isSupported()) {
            throw stream.unsupported();
        }
        if (!stream.isOfSplitter() && (!isSide(stream.width()) || !isSide(stream.height()))) {
            throw new MediaFormatException("pictures of an impossible size: " + stream);
        }
        return new VideoFormat(subtype.orElseGet(() -> MediaSubtypes.of(stream.codecTag())), stream.codecTag(),
                stream.width(), stream.height(), stream.bitsPerCodedSample(), stream.extradata(), stream.timeBase(), stream);
    }

    /**
     * {@return the media subtype} For a codec that {@link MediaSubtypes} does not have it is derived from the
     * four-character code of the stream, and does not find a decoder.
     */
    public String subtype() {
        return subtype;
    }

    /** {@return the pictures' width in pixels; 0 when only the pictures of a {@link PacketSplitter} state it} */
    public int width() {
        return width;
    }

    /** {@return the pictures' height in pixels; 0 when only the pictures of a {@link PacketSplitter} state it} */
    public int height() {
        return height;
    }

    /** {@return the unit of the packets' times in seconds} */
    public Rational timeBase() {
        return timeBase;
    }

    /** {@return the codec's private data, as a new array} */
    public byte[] extradata() {
        return extradata.clone();
    }

    /**
     * Makes a decoder that is not open.
     *
     * @return the decoder
     * @throws RuntimeException when there is no decoder
     */
    PictureDecoder createDecoder(Workplace place) {
        return stream == null ? place.createDecoder(subtype, toNative(), extradata)
                : place.createDecoder(stream.toNative(), extradata);
    }

    /** {@return FFmpeg's short name of the codec; empty for a codec that is not cut into packets} */
    String codecName() {
        return stream == null ? MediaSubtypes.codecName(subtype) : stream.codecName();
    }

    /** The format laid out as {@link VideoFormatLayout}. */
    int[] toNative() {
        int[] fields = new int[VideoFormatLayout.SIZE];
        fields[VideoFormatLayout.FOURCC] = fourcc;
        fields[VideoFormatLayout.WIDTH] = width;
        fields[VideoFormatLayout.HEIGHT] = height;
        fields[VideoFormatLayout.BITS_PER_PIXEL] = bitCount;
        fields[VideoFormatLayout.EXTRADATA_LENGTH] = extradata.length;
        return fields;
    }

    private static boolean isSide(int pixels) {
        return pixels >= 1 && pixels <= MAX_SIDE;
    }

    private static int checkedSide(String name, int pixels) {
        if (!isSide(pixels)) {
            throw new IllegalArgumentException(name + " " + pixels + " is not in 1 to " + MAX_SIDE);
        }
        return pixels;
    }

    @Override
    public String toString() {
        return "VideoFormat[" + (stream == null ? subtype : stream.codecName()) + " " + width + "x" + height + "]";
    }
}
