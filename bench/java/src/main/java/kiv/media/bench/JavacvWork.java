package kiv.media.bench;

import java.awt.image.BufferedImage;
import java.nio.ShortBuffer;
import org.bytedeco.ffmpeg.avutil.AVFrame;
import org.bytedeco.ffmpeg.global.avutil;
import org.bytedeco.javacv.FFmpegFrameGrabber;
import org.bytedeco.javacv.Frame;
import org.bytedeco.javacv.FrameGrabber;
import org.bytedeco.javacv.Java2DFrameConverter;

/** JavaCV's frame grabber, and its converter to images. It decodes on all cores unless it is told otherwise. */
final class JavacvWork {

    private JavacvWork() {
    }

    static Work of(Task task) throws Exception {
        avutil.av_log_set_level(avutil.AV_LOG_ERROR);
        return switch (task.kind()) {
            case FILM -> sink -> film(task, sink);
            case IMAGES -> sink -> images(task, sink);
            case SOUND -> sink -> sound(task, sink);
            default -> throw task.unsupported();
        };
    }

    private static FFmpegFrameGrabber grabber(Task task) {
        FFmpegFrameGrabber grabber = new FFmpegFrameGrabber(task.file().toFile());
        if (task.threads() > 0) {
            grabber.setVideoOption("threads", Integer.toString(task.threads()));
        }
        return grabber;
    }

    private static long film(Task task, Sink sink) throws Exception {
        long count = 0;
        try (FFmpegFrameGrabber grabber = grabber(task)) {
            grabber.setImageMode(FrameGrabber.ImageMode.RAW);
            grabber.start();
            for (Frame frame; (frame = grabber.grabImage()) != null; count++) {
                if (sink != null) {
                    AvFrames.take((AVFrame) frame.opaque, sink);
                }
            }
        }
        return count;
    }

    private static long images(Task task, Sink sink) throws Exception {
        long count = 0;
        try (FFmpegFrameGrabber grabber = grabber(task); Java2DFrameConverter converter = new Java2DFrameConverter()) {
            if (task.isScaled()) {
                grabber.setImageWidth(task.width());
                grabber.setImageHeight(task.height());
            }
            grabber.start();
            for (Frame frame; (frame = grabber.grabImage()) != null; count++) {
                BufferedImage image = converter.convert(frame);
                if (sink != null) {
                    sink.image(image);
                }
            }
        }
        return count;
    }

    private static long sound(Task task, Sink sink) throws Exception {
        long count = 0;
        try (FFmpegFrameGrabber grabber = grabber(task)) {
            grabber.start();
            for (Frame frame; (frame = grabber.grabSamples()) != null;) {
                ShortBuffer samples = (ShortBuffer) frame.samples[0];
                count += samples.remaining() / frame.audioChannels;
                if (sink != null) {
                    sink.sound(samples.duplicate());
                }
            }
        }
        return count;
    }
}
