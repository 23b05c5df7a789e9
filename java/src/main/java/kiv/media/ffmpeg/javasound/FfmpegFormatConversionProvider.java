package kiv.media.ffmpeg.javasound;

import java.io.IOException;
import java.util.Arrays;
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
import kiv.media.ffmpeg.SampleFormat;

/**
 * Decodes compressed sound for {@link AudioSystem}, which finds this class as a service provider. The result is
 * little-endian PCM with the same sample rate and channels: signed integers of 16 bits, or of 32 bits or floating-point
 * numbers of 32 bits where these are asked for.
 *
 * <p>It decodes every {@link EncodedAudioInputStream}. It also decodes streams of other providers with one of the
 * encodings {@code MP1}, {@code MP2}, {@code MP3}, {@code AAC} (in ADTS frames), {@code AC3} or {@code DTS}, which need
 * no container, if their bytes have that encoding. For all others it throws an {@link IllegalArgumentException}.
 * {@link MediaAudio} describes how the result reports damage. Closing the result closes the source. The JDK's own
 * converters convert PCM, A-law and mu-law.
 *
 * <p>Any number of threads may call at the same time.
 */
public final class FfmpegFormatConversionProvider extends FormatConversionProvider {

    /** Creates the provider, for {@link java.util.ServiceLoader}. */
    public FfmpegFormatConversionProvider() {
    }

    @Override
    public Encoding[] getSourceEncodings() {
        return SoundFormats.encodings();
    }

    @Override
    public Encoding[] getTargetEncodings() {
        return new Encoding[] {Encoding.PCM_SIGNED, Encoding.PCM_FLOAT};
    }

    @Override
    public Encoding[] getTargetEncodings(AudioFormat sourceFormat) {
        return SoundFormats.isDecodable(sourceFormat) ? getTargetEncodings() : new Encoding[0];
    }

    @Override
    public AudioFormat[] getTargetFormats(Encoding targetEncoding, AudioFormat sourceFormat) {
        return isConversionSupported(targetEncoding, sourceFormat)
                ? Arrays.stream(SampleFormat.values()).map(samples -> SoundFormats.decoded(sourceFormat, samples))
                        .filter(format -> format.getEncoding().equals(targetEncoding)).toArray(AudioFormat[]::new)
                : new AudioFormat[0];
    }

    /** {@return whether the target is PCM as described above; unspecified properties match} */
    @Override
    public boolean isConversionSupported(AudioFormat targetFormat, AudioFormat sourceFormat) {
        return SoundFormats.samples(targetFormat, sourceFormat).isPresent();
    }

    /**
     * Decodes compressed sound.
     *
     * @param targetEncoding PCM_SIGNED, for 16 bits, or PCM_FLOAT
     * @param sourceStream compressed sound, which only the result reads from now on
     * @return the PCM
     * @throws IllegalArgumentException when the provider does not support the conversion
     */
    @Override
    public AudioInputStream getAudioInputStream(Encoding targetEncoding, AudioInputStream sourceStream) {
        if (!isConversionSupported(targetEncoding, sourceStream.getFormat())) {
            throw unsupported(targetEncoding, sourceStream);
        }
        return decode(sourceStream,
                targetEncoding.equals(Encoding.PCM_FLOAT) ? SampleFormat.FLOAT : SampleFormat.PCM_16);
    }

    /**
     * Decodes compressed sound.
     *
     * @param targetFormat PCM_SIGNED of 16 or 32 bits or PCM_FLOAT of 32 bits, little-endian, with the source's sample
     *     rate and channels
     * @param sourceStream compressed sound, which only the result reads from now on
     * @return the PCM
     * @throws IllegalArgumentException when the provider does not support the conversion
     */
    @Override
    public AudioInputStream getAudioInputStream(AudioFormat targetFormat, AudioInputStream sourceStream) {
        return decode(sourceStream, SoundFormats.samples(targetFormat, sourceStream.getFormat())
                .orElseThrow(() -> unsupported(targetFormat, sourceStream)));
    }

    private static IllegalArgumentException unsupported(Object target, AudioInputStream source) {
        return new IllegalArgumentException("cannot convert " + source.getFormat() + " into " + target
                + "; decode into " + Encoding.PCM_SIGNED + " of 16 bits first and convert that");
    }

    private static AudioInputStream decode(AudioInputStream source, SampleFormat samples) {
        try {
            return source instanceof EncodedAudioInputStream ours ? ours.decoded(samples)
                    : decodeForeign(source, samples);
        } catch (MediaException | IOException e) {
            throw new IllegalArgumentException("cannot decode " + source.getFormat() + ": " + e.getMessage(), e);
        }
    }

    private static AudioInputStream decodeForeign(AudioInputStream source, SampleFormat samples)
            throws IOException {
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
            AudioInputStream decoded = MediaAudio.open(reader, stream, samples);
            spool.adoptSource();
            spool.goForwardOnly();
            return decoded;
        } catch (Throwable e) {
            reader.close();
            throw e;
        }
    }
}
