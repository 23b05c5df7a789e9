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
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioEncoder;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.UnsupportedCodecException;
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
        description = {"", "Takes WAV files of 16-bit PCM, and every other file whose sound can be decoded.", ""},
        footer = {"", "Examples:", "  kivjniffmpeg encode --format mp3 --bitrate 192000 song.wav song.mp3",
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

    @Parameters(index = "1", paramLabel = "OUT", description = "The file to write. Its name says what kind it is: .wav"
            + " for every format but amr-nb; .mp3, .aac (ADTS), .ac3, .dts, .amr, .g722, .al (A-law), .ul (mu-law) and"
            + " .raw (PCM) for their own.")
    private Path out;

    @Option(names = "--format", paramLabel = "FORMAT", required = true, converter = FormatConverter.class,
            description = "What to encode into: ${COMPLETION-CANDIDATES}.")
    private AudioCodec format;

    @Option(names = "--bitrate", paramLabel = "N", description = "Bits a second, such as 128000, for formats that"
            + " have a choice: amr-nb, mp3, aac, ac3, dts, wma1, wma2.")
    private Integer bitRate;

    @Option(names = {"-q", "--quiet"}, description = "Show neither progress nor summary.")
    private boolean quiet;

    @Spec
    private CommandSpec spec;

    private long damaged;
    private String reason = "";

    @Override
    public Integer call() throws IOException {
        AudioContainer container = AudioContainer.find(out.toString(), format).orElseThrow(() -> wrongUsage(out + ": "
                + format + " goes into a file whose name ends in " + AudioContainer.extensions(format).stream()
                        .map(extension -> "." + extension).collect(Collectors.joining(" or "))));
        if (bitRate != null && (bitRate < 1 || !format.hasBitRate())) {
            throw wrongUsage(bitRate < 1 ? "--bitrate takes a number from 1" : format + " takes no --bitrate");
        }
        long start = System.nanoTime();
        try (MediaReader reader = input.open()) {
            MediaStream sound = reader.firstAudio()
                    .orElseThrow(() -> new MediaFormatException(input.about("no audio stream")));
            if (input.isInput(out)) {
                throw wrongUsage(out + " is the input itself");
            }
            try (AudioDecoder decoder = input.openAudioDecoder(sound);
                    AudioEncoder encoder = openEncoder(decoder);
                    SoundFile file = SoundFile.create(out, encoder.format(), container);
                    Progress progress = quiet ? Progress.NONE : Progress.start("encoding", "seconds",
                            (long) DecodeJob.seconds(reader, sound, TimeRange.ALL))) {
                PacketSource packets = new PacketSource(input, reader, this::warn);
                for (Packet packet; (packet = packets.next(decoder::accepts)) != null;) {
                    encode(decode(decoder, packet), encoder, file);
                    progress.at(encoder.frames() / decoder.format().sampleRate());
                }
                encode(decoder.finish(), encoder, file);
                file.write(encoder.finish());
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

    private AudioEncoder openEncoder(AudioDecoder decoder) {
        try {
            return AudioEncoder.open(format, decoder.format().sampleRate(), decoder.format().channels(),
                    bitRate == null ? AudioEncoder.DEFAULT_BIT_RATE : bitRate);
        } catch (UnsupportedCodecException e) {
            // Without a cause it is the choice of rate, bit rate or format that is refused, and another one may do.
            throw e.getCause() == null ? wrongUsage(e.getMessage()) : e;
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

    private static void encode(List<AudioBlock> blocks, AudioEncoder encoder, SoundFile file) throws OutputException {
        for (AudioBlock block : blocks) {
            file.write(encoder.encode(block));
        }
    }

    private void summarise(MediaStream sound, AudioEncoder encoder, double seconds) throws IOException {
        PrintWriter to = spec.commandLine().getOut();
        double length = (double) encoder.frames() / encoder.format().sampleRate();
        Table table = new Table();
        table.row("file", input.name());
        table.row("sound", ConsoleText.codec(sound) + ", " + ConsoleText.sound(sound) + ", " + encoder.frames()
                + " samples (" + ConsoleText.clock(new Rational(1, sound.sampleRate()).times(encoder.frames())) + ")"
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
