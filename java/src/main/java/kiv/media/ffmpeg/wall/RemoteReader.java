package kiv.media.ffmpeg.wall;

import java.io.IOException;
import java.util.Arrays;
import kiv.media.ffmpeg.natives.LightFields;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.ProgramFields;
import kiv.media.ffmpeg.natives.ReaderInfo;
import kiv.media.ffmpeg.natives.ReaderLimitFields;
import kiv.media.ffmpeg.natives.SideDataFields;
import kiv.media.ffmpeg.natives.StreamFields;
import kiv.media.ffmpeg.natives.StreamNames;
import kiv.media.ffmpeg.natives.WorkerOrder;
import kiv.media.ffmpeg.natives.c_mediareader_source;

/** A reader behind the wall. What would make a caller loop or take memory without end is checked here. */
public final class RemoteReader implements ContainerReader {

    private final Lane lane;
    private final long mostStreams;
    private final long[] packet = new long[PacketFields.SIZE_WITH_LENGTH];
    private final int[] length = new int[1];
    private int described = -1;
    private long[] fields;
    private String codecName;
    private byte[] extradata;

    private RemoteReader(Lane lane, long mostStreams) {
        this.lane = lane;
        this.mostStreams = mostStreams;
    }

    /**
     * Opens a container.
     *
     * @param lane becomes the reader's, and is closed when this fails
     * @param source the bytes
     * @param forward whether they are read forward only
     * @param limits laid out as {@link ReaderLimitFields}
     * @return the reader
     */
    public static RemoteReader open(Lane lane, c_mediareader_source source, boolean forward, long[] limits)
            throws IOException {
        boolean opened = false;
        try {
            lane.provide(source);
            lane.begin().put(forward ? 1 : 0).put(limits).orderWithChannel(WorkerOrder.READER_OPEN);
            opened = true;
            return new RemoteReader(lane, limits[ReaderLimitFields.STREAMS]);
        } finally {
            if (!opened) {
                lane.close();
            }
        }
    }

    @Override
    public String formatName() {
        Answer answer = lane.begin().order(WorkerOrder.READER_INFO);
        answer.takeLongs(new long[ReaderInfo.SIZE]);
        return text(answer);
    }

    @Override
    public long[] info() {
        long[] info = new long[ReaderInfo.SIZE];
        lane.begin().order(WorkerOrder.READER_INFO).takeLongs(info);
        if (info[ReaderInfo.STREAMS] < 0 || info[ReaderInfo.STREAMS] > mostStreams) {
            throw lane.lied();
        }
        return info;
    }

    private String text(Answer answer) {
        String text = answer.takeText();
        if (text == null) {
            throw lane.lied();
        }
        return text;
    }

    /** Asks for all that describes a stream. */
    private void describe(int index) {
        described = -1;
        Answer answer = lane.begin().put(index).order(WorkerOrder.READER_STREAM);
        fields = new long[StreamFields.SIZE];
        answer.takeLongs(fields);
        codecName = text(answer);
        extradata = answer.takeBytes();
        if (extradata == null) {
            throw lane.lied();
        }
        described = index;
    }

    @Override
    public long[] stream(int index) {
        describe(index);
        return fields;
    }

    @Override
    public String codecName(int index) {
        if (described != index) {
            describe(index);
        }
        return codecName;
    }

    @Override
    public byte[] extradata(int index) {
        if (described != index) {
            describe(index);
        }
        return extradata;
    }

    @Override
    public byte[] read(long[] to) throws IOException {
        return read(-1, null, to);
    }

    @Override
    public byte[] readStream(int stream, byte[] buffer, long[] to) throws IOException {
        return read(stream, buffer, to);
    }

    private byte[] read(int stream, byte[] buffer, long[] to) throws IOException {
        lane.countPacket();
        Answer answer = lane.begin().put(stream).orderWithChannel(WorkerOrder.READER_READ);
        if (answer.isEmpty()) {
            return null;
        }
        answer.takeLongs(packet);
        byte[] bytes = answer.takeBytes(buffer, length);
        long index = packet[PacketFields.STREAM];
        if (index < 0 || index >= mostStreams || stream >= 0 && index != stream
                || packet[PacketFields.LENGTH] != length[0]) {
            throw lane.lied();
        }
        System.arraycopy(packet, 0, to, 0, Math.min(to.length, packet.length));
        return bytes;
    }

    @Override
    public byte[] readSeveral(int stream, byte[] buffer, long[] to) throws IOException {
        Arrays.fill(to, PacketFields.NONE);
        int used = 0;
        for (int at = 0; at + packet.length <= to.length; at += packet.length) {
            byte[] bytes = read(stream, null, packet);
            if (bytes == null) {
                return null;
            }
            System.arraycopy(packet, 0, to, at, packet.length);
            if (bytes.length > buffer.length - used) {
                return bytes;
            }
            System.arraycopy(bytes, 0, buffer, used, bytes.length);
            used += bytes.length;
        }
        return null;
    }

    @Override
    public void seek(int stream, long time, int flags) throws IOException {
        lane.begin().put(stream).put(time).put(flags).orderWithChannel(WorkerOrder.READER_SEEK);
    }

    @Override
    public byte[] tags(int kind, int first) {
        byte[] tags = lane.begin().put(kind).put(first).order(WorkerOrder.READER_TAGS).takeBytes();
        return tags == null ? new byte[0] : tags;
    }

    @Override
    public long[] chapters() {
        return list(WorkerOrder.READER_CHAPTERS);
    }

    @Override
    public long[] programs() {
        long[] programs = list(WorkerOrder.READER_PROGRAMS);
        for (int at = 0; at + ProgramFields.SIZE <= programs.length;) {
            long streams = programs[at + ProgramFields.STREAMS];
            at += ProgramFields.SIZE;
            if (streams < 0 || streams > programs.length - at) {
                throw lane.lied();
            }
            at += (int) streams;
        }
        return programs;
    }

    private long[] list(int order) {
        long[] list = lane.begin().order(order).takeLongs();
        return list == null ? new long[0] : list;
    }

    @Override
    public String[] names(int index) {
        Answer answer = lane.begin().put(index).order(WorkerOrder.READER_NAMES);
        String[] names = new String[StreamNames.SIZE];
        Arrays.setAll(names, name -> {
            String text = answer.takeText();
            return text == null || text.isEmpty() ? null : text;
        });
        return names;
    }

    @Override
    public long[] light(int index) {
        return longs(index, WorkerOrder.READER_LIGHT, LightFields.SIZE);
    }

    @Override
    public long[] sideData(int index) {
        return longs(index, WorkerOrder.READER_SIDE_DATA, SideDataFields.SIZE);
    }

    /** Numbers of a stream, or null. */
    private long[] longs(int index, int order, int size) {
        long[] longs = lane.begin().put(index).order(order).takeLongs();
        if (longs != null && longs.length != size) {
            throw lane.lied();
        }
        return longs;
    }

    @Override
    public byte[] picture(int index) {
        byte[] bytes = lane.begin().put(index).order(WorkerOrder.READER_PICTURE).takeBytes();
        return bytes == null || bytes.length == 0 ? null : bytes;
    }

    @Override
    public void delete() {
        lane.close();
    }
}
