package kiv.media.ffmpeg.javasound;

import java.util.Arrays;
import java.util.HashMap;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.Set;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;
import javax.sound.sampled.AudioFileFormat;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioFormat.Encoding;
import javax.sound.sampled.AudioSystem;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.LibraryException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.SampleFormat;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.WaveFormatTags;

/** Maps containers and their sound to the types and formats of JavaSound. */
final class SoundFormats {

    /** The property of an {@link AudioFormat} with the bits per second. */
    static final String BIT_RATE = "bitrate";
    /** The property with the {@link WaveFormat}, which only formats of this library have. */
    static final String WAVE_FORMAT = "kiv.media.ffmpeg.waveFormat";

    /** Codecs whose frames mark their start and length, so that they need no container. */
    static final Set<String> SELF_FRAMING = Set.of("MP1", "MP2", "MP3", "AAC", "AC3", "DTS");
    /** The other codecs of the providers. */
    private static final Set<String> OTHERS = Set.of("WMAV1", "WMAV2", "WMAPRO", "WMALOSSLESS", "AMR_NB", "GSM_MS",
            "ADPCM_G722", "ADPCM_MS", "ADPCM_IMA_WAV", "ADPCM_IMA_DK3", "ADPCM_IMA_DK4", "ADPCM_YAMAHA", "ADPCM_CT",
            "TRUESPEECH", "SIPR", "ATRAC3", "OPUS", "VORBIS", "FLAC", "ALAC", "EAC3", "TRUEHD", "MLP", "AMR_WB", "SPEEX",
            "WAVPACK", "APE", "TTA");

    /** FFmpeg's name of a codec of plain samples. */
    private static final Pattern PLAIN = Pattern.compile("pcm_([suf])(8|16|24|32|64)(le|be)?");

    private static final Map<String, AudioFileFormat.Type> TYPES = Map.of(
            "wav", AudioFileFormat.Type.WAVE,
            "mov", new AudioFileFormat.Type("MP4", "mp4"),
            "matroska", new AudioFileFormat.Type("MATROSKA", "mkv"),
            "mpeg", new AudioFileFormat.Type("MPEG", "mpg"),
            "mpegts", new AudioFileFormat.Type("MPEGTS", "ts"));

    private SoundFormats() {
    }

    /** The source encodings of conversions. */
    static Encoding[] encodings() {
        return Stream.concat(SELF_FRAMING.stream(), OTHERS.stream()).sorted().map(Encoding::new)
                .toArray(Encoding[]::new);
    }

    /** The format of a stream's packets. */
    static AudioFormat of(MediaStream stream) {
        WaveFormat wave = WaveFormat.of(stream);
        return switch (wave.formatTag()) {
            case WaveFormatTags.PCM -> plain(Encoding.PCM_SIGNED, wave, Short.SIZE);
            case WaveFormatTags.FLOAT -> plain(Encoding.PCM_FLOAT, wave, Float.SIZE);
            case WaveFormatTags.ALAW -> plain(Encoding.ALAW, wave, Byte.SIZE);
            case WaveFormatTags.MULAW -> plain(Encoding.ULAW, wave, Byte.SIZE);
            default -> other(stream, wave);
        };
    }

    private static AudioFormat other(MediaStream stream, WaveFormat wave) {
        Matcher plain = PLAIN.matcher(stream.codecName());
        if (!plain.matches()) {
            return compressed(stream, wave);
        }
        Encoding encoding = switch (plain.group(1)) {
            case "s" -> Encoding.PCM_SIGNED;
            case "u" -> Encoding.PCM_UNSIGNED;
            default -> Encoding.PCM_FLOAT;
        };
        return plain(encoding, wave, Integer.parseInt(plain.group(2)), "be".equals(plain.group(3)));
    }

    private static AudioFormat plain(Encoding encoding, WaveFormat wave, int bits) {
        return plain(encoding, wave, bits, false);
    }

    /** A format whose packets are plain samples, which the JDK converts. */
    private static AudioFormat plain(Encoding encoding, WaveFormat wave, int bits, boolean bigEndian) {
        return new AudioFormat(encoding, wave.sampleRate(), bits, wave.channels(),
                wave.channels() * bits / Byte.SIZE, wave.sampleRate(), bigEndian);
    }

    private static AudioFormat compressed(MediaStream stream, WaveFormat wave) {
        Map<String, Object> properties = new HashMap<>();
        properties.put(WAVE_FORMAT, wave);
        if (stream.bitRate() > 0 && stream.bitRate() <= Integer.MAX_VALUE) {
            properties.put(BIT_RATE, (int) stream.bitRate());
        }
        return new AudioFormat(new Encoding(stream.codecName().toUpperCase(Locale.ROOT)), wave.sampleRate(),
                AudioSystem.NOT_SPECIFIED, wave.channels(), AudioSystem.NOT_SPECIFIED, AudioSystem.NOT_SPECIFIED, false,
                properties);
    }

    /** Whether the library decodes a format. */
    static boolean isDecodable(AudioFormat format) {
        boolean ours = format.getProperty(WAVE_FORMAT) instanceof WaveFormat;
        boolean known = ours || SELF_FRAMING.contains(format.getEncoding().toString());
        // Without the library, other providers must decode what they opened: the system asks only one.
        return known && format.getSampleRate() > 0 && format.getChannels() > 0 && (ours || Library.IS_THERE);
    }

    /** Loads the library on first use. */
    private static final class Library {
        static final boolean IS_THERE = isThere();

        private static boolean isThere() {
            try {
                FfmpegLibrary.load();
                return true;
            } catch (LibraryException e) {
                return false;
            }
        }
    }

    /** The format of the sound that is decoded into samples of a kind. */
    static AudioFormat decoded(AudioFormat format, SampleFormat samples) {
        return new AudioFormat(samples == SampleFormat.FLOAT ? Encoding.PCM_FLOAT : Encoding.PCM_SIGNED,
                format.getSampleRate(), samples.bits(), format.getChannels(), samples.bytes() * format.getChannels(),
                format.getSampleRate(), false);
    }

    /** The kind of samples that a conversion delivers, the one of 16 bits where several fit. */
    static Optional<SampleFormat> samples(AudioFormat target, AudioFormat source) {
        return !isDecodable(source) ? Optional.empty()
                : Arrays.stream(SampleFormat.values()).filter(one -> decoded(source, one).matches(target)).findFirst();
    }

    /** The type of a container. */
    static AudioFileFormat.Type type(MediaReader reader) {
        String name = reader.formatName().split(",")[0];
        AudioFileFormat.Type known = TYPES.get(name);
        return known != null ? known : new AudioFileFormat.Type(name.toUpperCase(Locale.ROOT), name);
    }
}
