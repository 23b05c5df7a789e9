package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioEncoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.UnsupportedCodecException;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.Spec;

/** Encodes a file's sound. */
@Command(name = "encode", mixinStandardHelpOptions = true, versionProvider = Main.Version.class, sortOptions = false,
        description = "Encodes a WAV file's sound, 16-bit PCM, into another format. Other files whose sound can be"
                + " decoded are taken as well.")
final class EncodeCommand implements Callable<Integer> {

    @Mixin
    private CommonOptions common;

    @Parameters(index = "1", paramLabel = "OUT", description = "The file to write. Its name says what kind it is: .wav"
            + " for every format but amr-nb; .mp3, .aac (ADTS), .ac3, .dts, .amr, .g722, .al (A-law), .ul (mu-law) and"
            + " .raw (PCM) for their own.")
    private Path out;

    @Option(names = "--format", paramLabel = "FORMAT", required = true,
            description = "What to encode into: ${COMPLETION-CANDIDATES}.")
    private AudioCodec format;

    @Option(names = "--bitrate", paramLabel = "N", description = "Bits a second, such as 128000, for formats that"
            + " have a choice: amr-nb, mp3, aac, ac3, dts, wma1, wma2.")
    private Integer bitRate;

    @Spec
    private CommandSpec spec;

    private long damaged;

    @Override
    public Integer call() throws IOException {
        AudioContainer container = AudioContainer.find(out.toString(), format).orElseThrow(() -> wrong(out + ": "
                + format + " goes into a file whose name ends in " + AudioContainer.extensions(format).stream()
                        .map(extension -> "." + extension).collect(Collectors.joining(" or "))));
        if (bitRate != null && (bitRate < 1 || !format.hasBitRate())) {
            throw wrong(bitRate < 1 ? "--bitrate takes a number from 1" : format + " takes no --bitrate");
        }
        long start = System.nanoTime();
        try (MediaReader reader = common.open()) {
            MediaStream sound = reader.firstAudio()
                    .orElseThrow(() -> new MediaFormatException(common.file + ": no audio stream"));
            if (Files.exists(out) && Files.isSameFile(out, common.file)) {
                throw wrong(out + ": is the input itself");
            }
            try (AudioDecoder decoder = openDecoder(sound);
                    AudioEncoder encoder = openEncoder(decoder);
                    AudioFileWriter writer = AudioFileWriter.create(out, encoder.format(), container);
                    Progress progress = Progress.start("encoding", "seconds",
                            (long) DecodeCommand.seconds(reader, sound))) {
                for (Packet packet = reader.read(); packet != null; packet = reader.read()) {
                    if (decoder.accepts(packet)) {
                        encode(decode(decoder, packet), encoder, writer);
                        progress.at(encoder.frames() / decoder.format().sampleRate());
                    }
                }
                encode(decoder.finish(), encoder, writer);
                writer.write(encoder.finish());
                if (encoder.frames() == 0) {
                    throw new MediaFormatException(common.file + ": no sound could be decoded");
                }
                writer.finish(encoder.frames());
                summarise(sound, encoder, (System.nanoTime() - start) / 1e9);
            }
        }
        return 0;
    }

    private AudioDecoder openDecoder(MediaStream sound) {
        try {
            return AudioDecoder.open(sound);
        } catch (UnsupportedCodecException e) {
            throw new UnsupportedCodecException(common.file + ": " + e.getMessage() + "; PCM has to have 16 bits", e);
        }
    }

    private AudioEncoder openEncoder(AudioDecoder decoder) {
        try {
            return AudioEncoder.open(format, decoder.format().sampleRate(), decoder.format().channels(),
                    bitRate == null ? AudioEncoder.DEFAULT_BIT_RATE : bitRate);
        } catch (UnsupportedCodecException e) {
            throw wrong(e.getMessage());
        }
    }

    private List<AudioBlock> decode(AudioDecoder decoder, Packet packet) {
        try {
            return decoder.decode(packet);
        } catch (DecodeException e) {
            damaged++;
            return List.of();
        }
    }

    private static void encode(List<AudioBlock> blocks, AudioEncoder encoder, AudioFileWriter writer)
            throws IOException {
        for (AudioBlock block : blocks) {
            writer.write(encoder.encode(block));
        }
    }

    private void summarise(MediaStream sound, AudioEncoder encoder, double seconds) throws IOException {
        PrintWriter to = spec.commandLine().getOut();
        double length = (double) encoder.frames() / encoder.format().sampleRate();
        to.println("file       " + common.file);
        to.println("sound      " + InfoCommand.codec(sound) + ", " + InfoCommand.sound(sound) + ", " + encoder.frames()
                + " samples (" + InfoCommand.clock(new Rational(1, sound.sampleRate()).times(encoder.frames())) + ")"
                + (damaged == 0 ? "" : "; " + damaged + " damaged packets skipped"));
        to.println("format     " + format + (encoder.bitRate() == 0 ? "" : ", " + encoder.bitRate() + " bit/s"));
        to.println("written    " + Files.size(out) + " bytes to " + out);
        to.println(String.format(Locale.ROOT, "time       %.1f s, %.0f times as fast as it plays", seconds,
                length / seconds));
        to.flush();
    }

    private ParameterException wrong(String message) {
        return new ParameterException(spec.commandLine(), message);
    }
}
