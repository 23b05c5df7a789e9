package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;
import java.util.Objects;
import java.util.OptionalInt;
import kiv.media.ffmpeg.natives.AudioFormatLayout;

/**
 * Describes sound by the fields of a WAVE format header, for an {@link AudioDecoder} and for WAV files. Immutable, for
 * any thread.
 *
 * <pre>{@code
 * WaveFormat speech = WaveFormat.of(WaveFormatTags.MULAW, 1, 8000, 8000, 1, 8, new byte[0]);
 * }</pre>
 *
 * @see WaveFormatTags
 */
public final class WaveFormat {

    static final int MAX_CHANNELS = 64;
    static final int MAX_SAMPLE_RATE = 1_000_000;
    private static final int MAX_16 = 0xFFFF;

    private static final int OLDEST_SIZE = 14;
    private static final int PCM_SIZE = 16;
    private static final int FULL_SIZE = 18;

    private final int formatTag;
    private final int channels;
    private final int sampleRate;
    private final int bytesPerSecond;
    private final int blockAlign;
    private final int bitsPerSample;
    private final byte[] specificHeader;

    private WaveFormat(int formatTag, int channels, int sampleRate, int bytesPerSecond, int blockAlign,
            int bitsPerSample, byte[] specificHeader) {
        this.formatTag = checked("format tag", formatTag, 1, MAX_16);
        this.channels = checked("number of channels", channels, 1, MAX_CHANNELS);
        this.sampleRate = checked("sample rate", sampleRate, 1, MAX_SAMPLE_RATE);
        this.bytesPerSecond = checked("number of bytes a second", bytesPerSecond, 0, Integer.MAX_VALUE);
        this.blockAlign = checked("block align", blockAlign, 0, MAX_16);
        this.bitsPerSample = checked("number of bits per sample", bitsPerSample, 0, MAX_16);
        this.specificHeader = Objects.requireNonNull(specificHeader, "specificHeader").clone();
        checked("length of the specific header", specificHeader.length, 0, MAX_16);
    }

    /**
     * Describes sound of any format.
     *
     * @param formatTag the format tag; decoders support those of {@link WaveFormatTags}
     * @param channels number of channels, 1 to 64
     * @param sampleRate samples per second and channel, 1 to 1000000
     * @param bytesPerSecond bytes per second on average, or 0 when unknown
     * @param blockAlign bytes of the smallest unit of compressed sound, or 0
     * @param bitsPerSample bits of a coded sample, or 0
     * @param specificHeader further bytes for the codec, copied; may be empty
     * @return the format
     * @throws IllegalArgumentException when a number is out of its range
     */
    public static WaveFormat of(int formatTag, int channels, int sampleRate, int bytesPerSecond, int blockAlign,
            int bitsPerSample, byte[] specificHeader) {
        return new WaveFormat(formatTag, channels, sampleRate, bytesPerSecond, blockAlign, bitsPerSample,
                specificHeader);
    }

    /**
     * Describes interleaved PCM of 16 bits, the format of decoded sound.
     *
     * @param sampleRate samples per second and channel, 1 to 1000000
     * @param channels number of channels, 1 to 64
     * @return the format
     * @throws IllegalArgumentException when a number is out of its range
     */
    public static WaveFormat pcm16(int sampleRate, int channels) {
        return pcm(SampleFormat.PCM_16, sampleRate, channels);
    }

    /**
     * Describes the interleaved PCM of a decoder.
     *
     * @param samples the kind of its samples
     * @param sampleRate samples per second and channel, 1 to 1000000
     * @param channels number of channels, 1 to 64
     * @return the format
     * @throws IllegalArgumentException when a number is out of its range
     */
    public static WaveFormat pcm(SampleFormat samples, int sampleRate, int channels) {
        int blockAlign = channels * samples.bytes();
        return new WaveFormat(samples.formatTag(), channels, sampleRate,
                (int) Math.min(Integer.MAX_VALUE, (long) sampleRate * blockAlign), blockAlign, samples.bits(),
                new byte[0]);
    }

    /**
     * Describes the sound of a stream. A codec that {@link WaveFormatTags} does not have gets the tag
     * {@link WaveFormatTags#OTHER}; only {@link AudioDecoder#open(MediaStream)} decodes it.
     *
     * @param stream an audio stream
     * @return the format
     * @throws UnsupportedCodecException when the library or the loaded FFmpeg does not decode its codec
     * @throws MediaFormatException when its number of channels or its sample rate is unknown
     * @throws IllegalArgumentException when the stream is not an audio stream
     */
    public static WaveFormat of(MediaStream stream) {
        if (Objects.requireNonNull(stream, "stream").kind() != MediaKind.AUDIO) {
            throw new IllegalArgumentException("no sound: " + stream);
        }
        OptionalInt tag = WaveFormatTags.find(stream);
        if (tag.isEmpty() && !stream.isSupported()) {
            throw stream.unsupported();
        }
        // The header of other codecs may be longer than a WAVE header states.
        byte[] specificHeader = tag.isEmpty() ? new byte[0] : stream.extradata();
        try {
            return new WaveFormat(tag.orElse(WaveFormatTags.OTHER), stream.channels(), stream.sampleRate(),
                    (int) Math.max(0, Math.min(Integer.MAX_VALUE, stream.bitRate() / Byte.SIZE)), stream.blockAlign(),
                    stream.bitsPerCodedSample(), specificHeader);
        } catch (IllegalArgumentException e) {
            throw new MediaFormatException(stream + " is of an impossible format: " + e.getMessage(), e);
        }
    }

    /**
     * Parses the header that {@link #toBytes()} returns, or the shorter ones of 14 and 16 bytes.
     *
     * @param header a WAVE format header, as in the chunk {@code "fmt "} of a WAV file; further bytes are ignored
     * @return the format
     * @throws MediaFormatException when the bytes are no such header
     */
    public static WaveFormat parse(byte[] header) {
        if (Objects.requireNonNull(header, "header").length < OLDEST_SIZE) {
            throw new MediaFormatException("a WAVE format header has no " + header.length + " bytes");
        }
        ByteBuffer bytes = ByteBuffer.wrap(header).order(ByteOrder.LITTLE_ENDIAN);
        int specificSize = header.length < FULL_SIZE ? 0 : bytes.getShort(PCM_SIZE) & MAX_16;
        if (FULL_SIZE + specificSize > Math.max(header.length, FULL_SIZE)) {
            throw new MediaFormatException("a WAVE format header ends within its " + specificSize + " specific bytes");
        }
        try {
            return new WaveFormat(bytes.getShort(0) & MAX_16, bytes.getShort(2) & MAX_16, bytes.getInt(4),
                    bytes.getInt(8), bytes.getShort(12) & MAX_16,
                    header.length < PCM_SIZE ? 0 : bytes.getShort(14) & MAX_16,
                    specificSize == 0 ? new byte[0] : Arrays.copyOfRange(header, FULL_SIZE, FULL_SIZE + specificSize));
        } catch (IllegalArgumentException e) {
            throw new MediaFormatException("an impossible WAVE format header: " + e.getMessage(), e);
        }
    }

    /** {@return the WAVE format header: 18 bytes, little-endian, followed by the specific header} */
    public byte[] toBytes() {
        return ByteBuffer.allocate(FULL_SIZE + specificHeader.length).order(ByteOrder.LITTLE_ENDIAN)
                .putShort((short) formatTag).putShort((short) channels).putInt(sampleRate).putInt(bytesPerSecond)
                .putShort((short) blockAlign).putShort((short) bitsPerSample).putShort((short) specificHeader.length)
                .put(specificHeader).array();
    }

    /** {@return the format tag} */
    public int formatTag() {
        return formatTag;
    }

    /** {@return number of channels} */
    public int channels() {
        return channels;
    }

    /** {@return samples per second and channel} */
    public int sampleRate() {
        return sampleRate;
    }

    /** {@return bytes per second on average; 0 when unknown} */
    public int bytesPerSecond() {
        return bytesPerSecond;
    }

    /** {@return bytes of the smallest unit of the sound; 0 when there is none} */
    public int blockAlign() {
        return blockAlign;
    }

    /** {@return bits of a coded sample; 0 when their size varies} */
    public int bitsPerSample() {
        return bitsPerSample;
    }

    /** {@return the further bytes for the codec, as a new array; may be empty} */
    public byte[] specificHeader() {
        return specificHeader.clone();
    }

    /** The format laid out as {@link AudioFormatLayout}. */
    int[] toNative() {
        int[] fields = new int[AudioFormatLayout.SIZE];
        fields[AudioFormatLayout.FORMAT_TAG] = formatTag;
        fields[AudioFormatLayout.CHANNELS] = channels;
        fields[AudioFormatLayout.SAMPLE_RATE] = sampleRate;
        fields[AudioFormatLayout.BYTES_PER_SECOND] = bytesPerSecond;
        fields[AudioFormatLayout.BLOCK_ALIGN] = blockAlign;
        fields[AudioFormatLayout.BITS_PER_SAMPLE] = bitsPerSample;
        fields[AudioFormatLayout.HEADER_LENGTH] = specificHeader.length;
        return fields;
    }

    private static int checked(String name, int value, int lowest, int highest) {
        if (value < lowest || value > highest) {
            throw new IllegalArgumentException(name + " " + value + " is not in " + lowest + " to " + highest);
        }
        return value;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof WaveFormat format && Arrays.equals(toBytes(), format.toBytes());
    }

    @Override
    public int hashCode() {
        return Arrays.hashCode(toBytes());
    }

    @Override
    public String toString() {
        return String.format("WaveFormat[tag 0x%04x, %d Hz, %d %s]", formatTag, sampleRate, channels,
                channels == 1 ? "channel" : "channels");
    }
}
