package kiv.media.ffmpeg;

import java.util.Arrays;
import java.util.Objects;
import java.util.function.IntPredicate;
import java.util.stream.Collectors;

/**
 * The formats of {@link AudioEncoder}. The loaded FFmpeg must have the encoder.
 *
 * <pre>{@code
 * for (AudioCodec codec : AudioCodec.values()) {
 *     if (codec.accepts(44_100, 2)) {
 *         System.out.println(codec + " in files called " + AudioContainer.extensions(codec));
 *     }
 * }
 * }</pre>
 */
public enum AudioCodec {
    /** PCM of 16 bits, the same as the input. */
    PCM("pcm", WaveFormatTags.PCM, 0, Channels.ANY),
    /** PCM in floating-point numbers of 32 bits. */
    FLOAT("float", WaveFormatTags.FLOAT, 0, Channels.ANY),
    /** PCM of 8 bits with the A-law. */
    ALAW("alaw", WaveFormatTags.ALAW, 0, Channels.ANY),
    /** PCM of 8 bits with the mu-law. */
    MULAW("mulaw", WaveFormatTags.MULAW, 0, Channels.ANY),
    /** ADPCM of Microsoft, 4 bits. */
    ADPCM_MS("adpcm-ms", WaveFormatTags.ADPCM_MS, 0, Channels.STEREO),
    /** ADPCM of the IMA, 4 bits. */
    ADPCM_IMA("adpcm-ima", WaveFormatTags.ADPCM_IMA, 0, Channels.STEREO),
    /** ADPCM of Yamaha, 4 bits. */
    ADPCM_YAMAHA("adpcm-yamaha", WaveFormatTags.ADPCM_YAMAHA, 0, Channels.STEREO),
    /** G.722, designed for speech at 16000 Hz. */
    G722("g722", WaveFormatTags.G722, 0, Channels.MONO),
    /** AMR narrow-band, for speech: 4750 to 12200 bit/s. */
    AMR_NB("amr-nb", WaveFormatTags.AMR_NB, 12_200, Channels.MONO, 8000),
    /** MPEG audio, layer 3. */
    MP3("mp3", WaveFormatTags.MP3, 320_000, Channels.STEREO, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100,
            48000),
    /** AAC, profile LC. */
    AAC("aac", WaveFormatTags.AAC, 3_456_000, Channels.SURROUND, 7350, 8000, 11025, 12000, 16000, 22050, 24000, 32000,
            44100, 48000, 64000, 88200, 96000),
    /** AC-3. */
    AC3("ac3", WaveFormatTags.AC3, 640_000, Channels.SURROUND, 32000, 44100, 48000),
    /** DTS. More channels are not offered, because FFmpeg's encoder loses the one of the low tones. */
    DTS("dts", WaveFormatTags.DTS, 3_840_000, Channels.STEREO, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100,
            48000),
    /** Windows Media Audio, version 1. */
    WMA1("wma1", WaveFormatTags.WMA1, 1_536_000, Channels.STEREO, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100,
            48000),
    /** Windows Media Audio, version 2. */
    WMA2("wma2", WaveFormatTags.WMA2, 1_536_000, Channels.STEREO, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100,
            48000),
    /** FLAC, without loss, of 16 or 24 bits. */
    FLAC("flac", WaveFormatTags.OTHER, 0, Channels.EIGHT),
    /** Apple Lossless, without loss, of 16 or 24 bits. */
    ALAC("alac", WaveFormatTags.OTHER, 0, Channels.SURROUND),
    /** Opus. */
    OPUS("opus", WaveFormatTags.OTHER, 2_048_000, Channels.EIGHT, 8000, 12000, 16000, 24000, 48000),
    /** Vorbis. FFmpeg's own encoder takes stereo only and ignores the bit rate. */
    VORBIS("vorbis", WaveFormatTags.OTHER, 2_048_000, Channels.EIGHT),
    /** AMR wide-band, for speech: 6600 to 23850 bit/s. */
    AMR_WB("amr-wb", WaveFormatTags.OTHER, 23_850, Channels.MONO, 16000);

    /** The numbers of channels that a format supports. */
    private enum Channels {
        ANY("1 to 64 channels", count -> count <= WaveFormat.MAX_CHANNELS),
        MONO("1 channel", count -> count == 1),
        STEREO("1 or 2 channels", count -> count <= 2),
        SURROUND("1 to 6 channels", count -> count <= 6),
        EIGHT("1 to 8 channels", count -> count <= 8);

        private final String text;
        private final IntPredicate fits;

        Channels(String text, IntPredicate fits) {
            this.text = text;
            this.fits = fits;
        }
    }

    private static final int AMR_BIT_RATE = 12_200;
    private static final int AMR_WB_BIT_RATE = 23_850;
    private static final int MP3_BIT_RATE = 64_000;
    private static final int MP3_HALF_BIT_RATE = 32_000;
    /** Below these sample rates, MPEG audio has the lower half of its bit rates, and the lower half of those. */
    private static final int LOWEST_FULL_RATE = 32_000;
    private static final int LOWEST_HALF_RATE = 16_000;

    /** FFmpeg's number of the layout with three channels in front. */
    private static final int LEFT_RIGHT_CENTRE = 0x7;
    /** FFmpeg's number of the layout with a centre and one channel behind. */
    private static final int FOUR_WITH_CENTRE = 0x107;
    /** FFmpeg's numbers of the layouts that FLAC defines, by the number of channels. Opus and Vorbis have them too. */
    private static final int[] LAYOUTS = {0, 0x4, 0x3, LEFT_RIGHT_CENTRE, 0x33, 0x37, 0x3F, 0x70F, 0x63F};

    private final String shortName;
    private final int formatTag;
    private final int highestBitRate;
    private final Channels channels;
    private final int[] sampleRates;

    /**
     * @param highestBitRate some encoders crash far above it instead of refusing; 0 for a fixed bit rate
     * @param sampleRates the supported rates; none means all
     */
    AudioCodec(String shortName, int formatTag, int highestBitRate, Channels channels, int... sampleRates) {
        this.shortName = shortName;
        this.formatTag = formatTag;
        this.highestBitRate = highestBitRate;
        this.channels = channels;
        this.sampleRates = sampleRates;
    }

    /** {@return the WAVE format tag; {@link WaveFormatTags#OTHER} for a format that WAV files do not hold} */
    public int formatTag() {
        return formatTag;
    }

    /**
     * Checks whether the encoder takes samples of a kind. Those of 16 bits all encoders take.
     *
     * @param samples the kind of the samples; of {@link SampleFormat#PCM_32} the upper 24 bits are kept
     * @return whether it takes them
     */
    public boolean accepts(SampleFormat samples) {
        return switch (Objects.requireNonNull(samples, "samples")) {
            case PCM_16 -> true;
            case PCM_32 -> this == FLAC || this == ALAC;
            case FLOAT -> this == OPUS || this == VORBIS;
        };
    }

    /** {@return whether callers can choose the bit rate} */
    public boolean hasBitRate() {
        return highestBitRate > 0;
    }

    /** {@return the highest bit rate in bits per second; 0 for a fixed bit rate} */
    public int highestBitRate() {
        return highestBitRate;
    }

    /**
     * Checks whether the format supports a sample rate and a number of channels.
     *
     * @param sampleRate samples per second and channel
     * @param channelCount number of channels
     * @return whether it supports them
     */
    public boolean accepts(int sampleRate, int channelCount) {
        return sampleRate >= 1 && sampleRate <= WaveFormat.MAX_SAMPLE_RATE && channelCount >= 1
                && channels.fits.test(channelCount)
                && (sampleRates.length == 0 || Arrays.stream(sampleRates).anyMatch(rate -> rate == sampleRate));
    }

    /** {@return the supported sound in words, such as {@code "8000 Hz and 1 channel"}} */
    public String requirements() {
        String rates = sampleRates.length == 0 ? "any sample rate"
                : Arrays.stream(sampleRates).mapToObj(Integer::toString).collect(Collectors.joining(", ")) + " Hz";
        return rates + " and " + channels.text;
    }

    /** The lowest bit rate that the encoder obeys for any sound; 0 where it refuses lower ones itself. */
    int lowestBitRate(int sampleRate, int channelCount) {
        return switch (this) {
            case AMR_NB -> 4750;
            case MP3 -> sampleRate < LOWEST_FULL_RATE ? 8000 : 32_000;
            case AAC -> sampleRate * channelCount / 4;
            case AC3 -> 24_000 + 8000 * channelCount;
            case OPUS -> 6000 * channelCount;
            case AMR_WB -> 6600;
            default -> 0;
        };
    }

    /** The highest bit rate that the encoder obeys at a sample rate. */
    int highestBitRate(int sampleRate) {
        if (this != MP3 || sampleRate >= LOWEST_FULL_RATE) {
            return highestBitRate;
        }
        return sampleRate < LOWEST_HALF_RATE ? 64_000 : 160_000;
    }

    /** The bit rate for encoders that do not choose one or do not report their choice; else 0. */
    int defaultBitRate(int sampleRate, int channelCount) {
        if (this == AMR_NB || this == AMR_WB) {
            return this == AMR_NB ? AMR_BIT_RATE : AMR_WB_BIT_RATE;
        }
        return this == MP3 ? channelCount * (sampleRate < LOWEST_FULL_RATE ? MP3_HALF_BIT_RATE : MP3_BIT_RATE) : 0;
    }

    /** FFmpeg's number of the layout of channels, where the encoder would choose a wrong one by their number; else 0. */
    int channelLayout(int channelCount) {
        if (isOfFfmpeg()) {
            return this == ALAC && channelCount == 4 ? FOUR_WITH_CENTRE : LAYOUTS[channelCount];
        }
        return this == AC3 && channelCount == 3 ? LEFT_RIGHT_CENTRE : 0;
    }

    /** Whether its encoder is chosen by FFmpeg's name, and not by the format tag. */
    boolean isOfFfmpeg() {
        return formatTag == WaveFormatTags.OTHER;
    }

    /** Whether an encoder of FFmpeg's takes whole frames only, and holds nothing back that it would deliver at the end. */
    boolean fillsLastFrame() {
        return this == AMR_WB;
    }

    /** FFmpeg's short name. */
    String ffmpegName() {
        return shortName.replace('-', '_');
    }

    /** {@return its short name in lower case, such as {@code adpcm-ms}} */
    @Override
    public String toString() {
        return shortName;
    }
}
