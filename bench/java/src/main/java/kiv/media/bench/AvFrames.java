package kiv.media.bench;

import java.nio.ByteBuffer;
import org.bytedeco.ffmpeg.avutil.AVFrame;

/** Reads the pictures of the presets. */
final class AvFrames {

    private static final int PLANES = 3;

    private AvFrames() {
    }

    /** Takes a 4:2:0 picture of 8 bits. */
    static void take(AVFrame frame, Sink sink) {
        for (int plane = 0; plane < PLANES; plane++) {
            int shift = plane == 0 ? 0 : 1;
            int rows = frame.height() + shift >> shift;
            int rowBytes = frame.width() + shift >> shift;
            ByteBuffer bytes = frame.data(plane).capacity((long) frame.linesize(plane) * rows).asByteBuffer();
            sink.plane(bytes, frame.linesize(plane), rowBytes, rows);
        }
    }
}
