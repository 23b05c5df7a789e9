package kiv.media.ffmpeg.wall;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Deque;
import java.util.List;
import kiv.media.ffmpeg.natives.LightFields;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.ProgramFields;
import kiv.media.ffmpeg.natives.ReaderInfo;
import kiv.media.ffmpeg.natives.ReaderLimitFields;
import kiv.media.ffmpeg.natives.SideDataFields;
import kiv.media.ffmpeg.natives.StreamFields;
import kiv.media.ffmpeg.natives.StreamNames;
import kiv.media.ffmpeg.natives.WorkerAnswer;
import kiv.media.ffmpeg.natives.WorkerOrder;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import kiv.media.ffmpeg.natives.c_metadata_ffmpeg;

/** A reader behind the wall. What would make a caller loop or take memory without end is checked here. */
public final class RemoteReader implements ContainerReader {

    private static final int QUARTER_TURN = 90;
    private static final int FULL_TURN = 360;
    /** The most packets that are read at once. */
    private static final int MOST_PACKETS = 32;
    /** Bytes behind which no other packet is read at once. */
    private static final int MOST_BYTES = 128 * 1024;
    /** Bytes of packets behind which no other one goes to a decoder with them. */
    private static final int MOST_BYTES_COMING = 1 << 20;
    /** Bytes of packets that wait for their caller, behind which none is read for a decoder. */
    private static final int MOST_BYTES_WAITING = 4 << 20;
    private static final int FIRST_CHUNK = 64 * 1024;
    private static final int USUAL_CHUNK = MOST_BYTES + MOST_BYTES / 2;
    /** A bit that the first number of a packet never has. */
    private static final int NO_PACKET = Integer.MIN_VALUE;

    private final Lane lane;
    private final long mostStreams;
    /** Whether bytes may come late, so that no packet is read before it is asked for. */
    private final boolean forward;
    private final long[] info = new long[ReaderInfo.SIZE];
    private final String formatName;
    private final long[] chapters;
    private final long[] programs;
    /** By kind, as they were when the container was opened. */
    private final byte[][] tags = new byte[c_metadata_ffmpeg.PROGRAMS + 1][];
    private final List<Description> streams = new ArrayList<>();
    /** Packets that were read and not delivered. */
    private final Deque<PacketAhead> ahead = new ArrayDeque<>();
    private final List<PacketAhead.Chunk> chunks = new ArrayList<>();
    private PacketAhead.Chunk newest;
    /** The packet that was delivered last. */
    private PacketAhead latest;
    /** Waits for the packets before it. */
    private Throwable failure;
    private boolean ended;
    /** The stream of which a packet was asked for last, or any. */
    private int askedFor;
    /** How many packets the next order reads. It grows with those that are read one after the other. */
    private int several = 1;

    /** All that is asked about a stream. */
    private record Description(long[] fields, String codecName, byte[] extradata, String[] names, long[] light,
            long[] sideData) {
    }

    private RemoteReader(Lane lane, long mostStreams, boolean forward, Answer answer) {
        this.lane = lane;
        this.mostStreams = mostStreams;
        this.forward = forward;
        answer.takeLongs(info);
        if (info[ReaderInfo.STREAMS] < 0 || info[ReaderInfo.STREAMS] > mostStreams) {
            throw lane.lied();
        }
        formatName = text(answer);
        chapters = list(answer);
        programs = list(answer);
        checkPrograms();
        for (int kind = c_metadata_ffmpeg.CONTAINER; kind <= c_metadata_ffmpeg.PROGRAMS; kind++) {
            tags[kind] = answer.takeBytes();
        }
        while (streams.size() < info[ReaderInfo.STREAMS]) {
            streams.add(description(answer));
        }
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
            int kind = forward ? c_mediareader_source.FORWARD
                    : source.isFile() ? c_mediareader_source.FILE : c_mediareader_source.ANYWHERE;
            lane.provide(source, kind);
            RemoteReader reader = new RemoteReader(lane, limits[ReaderLimitFields.STREAMS], forward,
                    lane.begin().put(kind).put(limits).orderWithChannel(WorkerOrder.READER_OPEN));
            opened = true;
            return reader;
        } finally {
            if (!opened) {
                lane.close();
            }
        }
    }

    private String text(Answer answer) {
        String text = answer.takeText();
        if (text == null) {
            throw lane.lied();
        }
        return text;
    }

    private static long[] list(Answer answer) {
        long[] list = answer.takeLongs();
        return list == null ? new long[0] : list;
    }

    private void checkPrograms() {
        for (int at = 0; at + ProgramFields.SIZE <= programs.length;) {
            long members = programs[at + ProgramFields.STREAMS];
            at += ProgramFields.SIZE;
            if (members < 0 || members > programs.length - at) {
                throw lane.lied();
            }
            at += (int) members;
        }
    }

    private Description description(Answer answer) {
        long[] fields = new long[StreamFields.SIZE];
        answer.takeLongs(fields);
        long rotation = fields[StreamFields.ROTATION];
        if (rotation < 0 || rotation >= FULL_TURN || rotation % QUARTER_TURN != 0) {
            throw lane.lied();
        }
        String codecName = text(answer);
        byte[] extradata = answer.takeBytes();
        if (extradata == null) {
            throw lane.lied();
        }
        String[] names = new String[StreamNames.SIZE];
        Arrays.setAll(names, name -> {
            String text = answer.takeText();
            return text == null || text.isEmpty() ? null : text;
        });
        return new Description(fields, codecName, extradata, names, longs(answer, LightFields.SIZE),
                longs(answer, SideDataFields.SIZE));
    }

    /** So many numbers, or null. */
    private long[] longs(Answer answer, int size) {
        long[] longs = answer.takeLongs();
        if (longs != null && longs.length != size) {
            throw lane.lied();
        }
        return longs;
    }

    /** Asks for streams that appeared behind the beginning. */
    private Description description(int index) {
        while (streams.size() <= index) {
            streams.add(description(lane.begin().put(streams.size()).order(WorkerOrder.READER_STREAM)));
        }
        return streams.get(index);
    }

    @Override
    public String formatName() {
        return formatName;
    }

    @Override
    public long[] info() {
        return info;
    }

    @Override
    public long[] stream(int index) {
        return description(index).fields;
    }

    @Override
    public String codecName(int index) {
        return description(index).codecName;
    }

    @Override
    public byte[] extradata(int index) {
        return description(index).extradata;
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
        PacketAhead next = next(stream);
        if (next == null) {
            return null;
        }
        int length = next.length();
        byte[] bytes = buffer != null && buffer.length >= length ? buffer : new byte[length];
        next.copy(bytes, 0);
        System.arraycopy(next.fields(), 0, to, 0, Math.min(to.length, PacketFields.SIZE_WITH_LENGTH));
        return bytes;
    }

    /** {@return the next packet of a stream, or of any; null at the end} */
    private PacketAhead next(int stream) throws IOException {
        long errors = 0;
        askedFor = stream;
        for (;;) {
            if (ahead.isEmpty() && failure == null && !ended) {
                readAhead(stream);
            }
            PacketAhead next = ahead.poll();
            release(next);
            if (next == null) {
                ended = false;
                Throwable now = failure;
                failure = null;
                Lane.throwIfAny(now);
                return null;
            }
            if (next.isOf(stream)) {
                next.fields()[PacketFields.ERRORS] += errors;
                return next;
            }
            errors += next.fields()[PacketFields.ERRORS];
        }
    }

    /** A packet is delivered. Its bytes stay until the next one is. */
    private void release(PacketAhead delivered) {
        if (latest != null) {
            latest.chunk().release();
        }
        latest = delivered;
    }

    private Answer copy(Answer results) {
        newest = null;
        for (PacketAhead.Chunk chunk : chunks) {
            newest = chunk.takes(results.size()) ? chunk : newest;
        }
        if (newest == null) {
            chunks.removeIf(PacketAhead.Chunk::isFree);
            newest = new PacketAhead.Chunk(Math.max(results.size(), several < MOST_PACKETS ? FIRST_CHUNK : USUAL_CHUNK));
            chunks.add(newest);
        }
        return newest.take(results);
    }

    /** Reads some packets with one order. What goes wrong waits until those before it are delivered. */
    private void readAhead(int stream) {
        int wanted = forward ? 1 : several;
        several = Math.min(2 * several, MOST_PACKETS);
        lane.countPacket();
        try {
            lane.beginSeveral(NO_PACKET, MOST_BYTES);
            for (int i = 0; i < wanted; i++) {
                lane.add(WorkerOrder.READER_READ).put(stream);
            }
            Answer all = copy(lane.severalWithChannel());
            int read = 0;
            for (; read == 0 || !all.isEmpty(); read++) {
                if (read == wanted) {
                    throw lane.lied();
                }
                take(stream, all.takeInt(), all.takeAnswer());
            }
            lane.countResults(read - 1);
            Throwable ofChannel = lane.failureOfChannel();
            failure = failure == null ? ofChannel : failure;
        } catch (IOException | RuntimeException | Error e) {
            failure = e;
        }
    }

    private void take(int stream, int kind, Answer answer) {
        if (kind == WorkerAnswer.FAILED) {
            failure = lane.failureOf(answer);
        } else if (kind != WorkerAnswer.DONE || ended || failure != null) {
            throw lane.lied();
        } else if (answer.isEmpty()) {
            ended = true;
        } else {
            long[] read = new long[PacketFields.SIZE_WITH_LENGTH];
            answer.takeLongs(read);
            PacketAhead taken = newest.packet(answer.takeView(), read);
            if (read[PacketFields.STREAM] < 0 || read[PacketFields.STREAM] >= mostStreams || !taken.isOf(stream)
                    || read[PacketFields.LENGTH] != taken.length()) {
                throw lane.lied();
            }
            ahead.add(taken);
        }
    }

    @Override
    public List<PacketAhead> comingPackets(int stream, int behind, int most) {
        List<PacketAhead> coming = new ArrayList<>();
        int left = behind;
        int bytes = 0;
        for (PacketAhead one : ahead) {
            if (one.isOf(stream) && --left < 0) {
                coming.add(one);
                bytes += one.length();
                if (coming.size() == most || bytes >= MOST_BYTES_COMING) {
                    break;
                }
            }
        }
        return coming;
    }

    @Override
    public void readAhead(int stream, int least) {
        if (!forward && several > 1 && failure == null && !ended && isFewerThan(least, stream)) {
            readAhead(askedFor);
        }
    }

    /** Whether that is so, and does not come of many bytes of other streams. */
    private boolean isFewerThan(int least, int stream) {
        int left = least;
        long bytes = 0;
        for (PacketAhead one : ahead) {
            left -= one.isOf(stream) ? 1 : 0;
            bytes += one.length();
            if (left == 0 || bytes > MOST_BYTES_WAITING) {
                return false;
            }
        }
        return true;
    }

    @Override
    public byte[] readSeveral(int stream, byte[] buffer, long[] to) throws IOException {
        Arrays.fill(to, PacketFields.NONE);
        int used = 0;
        for (int at = 0; at + PacketFields.SIZE_WITH_LENGTH <= to.length; at += PacketFields.SIZE_WITH_LENGTH) {
            PacketAhead next = next(stream);
            if (next == null) {
                return null;
            }
            System.arraycopy(next.fields(), 0, to, at, PacketFields.SIZE_WITH_LENGTH);
            if (next.length() > buffer.length - used) {
                byte[] bytes = new byte[next.length()];
                next.copy(bytes, 0);
                return bytes;
            }
            next.copy(buffer, used);
            used += next.length();
        }
        return null;
    }

    @Override
    public void seek(int stream, long time, int flags) throws IOException {
        ahead.clear();
        chunks.clear();
        latest = null;
        failure = null;
        ended = false;
        several = 1;
        lane.begin().put(stream).put(time).put(flags).orderWithChannel(WorkerOrder.READER_SEEK);
    }

    @Override
    public byte[] tags(int kind, int first) {
        byte[] known = first < info[ReaderInfo.STREAMS] || kind != c_metadata_ffmpeg.STREAMS ? tags[kind]
                : lane.begin().put(kind).put(first).order(WorkerOrder.READER_TAGS).takeBytes();
        return known == null ? new byte[0] : known;
    }

    @Override
    public long[] chapters() {
        return chapters;
    }

    @Override
    public long[] programs() {
        return programs;
    }

    @Override
    public String[] names(int index) {
        return description(index).names;
    }

    @Override
    public long[] light(int index) {
        return description(index).light;
    }

    @Override
    public long[] sideData(int index) {
        return description(index).sideData;
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
