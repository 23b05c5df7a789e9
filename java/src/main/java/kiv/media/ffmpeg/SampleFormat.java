package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;

/**
 * The samples that an {@link AudioDecoder} delivers: little-endian, the channels interleaved. What a codec has more of than
 * 16 bits is lost in {@link #PCM_16} only.
 *
 * <pre>{@code
 * try (AudioDecoder decoder = AudioDecoder.open(stream, SampleFormat.FLOAT)) {
 *     decoder.blocks(reader).forEach(block -> measure(block.floats()));
 * }
 * }</pre>
 */
public enum SampleFormat {
    /** Signed integers of 16 bits. */
    PCM_16(Short.SIZE, WaveFormatTags.PCM, c_codecoptions_ffmpeg.SAMPLES_16),
    /** Signed integers of 32 bits. */
    PCM_32(Integer.SIZE, WaveFormatTags.PCM, c_codecoptions_ffmpeg.SAMPLES_32),
    /** Floating-point numbers of 32 bits, from -1 to 1; louder sound exceeds that. */
    FLOAT(Float.SIZE, WaveFormatTags.FLOAT, c_codecoptions_ffmpeg.SAMPLES_FLOAT);

    private final int bits;
    private final int formatTag;
    private final int number;

    SampleFormat(int bits, int formatTag, int number) {
        this.bits = bits;
        this.formatTag = formatTag;
        this.number = number;
    }

    /** {@return bits of a sample} */
    public int bits() {
        return bits;
    }

    /** {@return bytes of a sample} */
    public int bytes() {
        return bits / Byte.SIZE;
    }

    /** {@return the format tag of WAVE headers for such samples} */
    public int formatTag() {
        return formatTag;
    }

    /** FFmpeg's number. */
    int number() {
        return number;
    }
}
