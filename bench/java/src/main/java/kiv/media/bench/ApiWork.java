package kiv.media.bench;

import java.awt.image.BufferedImage;
import java.util.ArrayList;
import java.util.Iterator;
import java.util.List;
import java.util.Queue;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.stream.Stream;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.Isolation;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.Plane;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.WorkerPool;

/** The public API, as its documentation shows it. */
final class ApiWork {

    private ApiWork() {
    }

    static Work of(Task task) throws Exception {
        return of(task, Isolation.usual());
    }

    /** In processes behind the wall that are used again. */
    static Work pooled(Task task) throws Exception {
        return of(task, WorkerPool.open(Isolation.wall()).isolation());
    }

    private static Work of(Task task, Isolation place) throws Exception {
        return switch (task.kind()) {
            case FILM -> sink -> film(task, place, sink);
            case IMAGES -> task.threads() == 1 ? sink -> film(task, place, sink) : sink -> images(task, place, sink);
            case SOUND -> sink -> sound(task, place, sink);
            case PACKETS -> packets(task);
        };
    }

    private static VideoDecoder decoder(MediaStream stream, int threads) {
        return threads == 0 ? VideoDecoder.open(stream) : VideoDecoder.open(stream, threads);
    }

    private static long film(Task task, Isolation place, Sink sink) throws Exception {
        long count = 0;
        try (MediaReader reader = MediaReader.open(task.file(), place);
                VideoDecoder decoder = decoder(reader.firstVideo().orElseThrow(), task.threads())) {
            for (Iterator<Picture> pictures = decoder.pictures(reader).iterator(); pictures.hasNext(); count++) {
                try (Picture picture = pictures.next()) {
                    take(task, picture, sink);
                }
            }
        }
        return count;
    }

    /** Converts on other threads while this one decodes. */
    private static long images(Task task, Isolation place, Sink sink) throws Exception {
        long count = 0;
        Queue<BufferedImage> spare = new ConcurrentLinkedQueue<>();
        try (MediaReader reader = MediaReader.open(task.file(), place);
                VideoDecoder decoder = decoder(reader.firstVideo().orElseThrow(), task.threads());
                Stream<BufferedImage> converted = decoder.pictures(reader, picture -> image(task, picture, spare.poll()))) {
            for (Iterator<BufferedImage> images = converted.iterator(); images.hasNext(); count++) {
                BufferedImage image = images.next();
                if (sink != null) {
                    sink.image(image);
                }
                spare.add(image);
            }
        }
        return count;
    }

    private static BufferedImage image(Task task, Picture picture, BufferedImage again) {
        return task.isScaled() ? picture.toBufferedImage(task.width(), task.height()) : picture.toBufferedImage(again);
    }

    private static void take(Task task, Picture picture, Sink sink) {
        if (task.kind() == Task.Kind.IMAGES) {
            BufferedImage image = image(task, picture, null);
            if (sink != null) {
                sink.image(image);
            }
        } else if (sink != null) {
            for (int i = 0; i < picture.format().planes(); i++) {
                Plane plane = picture.plane(i);
                sink.plane(plane.bytes(), plane.lineSize(), plane.rowBytes(), plane.rows());
            }
        }
    }

    private static long sound(Task task, Isolation place, Sink sink) throws Exception {
        long count = 0;
        try (MediaReader reader = MediaReader.open(task.file(), place);
                AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            for (Iterator<AudioBlock> blocks = decoder.blocks(reader).iterator(); blocks.hasNext();) {
                AudioBlock block = blocks.next();
                count += block.frames();
                if (sink != null) {
                    sink.sound(block.samples());
                }
            }
        }
        return count;
    }

    private static Work packets(Task task) throws Exception {
        List<Packet> packets = new ArrayList<>();
        MediaStream stream;
        try (MediaReader reader = MediaReader.open(task.file())) {
            stream = reader.firstVideo().or(reader::firstAudio).orElseThrow();
            for (Packet packet; (packet = reader.read()) != null;) {
                if (packet.streamIndex() == stream.index()) {
                    packets.add(packet);
                }
            }
        }
        return stream.width() > 0 ? sink -> pictures(task, stream, packets, sink) : sink -> blocks(stream, packets, sink);
    }

    private static long pictures(Task task, MediaStream stream, List<Packet> packets, Sink sink) {
        long count = 0;
        try (VideoDecoder decoder = decoder(stream, task.threads())) {
            for (int i = 0; i <= packets.size(); i++) {
                for (Picture picture : i < packets.size() ? decoder.decode(packets.get(i)) : decoder.finish()) {
                    try (picture) {
                        take(task, picture, sink);
                    }
                    count++;
                }
            }
        }
        return count;
    }

    private static long blocks(MediaStream stream, List<Packet> packets, Sink sink) {
        long count = 0;
        try (AudioDecoder decoder = AudioDecoder.open(stream)) {
            for (int i = 0; i <= packets.size(); i++) {
                for (AudioBlock block : i < packets.size() ? decoder.decode(packets.get(i)) : decoder.finish()) {
                    count += block.frames();
                    if (sink != null) {
                        sink.sound(block.samples());
                    }
                }
            }
        }
        return count;
    }
}
