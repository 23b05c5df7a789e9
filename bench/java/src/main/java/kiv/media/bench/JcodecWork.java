package kiv.media.bench;

import java.awt.image.BufferedImage;
import java.nio.ByteBuffer;
import org.jcodec.api.FrameGrab;
import org.jcodec.common.io.FileChannelWrapper;
import org.jcodec.common.io.NIOUtils;
import org.jcodec.common.model.Picture;
import org.jcodec.scale.AWTUtil;

/** JCodec, which decodes in Java, on one thread. It does not scale. */
final class JcodecWork {

    /** Its samples are signed bytes around zero. */
    private static final int MIDDLE = 128;
    private static final int PLANES = 3;

    private JcodecWork() {
    }

    static Work of(Task task) throws Exception {
        if (task.kind() != Task.Kind.FILM && task.kind() != Task.Kind.IMAGES || task.isScaled()) {
            throw task.unsupported();
        }
        return sink -> run(task, sink);
    }

    private static long run(Task task, Sink sink) throws Exception {
        long count = 0;
        try (FileChannelWrapper file = NIOUtils.readableChannel(task.file().toFile())) {
            FrameGrab grab = FrameGrab.createFrameGrab(file);
            for (Picture picture; (picture = grab.getNativeFrame()) != null; count++) {
                if (task.kind() == Task.Kind.IMAGES) {
                    BufferedImage image = AWTUtil.toBufferedImage(picture);
                    if (sink != null) {
                        sink.image(image);
                    }
                } else if (sink != null) {
                    take(picture, sink);
                }
            }
        }
        return count;
    }

    private static void take(Picture picture, Sink sink) {
        for (int plane = 0; plane < PLANES; plane++) {
            int shift = plane == 0 ? 0 : 1;
            byte[] bytes = picture.getPlaneData(plane).clone();
            for (int i = 0; i < bytes.length; i++) {
                bytes[i] += (byte) MIDDLE;
            }
            sink.plane(ByteBuffer.wrap(bytes), picture.getPlaneWidth(plane), picture.getCroppedWidth() + shift >> shift,
                    picture.getCroppedHeight() + shift >> shift);
        }
    }
}
