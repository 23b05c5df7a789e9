package kiv.media.ffmpeg.javasound;

import java.io.IOException;
import java.util.Locale;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioFormat.Encoding;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.spi.FormatConversionProvider;
import kiv.media.ffmpeg.MediaAudio;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;

/**
 * Decodes for {@link AudioSystem}, which finds this class by itself: compressed sound into PCM of 16 bits, signed,
 * little-endian, with the same sample rate and channels.
 *
 * <p>It decodes every {@link EncodedAudioInputStream}. Streams from elsewhere are decoded, too, if they claim one of
 * the encodings {@code MP1}, {@code MP2}, {@code MP3}, {@code AAC} (in ADTS frames), {@code AC3} or {@code DTS} and
 * their bytes are just that; these formats need no container. Whatever cannot be decoded is an
 * {@link IllegalArgumentException}. Reading the result tells of damage as {@link MediaAudio} describes it, and closing
 * it closes the source. PCM, A-law and mu-law are left to the JDK's own converters.
 *
 * <p>Any thread may call, and several at once.
 */
public final class FfmpegFormatConversionProvider extends FormatConversionProvider {

    /** Creates the provider; {@link java.util.ServiceLoader} does that. */
    public FfmpegFormatConversionProvider() {
    }

    @Override
    public Encoding[] getSourceEncodings() {
        return SoundFormats.encodings();
    }

    @Override
    public Encoding[] getTargetEncodings() {
        return new Encoding[] {Encoding.PCM_SIGNED};
    }

    @Override
    public Encoding[] getTargetEncodings(AudioFormat sourceFormat) {
        return SoundFormats.isDecodable(sourceFormat) ? getTargetEncodings() : new Encoding[0];
    }

    @Override
    public AudioFormat[] getTargetFormats(Encoding targetEncoding, AudioFormat sourceFormat) {
        return isConversionSupported(targetEncoding, sourceFormat)
                ? new AudioFormat[] {SoundFormats.decoded(sourceFormat)} : new AudioFormat[0];
    }

    /** {@return whether the target is PCM of 16 bits as described above; what it leaves unspecified fits} */
    @Override
    public boolean isConversionSupported(AudioFormat targetFormat, AudioFormat sourceFormat) {
        return SoundFormats.isDecodable(sourceFormat) && SoundFormats.decoded(sourceFormat).matches(targetFormat);
    }

    /**
     * Decodes.
     *
     * @param targetEncoding PCM_SIGNED
     * @param sourceStream compressed sound, which nobody else reads any more
     * @return the PCM
     * @throws IllegalArgumentException when it cannot be decoded into that
     */
    @Override
    public AudioInputStream getAudioInputStream(Encoding targetEncoding, AudioInputStream sourceStream) {
        if (!isConversionSupported(targetEncoding, sourceStream.getFormat())) {
            throw unsupported(targetEncoding, sourceStream);
        }
        return decode(sourceStream);
    }

    /**
     * Decodes.
     *
     * @param targetFormat PCM_SIGNED of 16 bits, little-endian, with the source's sample rate and channels
     * @param sourceStream compressed sound, which nobody else reads any more
     * @return the PCM
     * @throws IllegalArgumentException when it cannot be decoded into that
     */
    @Override
    public AudioInputStream getAudioInputStream(AudioFormat targetFormat, AudioInputStream sourceStream) {
        if (!isConversionSupported(targetFormat, sourceStream.getFormat())) {
            throw unsupported(targetFormat, sourceStream);
        }
        return decode(sourceStream);
    }

    private static IllegalArgumentException unsupported(Object target, AudioInputStream source) {
        return new IllegalArgumentException("cannot convert " + source.getFormat() + " into " + target
                + "; decode into " + Encoding.PCM_SIGNED + " of 16 bits first and convert that");
    }

    private static AudioInputStream decode(AudioInputStream source) {
        try {
            return source instanceof EncodedAudioInputStream ours ? ours.decoded() : decodeForeign(source);
        } catch (MediaException | IOException e) {
            throw new IllegalArgumentException("cannot decode " + source.getFormat() + ": " + e.getMessage(), e);
        }
    }

    private static AudioInputStream decodeForeign(AudioInputStream source) throws IOException {
        AudioFormat claimed = source.getFormat();
        String encoding = claimed.getEncoding().toString();
        if (!SoundFormats.SELF_FRAMING.contains(encoding)) {
            throw new MediaFormatException("this format needs its container; convert the stream that the "
                    + "AudioSystem opened, not one made of it");
        }
        SpoolChannel spool = new SpoolChannel(source);
        MediaReader reader = MediaReader.open(spool);
        try {
            MediaStream stream = EncodedAudioInputStream.firstAudio(reader);
            if (!stream.codecName().toUpperCase(Locale.ROOT).equals(encoding)
                    || stream.sampleRate() != claimed.getSampleRate() || stream.channels() != claimed.getChannels()) {
                throw new MediaFormatException("the stream carries " + stream.codecName() + " of "
                        + stream.sampleRate() + " Hz with " + stream.channels() + " channels");
            }
            AudioInputStream decoded = MediaAudio.open(reader, stream);
            spool.adoptSource();
            spool.goForwardOnly();
            return decoded;
        } catch (Throwable e) {
            reader.close();
            throw e;
        }
    }
}
