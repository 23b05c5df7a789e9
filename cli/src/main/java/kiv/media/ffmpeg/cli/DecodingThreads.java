package kiv.media.ffmpeg.cli;

import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.VideoDecoder;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.Option;
import picocli.CommandLine.TypeConversionException;

/** How many threads decode pictures, for commands that decode all of them. */
final class DecodingThreads {

    private static final int MOST = 64;

    /** Reads the option. */
    static final class Converter implements ITypeConverter<Integer> {
        @Override
        public Integer convert(String text) {
            if (!text.matches("[1-9]\\d?") || Integer.parseInt(text) > MOST) {
                throw new TypeConversionException("'" + text + "' is not a number from 1 to " + MOST);
            }
            return Integer.valueOf(text);
        }
    }

    @Option(names = "--threads", paramLabel = "N", converter = Converter.class, description = "Decode pictures on N"
            + " threads, 1 to 64. Without it decode takes all processors, unless the pictures are small. frames-md5 takes"
            + " one, because more may change what a decoder guesses for damaged pictures.")
    private Integer threads;

    /** One thread when no other number was asked for. */
    DecodingThreads orOne() {
        threads = threads == null ? 1 : threads;
        return this;
    }

    VideoDecoder open(MediaStream stream) {
        return threads == null ? VideoDecoder.open(stream) : VideoDecoder.open(stream, threads);
    }
}
