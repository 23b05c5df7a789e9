package kiv.media.bench;

import com.github.kokorin.jaffree.LogLevel;
import com.github.kokorin.jaffree.StreamType;
import com.github.kokorin.jaffree.ffmpeg.FFmpeg;
import com.github.kokorin.jaffree.ffmpeg.Frame;
import com.github.kokorin.jaffree.ffmpeg.FrameConsumer;
import com.github.kokorin.jaffree.ffmpeg.FrameOutput;
import com.github.kokorin.jaffree.ffmpeg.Stream;
import com.github.kokorin.jaffree.ffmpeg.UrlInput;
import java.awt.image.BufferedImage;
import java.nio.file.Path;
import java.util.List;

/** Jaffree, which starts the program {@code ffmpeg} for each film and receives its pictures through a socket. */
final class JaffreeWork {

    private static final Path PROGRAMS = Path.of(System.getProperty("bench.ffmpeg.programs", "."));

    private JaffreeWork() {
    }

    static Work of(Task task) throws Exception {
        if (task.kind() != Task.Kind.IMAGES || task.threads() > 0) {
            throw task.unsupported();
        }
        return sink -> run(task, sink);
    }

    private static long run(Task task, Sink sink) {
        long[] count = new long[1];
        FrameConsumer consumer = new FrameConsumer() {
            @Override
            public void consumeStreams(List<Stream> streams) {
                // There is one.
            }

            @Override
            public void consume(Frame frame) {
                if (frame == null) {
                    return;
                }
                count[0]++;
                BufferedImage image = frame.getImage();
                if (sink != null) {
                    sink.image(image);
                }
            }
        };
        FFmpeg program = FFmpeg.atPath(PROGRAMS).addInput(UrlInput.fromPath(task.file()))
                .addOutput(FrameOutput.withConsumer(consumer).disableStream(StreamType.AUDIO)
                        .disableStream(StreamType.SUBTITLE).disableStream(StreamType.DATA))
                .addArguments("-fps_mode", "passthrough").setLogLevel(LogLevel.ERROR);
        if (task.isScaled()) {
            program.setFilter(StreamType.VIDEO, "scale=" + task.width() + ":" + task.height());
        }
        program.execute();
        return count[0];
    }
}
