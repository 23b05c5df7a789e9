package kiv.media.ffmpeg;

import java.time.Duration;
import java.util.Locale;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;
import java.util.OptionalLong;
import java.util.Set;
import kiv.media.ffmpeg.index.PacketExaminer;
import kiv.media.ffmpeg.natives.StreamFields;
import kiv.media.ffmpeg.natives.StreamNames;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.wall.PictureDecoder;

/**
 * Describes one stream of a container. Immutable, and usable after its {@link MediaReader} is closed. Numbers that the
 * container does not state are 0, and unknown fractions contain a 0. Any thread may use it.
 *
 * <pre>{@code
 * for (MediaStream stream : reader.streams()) {
 *     System.out.println(stream.index() + ": " + stream.kind() + " " + stream.codecName()
 *             + stream.duration().map(length -> ", " + length.toSeconds() + " s").orElse(""));
 * }
 * }</pre>
 */
public final class MediaStream {

    /** The index of the only stream of a splitter, which is 0 for its users. */
    private static final int SPLITTER = -1;
    /** The options of a decoder that take what the container says of the pictures, and where it is said. */
    private static final Map<String, Integer> PICTURE_OPTIONS = Map.of(
            c_codecoptions_ffmpeg.COLOR_RANGE, StreamFields.COLOR_RANGE,
            c_codecoptions_ffmpeg.COLOR_SPACE, StreamFields.COLOR_SPACE,
            c_codecoptions_ffmpeg.COLOR_TRANSFER, StreamFields.COLOR_TRANSFER,
            c_codecoptions_ffmpeg.COLOR_PRIMARIES, StreamFields.COLOR_PRIMARIES,
            c_codecoptions_ffmpeg.CHROMA_LOCATION, StreamFields.CHROMA_LOCATION,
            c_codecoptions_ffmpeg.FIELD_ORDER, StreamFields.FIELD_ORDER);
    private static final int LARGEST_OPTION = 0xFF;

    private final int index;
    private final long[] fields;
    private final String codecName;
    private final byte[] extradata;
    private final StreamMetadata metadata;
    private final Workplace place;

    /**
     * Copies what the native reader reports.
     *
     * @param index the stream's index
     * @param fields as in {@link c_mediareader_ffmpeg#n_reader_get_stream}
     * @param codecName as in {@link c_mediareader_ffmpeg#n_reader_get_codec_name}
     * @param extradata as in {@link c_mediareader_ffmpeg#n_reader_get_extradata}
     * @param metadata what the stream says in words
     * @param place where its decoders work
     */
    MediaStream(int index, long[] fields, String codecName, byte[] extradata, StreamMetadata metadata, Workplace place) {
        this.index = index;
        this.fields = fields.clone();
        this.codecName = codecName;
        this.extradata = extradata.clone();
        this.metadata = metadata;
        this.place = place.ofStream(Math.max(index, 0));
    }

    /** Describes a stream that no container holds. */
    static MediaStream ofSplitter(long[] fields, String codecName, Workplace place) {
        return new MediaStream(SPLITTER, fields, codecName, new byte[0], StreamMetadata.NONE, place);
    }

    /** Whether no container holds the stream, and its bytes state the size of its pictures. */
    boolean isOfSplitter() {
        return index == SPLITTER;
    }

    /** Where the stream's decoders work. */
    Workplace place() {
        return place;
    }

    /** {@return the stream's index in {@link MediaReader#streams()}, from 0} */
    public int index() {
        return Math.max(index, 0);
    }

    /** {@return the kind of its data} */
    public MediaKind kind() {
        return MediaKind.of(fields[StreamFields.MEDIA_TYPE]);
    }

    /** {@return FFmpeg's number of the codec} */
    public int codecId() {
        return (int) fields[StreamFields.CODEC_ID];
    }

    /** {@return FFmpeg's short name of the codec, such as {@code h264}} */
    public String codecName() {
        return codecName;
    }

    /**
     * {@return the four-character code with its first character in the low byte, or a WAVE format tag, or 0}
     *
     * @see FourCharacterCode
     */
    public int codecTag() {
        return (int) fields[StreamFields.CODEC_TAG];
    }

    /** {@return width of the pictures in pixels; 0 when only the pictures state it} */
    public int width() {
        return (int) fields[StreamFields.WIDTH];
    }

    /** {@return height of the pictures in pixels; 0 when only the pictures state it} */
    public int height() {
        return (int) fields[StreamFields.HEIGHT];
    }

    /** {@return pictures per second on average} */
    public Rational frameRate() {
        return new Rational(fields[StreamFields.FRAME_RATE_NUMERATOR], fields[StreamFields.FRAME_RATE_DENOMINATOR]);
    }

    /**
     * {@return pictures per second at the smallest distance of two} This is the rate of a film whose container or codec drops
     * pictures; without that it is {@link #frameRate()}, and FFmpeg guesses it.
     */
    public Rational realFrameRate() {
        return new Rational(fields[StreamFields.REAL_FRAME_RATE_NUMERATOR],
                fields[StreamFields.REAL_FRAME_RATE_DENOMINATOR]);
    }

    /** {@return the unit of the stream's times, in seconds} */
    public Rational timeBase() {
        return new Rational(fields[StreamFields.TIME_BASE_NUMERATOR], fields[StreamFields.TIME_BASE_DENOMINATOR]);
    }

    /** {@return duration of the stream; empty when unknown or beyond the range of a duration} */
    public Optional<Duration> duration() {
        return time(fields[StreamFields.DURATION]);
    }

    /** {@return the time at which the stream starts; empty when unknown or beyond the range of a duration} */
    public Optional<Duration> startTime() {
        return time(fields[StreamFields.START_TIME]);
    }

    /** {@return when the stream starts, in units of its time base; {@link Packet#NO_TIME} when unknown} */
    public long startTicks() {
        return fields[StreamFields.START_TIME];
    }

    /** {@return duration of the stream in units of its time base; {@link Packet#NO_TIME} when unknown} */
    public long durationTicks() {
        return fields[StreamFields.DURATION];
    }

    /** {@return bits per second} */
    public long bitRate() {
        return fields[StreamFields.BIT_RATE];
    }

    /** {@return samples per second and channel} */
    public int sampleRate() {
        return (int) fields[StreamFields.SAMPLE_RATE];
    }

    /** {@return number of audio channels} */
    public int channels() {
        return (int) fields[StreamFields.CHANNELS];
    }

    /** {@return bits of a coded sample, or of a pixel for video} */
    public int bitsPerCodedSample() {
        return (int) fields[StreamFields.BITS_PER_CODED_SAMPLE];
    }

    /** {@return bytes of the smallest unit of coded sound} */
    public int blockAlign() {
        return (int) fields[StreamFields.BLOCK_ALIGN];
    }

    /** {@return the number of pictures that the container states} */
    public long frameCount() {
        return fields[StreamFields.FRAMES];
    }

    /** {@return width of a pixel divided by its height; when unknown, pixels are mostly square} */
    public Rational pixelAspectRatio() {
        return new Rational(fields[StreamFields.PIXEL_WIDTH], fields[StreamFields.PIXEL_HEIGHT]);
    }

    /** {@return width divided by height of the pictures as they are stored, in lowest terms; unknown where that of a pixel is} */
    public Rational displayAspectRatio() {
        return new Rational(pixelAspectRatio().numerator() * width(), pixelAspectRatio().denominator() * height()).reduced();
    }

    /** {@return degrees by which players turn the pictures clockwise: 0, 90, 180 or 270} */
    public int rotation() {
        return (int) fields[StreamFields.ROTATION];
    }

    /** {@return whether players swap left and right, before they turn the pictures} */
    public boolean isMirrored() {
        return fields[StreamFields.MIRRORED] != 0;
    }

    /** {@return width of the pictures in pixels as players show them, stretched to square pixels and turned} */
    public int shownWidth() {
        return presentation(pixelAspectRatio()).width(width(), height());
    }

    /** {@return height of the pictures in pixels as players show them, stretched to square pixels and turned} */
    public int shownHeight() {
        return presentation(pixelAspectRatio()).height(width(), height());
    }

    /** @param coded the shape of a pixel that a compressed picture states, if it does; the container knows better */
    Presentation presentation(Rational coded) {
        boolean own = coded.isKnown() && fields[StreamFields.CONTAINER_STATES_SHAPE] == 0;
        return new Presentation(own ? coded : pixelAspectRatio(), rotation(), isMirrored());
    }

    /** {@return FFmpeg's number of the codec's profile; negative when unknown} */
    public int profile() {
        return (int) fields[StreamFields.PROFILE];
    }

    /** {@return FFmpeg's name of the codec's profile, such as {@code High}; empty when unknown} */
    public Optional<String> profileName() {
        return metadata.name(StreamNames.PROFILE);
    }

    /** {@return FFmpeg's number of the codec's level; negative when unknown} */
    public int level() {
        return (int) fields[StreamFields.LEVEL];
    }

    /** {@return the level as the codec's standard writes it, such as {@code 4.1}; empty when unknown} */
    public Optional<String> levelName() {
        return CodecLevel.name(codecName, level());
    }

    /** {@return FFmpeg's name of the codec for people; empty when unknown} */
    public Optional<String> codecTitle() {
        return metadata.name(StreamNames.CODEC);
    }

    /** {@return what the container calls the stream, such as an MPEG packet identifier; empty when that is only its index} */
    public OptionalLong number() {
        long number = fields[StreamFields.NUMBER];
        return number == StreamFields.NO_NUMBER ? OptionalLong.empty() : OptionalLong.of(number);
    }

    /** {@return what the container says of the stream in words} */
    public Tags tags() {
        return metadata.tags();
    }

    /** {@return the language, mostly three letters of ISO 639-2 such as {@code eng}, if the container tells one} */
    public Optional<String> language() {
        return tags().language();
    }

    /** {@return the parts that the stream plays in its container; cannot be changed} */
    public Set<Disposition> dispositions() {
        return Disposition.of(fields[StreamFields.DISPOSITION]);
    }

    /** {@return what the numbers of the pixels mean} */
    public ColorDescription color() {
        return metadata.color();
    }

    /** {@return whether pictures consist of fields, and their order; empty when unknown} */
    public Optional<FieldOrder> fieldOrder() {
        return FieldOrder.of(fields[StreamFields.FIELD_ORDER]);
    }

    /** {@return the format of the decoder's pictures; empty when it is unknown before decoding, and for sound} */
    public Optional<PixelFormat> pixelFormat() {
        return kind() == MediaKind.VIDEO && sampleFormat() >= 0 ? PixelFormat.of(sampleFormat()) : Optional.empty();
    }

    /** {@return FFmpeg's name of the pixel format or the sample format, such as {@code yuv420p}; empty when unknown} */
    public Optional<String> sampleFormatName() {
        return metadata.name(StreamNames.SAMPLE_FORMAT);
    }

    /** {@return FFmpeg's name for the places of the channels, such as {@code stereo} or {@code 5.1(side)}; empty when unknown} */
    public Optional<String> channelLayout() {
        return metadata.name(StreamNames.CHANNEL_LAYOUT);
    }

    /** {@return bits of a sample that the codec states; 0 when unknown} */
    public int bitsPerRawSample() {
        return (int) fields[StreamFields.BITS_PER_RAW_SAMPLE];
    }

    /** {@return bits of a sample of uncompressed sound; 0 when it is compressed} */
    public int bitsPerSample() {
        return (int) fields[StreamFields.BITS_PER_SAMPLE];
    }

    /**
     * {@return width of the coded pictures in pixels, of which a part is cut off; 0 when unknown, as with FFmpeg 5.1 and newer
     * before the pictures are decoded}
     */
    public int codedWidth() {
        return (int) fields[StreamFields.CODED_WIDTH];
    }

    /** {@return height of the coded pictures in pixels, as {@link #codedWidth()}} */
    public int codedHeight() {
        return (int) fields[StreamFields.CODED_HEIGHT];
    }

    /** {@return how many pictures wait in a decoder for those that are shown before them} */
    public int reorderedPictures() {
        return (int) fields[StreamFields.REORDERED];
    }

    /** {@return how many pictures others may refer to; from FFmpeg 5.1 on mostly 1, whatever the stream says} */
    public int referencePictures() {
        return (int) fields[StreamFields.REFERENCES];
    }

    /** {@return samples of each channel that the encoder put before the sound, as far as the container states them} */
    public int initialPadding() {
        return (int) fields[StreamFields.INITIAL_PADDING];
    }

    /** {@return how pictures are turned, the buffer that the stream was coded for, volume and space} */
    public SideData sideData() {
        return metadata.sideData();
    }

    /** {@return whether the stream is a single picture that belongs to a sound file, such as a cover} */
    public boolean isAttachedPicture() {
        return dispositions().contains(Disposition.ATTACHED_PICTURE);
    }

    /** Sets what the container says of the pictures, for a decoder whose compressed video does not say it. */
    void describePictures(PictureDecoder decoder) {
        PICTURE_OPTIONS.forEach((option, field) -> {
            if (fields[field] >= 0 && fields[field] <= LARGEST_OPTION) {
                decoder.setOption(option, fields[field]);
            }
        });
    }

    /** {@return FFmpeg's number of the pixel format or the sample format; -1 when unknown} */
    public int sampleFormat() {
        return (int) fields[StreamFields.SAMPLE_FORMAT];
    }

    /**
     * {@return whether {@link VideoDecoder} or {@link AudioDecoder} decodes the codec} Both the library has to know it and
     * the loaded FFmpeg to have a decoder for it.
     */
    public boolean isSupported() {
        return fields[StreamFields.ADMITTED] != 0 && isDecodable();
    }

    /** The refusal of a stream of a codec that is not decoded. */
    UnsupportedCodecException unsupported() {
        String tag = kind() == MediaKind.VIDEO ? " (" + FourCharacterCode.toText(codecTag()) + ")" : "";
        return new UnsupportedCodecException("unsupported " + kind().name().toLowerCase(Locale.ROOT) + " codec "
                + codecName + tag + (isDecodable() ? "; this FFmpeg could decode it, but this library does not let it"
                        : "; this FFmpeg has no decoder for it"));
    }

    /** Returns what reads the heads of the stream's pictures; null for a codec whose pictures are not known. */
    PacketExaminer examiner() {
        return PacketExaminer.of(codecName, extradata, bitsPerCodedSample(), width() * height());
    }

    /** What describes the stream to native code, laid out as {@link StreamFields}. */
    long[] toNative() {
        return fields.clone();
    }

    /** {@return whether the loaded FFmpeg has a decoder for the codec, which this library may not use} */
    public boolean isDecodable() {
        return fields[StreamFields.DECODABLE] != 0;
    }

    /** {@return the codec's private data, as a new array; empty when there is none} */
    public byte[] extradata() {
        return extradata.clone();
    }

    /**
     * Converts a time of this stream into a duration on the container's time line.
     *
     * @param time in units of {@link #timeBase()}, or {@link Packet#NO_TIME}
     * @return the duration; empty without a time or a time base, and beyond the range of a duration
     */
    public Optional<Duration> time(long time) {
        return timeBase().time(time);
    }

    /**
     * Converts a time on the container's time line into the last unit that does not begin later.
     *
     * @throws MediaFormatException when the stream's times have no unit
     */
    long units(Duration time) {
        if (!(timeBase().toDouble() > 0)) {
            throw new MediaFormatException("the stream's times have no unit");
        }
        return timeBase().units(Objects.requireNonNull(time, "time"));
    }

    @Override
    public String toString() {
        return "MediaStream[" + index() + ": " + kind() + " " + codecName
                + (kind() == MediaKind.VIDEO ? " " + width() + "x" + height() : "") + "]";
    }
}
