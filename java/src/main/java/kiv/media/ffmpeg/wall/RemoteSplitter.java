package kiv.media.ffmpeg.wall;

import kiv.media.ffmpeg.natives.SplitterFields;
import kiv.media.ffmpeg.natives.StreamFields;
import kiv.media.ffmpeg.natives.WorkerOrder;

/** A splitter behind the wall. */
public final class RemoteSplitter implements Splitter {

    /** No splitter needs more calls before it uses a byte. */
    private static final int MOST_IDLE = 10_000;

    private final Lane lane;
    private int idle;

    private RemoteSplitter(Lane lane) {
        this.lane = lane;
    }

    /**
     * Makes a splitter.
     *
     * @param lane becomes the splitter's, and is closed when this fails
     * @param codec the name of the codec
     * @return the splitter
     */
    public static RemoteSplitter of(Lane lane, String codec) {
        lane.create(() -> lane.begin().put(codec).order(WorkerOrder.SPLITTER_CREATE));
        return new RemoteSplitter(lane);
    }

    @Override
    public byte[] split(byte[] bytes, int offset, int length, long[] fields) {
        Answer answer = lane.begin().put(fields).put(bytes, offset, length).order(WorkerOrder.SPLITTER_SPLIT);
        answer.takeLongs(fields);
        byte[] packet = answer.takeBytes();
        long used = fields[SplitterFields.USED];
        idle = used == 0 ? idle + 1 : 0;
        if (used < 0 || used > (bytes == null ? 0 : length) || idle > MOST_IDLE) {
            throw lane.lied();
        }
        if (packet != null) {
            lane.countPacket();
        }
        return packet;
    }

    @Override
    public void restart() {
        idle = 0;
        lane.begin().order(WorkerOrder.SPLITTER_RESTART);
    }

    @Override
    public long[] stream() {
        long[] fields = new long[StreamFields.SIZE];
        lane.begin().order(WorkerOrder.SPLITTER_STREAM).takeLongs(fields);
        return fields;
    }

    @Override
    public String codecName() {
        Answer answer = lane.begin().order(WorkerOrder.SPLITTER_STREAM);
        answer.takeLongs(new long[StreamFields.SIZE]);
        String name = answer.takeText();
        return name == null ? "" : name;
    }

    @Override
    public void delete() {
        lane.close();
    }
}
