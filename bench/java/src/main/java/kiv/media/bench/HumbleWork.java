package kiv.media.bench;

import io.humble.video.Decoder;
import io.humble.video.Demuxer;
import io.humble.video.DemuxerStream;
import io.humble.video.MediaDescriptor;
import io.humble.video.MediaPacket;
import io.humble.video.MediaPicture;
import io.humble.video.awt.MediaPictureConverter;
import io.humble.video.awt.MediaPictureConverterFactory;
import java.awt.image.BufferedImage;
import java.nio.ByteBuffer;

/** Humble Video with an FFmpeg of its own of 2015, and threads as it likes. */
final class HumbleWork {

    private static final int PLANES = 3;

    private HumbleWork() {
    }

    static Work of(Task task) throws Exception {
        if (task.kind() != Task.Kind.FILM && task.kind() != Task.Kind.IMAGES || task.threads() > 0) {
            throw task.unsupported();
        }
        return sink -> run(task, sink);
    }

    private static long run(Task task, Sink sink) throws Exception {
        Demuxer demuxer = Demuxer.make();
        demuxer.open(task.file().toString(), null, false, true, null, null);
        int index = 0;
        while (demuxer.getStream(index).getDecoder().getCodecType() != MediaDescriptor.Type.MEDIA_VIDEO) {
            index++;
        }
        DemuxerStream stream = demuxer.getStream(index);
        Decoder decoder = stream.getDecoder();
        decoder.open(null, null);
        MediaPicture picture = MediaPicture.make(decoder.getWidth(), decoder.getHeight(), decoder.getPixelFormat());
        MediaPictureConverter converter = task.kind() == Task.Kind.FILM ? null : task.isScaled()
                ? MediaPictureConverterFactory.createConverter(MediaPictureConverterFactory.HUMBLE_BGR_24,
                        picture.getFormat(), picture.getWidth(), picture.getHeight(), task.width(), task.height())
                : MediaPictureConverterFactory.createConverter(MediaPictureConverterFactory.HUMBLE_BGR_24, picture);
        Pictures pictures = new Pictures(picture, converter, sink);
        MediaPacket packet = MediaPacket.make();
        while (demuxer.read(packet) >= 0) {
            if (packet.getStreamIndex() == index) {
                int offset = 0;
                do {
                    offset += decoder.decode(picture, packet, offset);
                    pictures.take();
                } while (offset < packet.getSize());
            }
        }
        do {
            decoder.decode(picture, null, 0);
            pictures.take();
        } while (picture.isComplete());
        demuxer.close();
        return pictures.count;
    }

    private static final class Pictures {
        private final MediaPicture picture;
        private final MediaPictureConverter converter;
        private final Sink sink;
        private BufferedImage image;
        private long count;

        Pictures(MediaPicture picture, MediaPictureConverter converter, Sink sink) {
            this.picture = picture;
            this.converter = converter;
            this.sink = sink;
        }

        void take() {
            if (!picture.isComplete()) {
                return;
            }
            count++;
            if (converter != null) {
                image = converter.toImage(image, picture);
                if (sink != null) {
                    sink.image(image);
                }
            } else if (sink != null) {
                for (int plane = 0; plane < PLANES; plane++) {
                    int shift = plane == 0 ? 0 : 1;
                    ByteBuffer bytes = picture.getData(plane).getByteBuffer(0, picture.getDataPlaneSize(plane));
                    sink.plane(bytes, picture.getLineSize(plane), picture.getWidth() + shift >> shift,
                            picture.getHeight() + shift >> shift);
                }
            }
        }
    }
}
