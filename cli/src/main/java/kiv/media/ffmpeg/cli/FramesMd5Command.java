package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.DecodeException;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.SampleFormat;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WorkerException;
import picocli.CommandLine.ArgGroup;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** Prints hashes of everything that is decoded. */
@Command(name = "frames-md5", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Prints the MD5 of every picture or piece of sound.",
        description = {"", "The table tells time, length, size and MD5 of each picture, all planes in the decoder's own"
            + " pixel format without padding, or of each piece of sound as PCM. Without an option it is"
            + " about the first stream of pictures, or of sound when there is none.", ""},
        footer = {"", "The same table comes from:", "",
            "  ffmpeg -noautorotate -copyts -i FILE -map 0:v:0 -fps_mode passthrough \\",
            "      -enc_time_base -1 -noautoscale -fflags +bitexact -f framemd5 -",
            "  ffmpeg -copyts -i FILE -map 0:a:0 -c:a pcm_s16le \\",
            "      -fflags +bitexact -f framemd5 -"})
final class FramesMd5Command implements Callable<Integer> {

    private static final int FLUSHED_LINES = 64;
    private static final int THREE = 3;
    private static final int FOUR = 4;
    /** FFmpeg's names of the usual layouts, by number of channels. */
    private static final List<String> LAYOUTS = List.of("mono", "stereo", "3.0", "4.0", "5.0", "5.1", "6.1", "7.1");
    /** Codecs whose second pair of loudspeakers stands at the sides. */
    private static final Set<String> SIDE_CODECS = Set.of("ac3", "dca", "dts");

    /** The options that choose a stream. */
    private static final class Choice {
        @Option(names = "--audio", description = "Take the first stream of sound.")
        private boolean audio;

        @Option(names = "--stream", paramLabel = "N", description = "Take the stream that 'info' shows as N.")
        private Integer stream;
    }

    @Mixin
    private MediaInput input;

    @Option(names = "--samples", paramLabel = "KIND", defaultValue = "PCM_16",
            description = "Sound in samples of this kind: ${COMPLETION-CANDIDATES}.")
    private SampleFormat samples;

    @Mixin
    private DecodingThreads threads;

    @ArgGroup
    private Choice choice;

    @Spec
    private CommandSpec spec;

    private PrintWriter out;
    private PacketSource packets;
    private boolean begun;
    private long lines;
    private long damaged;

    @Override
    public Integer call() throws IOException {
        out = spec.commandLine().getOut();
        try (MediaReader reader = input.openForward()) {
            packets = new PacketSource(input, reader, this::warn);
            MediaStream stream = choose(reader);
            if (stream.kind() == MediaKind.VIDEO) {
                pictures(stream);
            } else {
                sound(stream);
            }
            OutputFile.flushStandardOutput(out);
            packets.reportDeath(lines > 0);
            if (lines == 0) {
                throw new MediaFormatException(input.about("nothing in the stream can be decoded"));
            }
            if (damaged > 0) {
                warn(ConsoleText.damaged(damaged).replace("; ", ""));
            }
            return packets.status();
        }
    }

    private void warn(String message) {
        FailureReport.warn(spec.commandLine(), message);
    }

    private MediaStream choose(MediaReader reader) {
        if (choice == null) {
            return reader.firstVideo().or(reader::firstAudio).orElseThrow(
                    () -> new MediaFormatException(input.about("no video and no audio stream")));
        }
        if (choice.audio) {
            return reader.firstAudio().orElseThrow(() -> new MediaFormatException(input.about("no audio stream")));
        }
        List<MediaStream> streams = reader.streams();
        if (choice.stream < 0 || choice.stream >= streams.size()) {
            throw new ParameterException(spec.commandLine(), "--stream: the file has the streams 0 to "
                    + (streams.size() - 1));
        }
        MediaStream stream = streams.get(choice.stream);
        if (stream.kind() != MediaKind.VIDEO && stream.kind() != MediaKind.AUDIO) {
            throw new ParameterException(spec.commandLine(), "--stream: " + choice.stream
                    + " is neither pictures nor sound");
        }
        return stream;
    }

    private void pictures(MediaStream stream) throws IOException {
        try (VideoDecoder decoder = input.openVideoDecoder(stream, threads.orOne());
                PictureHashes hashes = new PictureHashes(this::print)) {
            try {
                for (Packet packet; (packet = packets.next(decoder::accepts)) != null;) {
                    try {
                        print(decoder.decode(packet), stream, hashes);
                    } catch (DecodeException e) {
                        damaged++;
                    }
                }
                print(decoder.finish(), stream, hashes);
            } catch (WorkerException e) {
                packets.endWith(e);
            }
            hashes.finish();
        }
    }

    private void print(List<Picture> pictures, MediaStream stream, PictureHashes hashes) throws IOException {
        for (Picture picture : pictures) {
            if (!begun) {
                begun = true;
                Rational shape = picture.pixelShape();
                header(stream.timeBase(), "video", "rawvideo");
                out.println("#dimensions 0: " + picture.width() + "x" + picture.height());
                out.println("#sar 0: " + (shape.isKnown() ? shape : "0/1"));
                columns();
            }
            hashes.add(picture);
        }
    }

    private void sound(MediaStream stream) throws IOException {
        try (AudioDecoder decoder = input.openAudioDecoder(stream, samples)) {
            Rational timeBase = new Rational(1, decoder.format().sampleRate());
            SampleClock clock = new SampleClock(stream.timeBase(), decoder.format().sampleRate());
            for (Packet packet; (packet = packets.next(decoder::accepts)) != null;) {
                try {
                    print(decoder.decode(packet), stream.codecName(), timeBase, clock);
                } catch (DecodeException e) {
                    damaged++;
                }
            }
            print(decoder.finish(), stream.codecName(), timeBase, clock);
        } catch (WorkerException e) {
            packets.endWith(e);
        }
    }

    private void print(List<AudioBlock> blocks, String codec, Rational timeBase, SampleClock clock) throws IOException {
        for (AudioBlock block : blocks) {
            if (lines == 0) {
                header(timeBase, "audio", switch (samples) {
                    case PCM_16 -> "pcm_s16le";
                    case PCM_32 -> "pcm_s32le";
                    case FLOAT -> "pcm_f32le";
                });
                out.println("#sample_rate 0: " + block.sampleRate());
                out.println("#channel_layout_name 0: " + layout(block.channels(), codec));
                columns();
            }
            byte[] pcm = new byte[block.data().remaining()];
            block.data().get(pcm);
            print(PictureHashes.row(clock.next(block.timestamp(), block.frames()), block.frames(), pcm));
        }
    }

    private static String layout(int channels, String codec) {
        if (channels > LAYOUTS.size()) {
            return channels + " channels";
        }
        // A stream that names no loudspeakers has the layout that FFmpeg lists first.
        if (channels == THREE && (codec.startsWith("pcm_") || codec.startsWith("adpcm_"))) {
            return "2.1";
        }
        return LAYOUTS.get(channels - 1) + (channels > FOUR && SIDE_CODECS.contains(codec) ? "(side)" : "");
    }

    private void header(Rational timeBase, String kind, String codec) {
        out.println("#format: frame checksums");
        out.println("#version: 2");
        out.println("#hash: MD5");
        out.println("#tb 0: " + timeBase);
        out.println("#media_type 0: " + kind);
        out.println("#codec_id 0: " + codec);
    }

    private void columns() {
        out.println("#stream#, dts,        pts, duration,     size, hash");
    }

    private void print(String row) throws IOException {
        out.println(row);
        if (++lines % FLUSHED_LINES == 0) {
            OutputFile.flushStandardOutput(out);
        }
    }
}
