package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioEncoder;
import kiv.media.ffmpeg.AudioResampler;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.SampleFormat;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.WorkerException;
import picocli.CommandLine.Command;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.Spec;
import picocli.CommandLine.TypeConversionException;

/** Encodes a file's sound. */
@Command(name = "encode", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Encodes a file's sound into another format.",
        description = {"", "Takes every file whose sound can be decoded.", ""},
        footer = {"", "Examples:", "  kivjniffmpeg encode song.wav song.flac",
            "  kivjniffmpeg encode --bitrate 192000 song.wav song.mp3",
            "  kivjniffmpeg encode --rate 48000 film.mp4 film.opus",
            "  kivjniffmpeg encode --format adpcm-ima film.mp4 film.wav"})
final class EncodeCommand implements Callable<Integer> {

    /** Reads a format's name as the help shows it, in upper or lower case. */
    static final class FormatConverter implements ITypeConverter<AudioCodec> {
        @Override
        public AudioCodec convert(String text) {
            return Arrays.stream(AudioCodec.values()).filter(codec -> codec.toString().equalsIgnoreCase(text)
                    || codec.name().equalsIgnoreCase(text)).findFirst()
                    .orElseThrow(() -> new TypeConversionException("'" + text + "' is none of " + Arrays.stream(
                            AudioCodec.values()).map(AudioCodec::toString).collect(Collectors.joining(", "))));
        }
    }

    @Mixin
    private MediaInput input;

    @Parameters(index = "1", paramLabel = "OUT", description = "The file to write. Its name says what kind it is:"
            + " .mp3, .flac, .opus, .ogg (vorbis, opus or flac), .m4a (aac or alac), .aac (ADTS), .ac3, .dts, .amr, .awb"
            + " (AMR wide-band), .3gp (amr-wb, amr-nb or aac), .g722, .al (A-law), .ul (mu-law), .raw (PCM); and .wav for"
            + " the formats of old.")
    private Path out;

    @Option(names = "--format", paramLabel = "FORMAT", converter = FormatConverter.class,
            description = "What to encode into, instead of the first format of such files: ${COMPLETION-CANDIDATES}.")
    private AudioCodec format;

    @Option(names = "--bitrate", paramLabel = "N", description = "Bits a second, such as 128000, for formats that"
            + " have a choice: amr-nb, mp3, aac, ac3, dts, wma1, wma2, opus, vorbis, amr-wb.")
    private Integer bitRate;

    @Option(names = "--rate", paramLabel = "N", description = "Samples a second, such as 48000, instead of the sound's"
            + " own. Some formats take certain rates only.")
    private Integer rate;

    @Option(names = {"-q", "--quiet"}, description = "Show neither progress nor summary.")
    private boolean quiet;

    @Spec
    private CommandSpec spec;

    private static final int HIGHEST_RATE = 1_000_000;
    /** FFmpeg's numbers of integer samples that have more than 16 bits. */
    private static final int FFMPEG_S32 = 2;
    private static final int FFMPEG_S32P = 7;
    private static final int[] COMMON_RATES = {8000, 16_000, 48_000};

    private long damaged;
    private String reason = "";

    @Override
    public Integer call() throws IOException {
        if (format == null) {
            format = AudioContainer.usualCodec(out.toString())
                    .orElseThrow(() -> wrongUsage(out + ": the name says no kind of file that is written"));
        }
        if (rate != null && (rate < 1 || rate > HIGHEST_RATE)) {
            throw wrongUsage("--rate takes a number from 1 to " + HIGHEST_RATE);
        }
        AudioContainer container = AudioContainer.find(out.toString(), format).orElseThrow(() -> wrongUsage(out + ": "
                + format + " goes into a file whose name ends in " + AudioContainer.extensions(format).stream()
                        .map(extension -> "." + extension).collect(Collectors.joining(" or "))));
        if (bitRate != null && (bitRate < 1 || !format.hasBitRate())) {
            throw wrongUsage(bitRate < 1 ? "--bitrate takes a number from 1" : format + " takes no --bitrate");
        }
        long start = System.nanoTime();
        try (MediaReader reader = input.openForward()) {
            MediaStream sound = reader.firstAudio()
                    .orElseThrow(() -> new MediaFormatException(input.about("no audio stream")));
            if (input.isInput(out)) {
                throw wrongUsage(out + " is the input itself");
            }
            boolean deep = sound.sampleFormat() == FFMPEG_S32 || sound.sampleFormat() == FFMPEG_S32P;
            SampleFormat samples = deep && format.accepts(SampleFormat.PCM_32) ? SampleFormat.PCM_32
                    : SampleFormat.PCM_16;
            try (AudioDecoder decoder = input.openAudioDecoder(sound, samples);
                    AudioEncoder encoder = openEncoder(decoder, samples);
                    AudioResampler resampler = openResampler(decoder, samples);
                    SoundFile file = SoundFile.create(out, encoder, container);
                    Progress progress = quiet ? Progress.NONE : Progress.start("encoding", "seconds",
                            (long) DecodeJob.seconds(reader, sound, TimeRange.ALL))) {
                PacketSource packets = new PacketSource(input, reader, this::warn);
                try {
                    for (Packet packet; (packet = packets.next(decoder::accepts)) != null;) {
                        encode(decode(decoder, packet), resampler, encoder, file);
                        progress.at(encoder.frames() / encoder.format().sampleRate());
                    }
                    encode(decoder.finish(), resampler, encoder, file);
                } catch (WorkerException e) {
                    packets.endWith(e);
                }
                if (resampler != null) {
                    file.write(encoder.encode(resampler.finish()));
                }
                file.write(encoder.finish());
                packets.reportDeath(encoder.frames() > 0);
                if (encoder.frames() == 0) {
                    throw new MediaFormatException(input.about("no sound could be decoded" + reason));
                }
                file.finish(encoder.frames());
                progress.finish();
                if (!quiet) {
                    summarise(sound, encoder, (System.nanoTime() - start) / 1e9);
                }
                return packets.status();
            }
        }
    }

    private void warn(String message) {
        FailureReport.warn(spec.commandLine(), message);
    }

    private AudioEncoder openEncoder(AudioDecoder decoder, SampleFormat samples) {
        int sampleRate = rate == null ? decoder.format().sampleRate() : rate;
        int channels = decoder.format().channels();
        try {
            return AudioEncoder.open(format, sampleRate, channels, bitRate == null ? AudioEncoder.DEFAULT_BIT_RATE : bitRate,
                    samples);
        } catch (UnsupportedCodecException e) {
            if (e.getCause() == null && !format.accepts(sampleRate, channels) && isAnyRateAccepted(channels)) {
                throw wrongUsage(e.getMessage() + "; --rate changes the rate");
            }
            // Without a cause it is the choice of rate, bit rate or format that is refused, and another one may do.
            throw e.getCause() == null ? wrongUsage(e.getMessage()) : e;
        }
    }

    private boolean isAnyRateAccepted(int channels) {
        return IntStream.of(COMMON_RATES).anyMatch(common -> format.accepts(common, channels));
    }

    /** Returns null when the rate stays. */
    private AudioResampler openResampler(AudioDecoder decoder, SampleFormat samples) {
        int own = decoder.format().sampleRate();
        if (rate == null || rate == own) {
            return null;
        }
        try {
            return AudioResampler.open(own, rate, decoder.format().channels(), samples);
        } catch (IllegalArgumentException e) {
            throw wrongUsage(e.getMessage());
        }
    }

    private List<AudioBlock> decode(AudioDecoder decoder, Packet packet) {
        try {
            return decoder.decode(packet);
        } catch (DecodeException e) {
            damaged++;
            reason = reason.isEmpty() ? ConsoleText.reason(e) : reason;
            return List.of();
        }
    }

    private static void encode(List<AudioBlock> blocks, AudioResampler resampler, AudioEncoder encoder, SoundFile file)
            throws OutputException {
        for (AudioBlock block : blocks) {
            file.write(resampler == null ? encoder.encode(block) : encoder.encode(resampler.resample(block)));
        }
    }

    private void summarise(MediaStream sound, AudioEncoder encoder, double seconds) throws IOException {
        PrintWriter to = spec.commandLine().getOut();
        double length = (double) encoder.frames() / encoder.format().sampleRate();
        Table table = new Table();
        table.row("file", input.name());
        table.row("sound", ConsoleText.codec(sound) + ", " + ConsoleText.sound(sound) + ", " + encoder.frames()
                + " samples (" + ConsoleText.clock(new Rational(1, encoder.format().sampleRate()).times(encoder.frames())) + ")"
                + ConsoleText.damaged(damaged));
        table.row("format", format + (encoder.bitRate() == 0 ? "" : ", " + encoder.bitRate() + " bit/s"));
        table.row("written", Files.size(out) + " bytes to " + out);
        table.row("time", String.format(Locale.ROOT, "%.1f s, %.0f times as fast as it plays", seconds,
                length / seconds));
        table.print(to);
        to.flush();
    }

    private ParameterException wrongUsage(String message) {
        return new ParameterException(spec.commandLine(), message);
    }
}
