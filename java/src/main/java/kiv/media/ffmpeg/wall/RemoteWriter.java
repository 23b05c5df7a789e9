package kiv.media.ffmpeg.wall;

import java.io.IOException;
import kiv.media.ffmpeg.natives.WorkerOrder;
import kiv.media.ffmpeg.natives.c_mediawriter_sink;

/** A writer behind the wall. */
public final class RemoteWriter implements ContainerWriter {

    private final Lane lane;

    private RemoteWriter(Lane lane) {
        this.lane = lane;
    }

    /**
     * Begins a container.
     *
     * @param lane becomes the writer's, and is closed when this fails
     * @param sink takes the bytes
     * @param seekable whether it seeks
     * @param format the name of the container's format
     * @param codec the name of the codec
     * @param fields laid out as {@link kiv.media.ffmpeg.natives.WriterFields}
     * @param extradata the codec's private data
     * @return the writer
     */
    public static RemoteWriter open(Lane lane, c_mediawriter_sink sink, boolean seekable, String format, String codec,
            long[] fields, byte[] extradata) throws IOException {
        boolean opened = false;
        try {
            lane.provide(sink);
            lane.begin().put(seekable ? 1 : 0).put(format).put(codec).put(fields).put(extradata)
                    .orderWithChannel(WorkerOrder.WRITER_OPEN);
            opened = true;
            return new RemoteWriter(lane);
        } finally {
            if (!opened) {
                lane.close();
            }
        }
    }

    @Override
    public void write(byte[] bytes, long time, long duration) throws IOException {
        lane.countPacket();
        lane.begin().put(time).put(duration).put(bytes).orderWithChannel(WorkerOrder.WRITER_WRITE);
    }

    @Override
    public void finish(byte[] extradata) throws IOException {
        lane.begin().put(extradata).orderWithChannel(WorkerOrder.WRITER_FINISH);
    }

    @Override
    public void delete() {
        lane.close();
    }
}
