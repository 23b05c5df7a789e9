package kiv.media.ffmpeg.wall;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import kiv.media.ffmpeg.natives.WorkerAnswer;
import kiv.media.ffmpeg.natives.WorkerLane;
import kiv.media.ffmpeg.natives.WorkerOrder;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import kiv.media.ffmpeg.natives.c_workers_ffmpeg;

/**
 * A place in the memory of a worker where one object gives orders. The worker is believed nothing: what it writes is copied,
 * then checked, and what cannot be ends the worker. One thread at a time uses a lane.
 */
public final class Lane implements AutoCloseable {

    private static final int USUAL_AREA = 64 * 1024;
    /** No message is larger: a packet or an extradata of FFmpeg's has 31 bits, and memory has a limit. */
    private static final int LARGEST_AREA = 1 << 30;

    private final Worker worker;
    private final int number;
    private final ByteBuffer fields;
    private SharedMemory.Block area;
    private SharedMemory.Block block;
    /** Its position is where the next value of an order is put. */
    private ByteBuffer message;
    private int turn;
    private long packets;
    private boolean clear = true;
    private c_mediareader_source source;
    /** Whether the worker may ask for the channel now. */
    private boolean mayAsk;
    private Throwable failureOfChannel;

    Lane(Worker worker, int number) {
        this.worker = worker;
        this.number = number;
        this.fields = worker.memory().lane(number);
        setArea(allocate(USUAL_AREA));
    }

    int number() {
        return number;
    }

    /** {@return the worker, for more lanes} */
    public Worker worker() {
        return worker;
    }

    /** {@return the memory that the worker shares} */
    public SharedMemory memory() {
        return worker.memory();
    }

    /** {@return whether the worker keeps nothing of this lane} */
    boolean isClear() {
        return clear;
    }

    /** Sets the most bytes of one allocation of FFmpeg's in the worker. The lane is closed when that fails. */
    public void limitAllocations(long bytes) {
        create(() -> begin().put(bytes).order(WorkerOrder.ALLOCATION_LIMIT));
    }

    /** Counts a packet, for the exception when the worker ends. */
    void countPacket() {
        packets++;
    }

    /** Provides the bytes of the container that the worker reads. */
    void provide(c_mediareader_source bytes) {
        if (block == null) {
            block = allocate(c_mediareader_source.BUFFER_SIZE);
            fields.putLong(WorkerLane.BLOCK, block.offset());
            fields.putInt(WorkerLane.BLOCK_SIZE, c_mediareader_source.BUFFER_SIZE);
        }
        source = bytes;
    }

    /** Gives the order that makes the lane's object, and closes the lane when that fails. */
    void create(Runnable order) {
        boolean created = false;
        try {
            order.run();
            created = true;
        } finally {
            if (!created) {
                close();
            }
        }
    }

    private SharedMemory.Block allocate(int size) {
        SharedMemory.Block allocated = worker.memory().allocate(size);
        if (allocated == null) {
            throw new OutOfMemoryError("no shared memory left for a message of " + size + " bytes");
        }
        return allocated;
    }

    private void setArea(SharedMemory.Block larger) {
        area = larger;
        message = larger.buffer().duplicate().order(ByteOrder.nativeOrder());
        fields.putLong(WorkerLane.AREA, larger.offset());
        fields.putInt(WorkerLane.AREA_SIZE, larger.buffer().capacity());
    }

    /** Makes room behind what is written. */
    private ByteBuffer room(int bytes) {
        if (message.remaining() < bytes) {
            long wanted = Math.max(2L * message.capacity(), (long) message.position() + bytes);
            SharedMemory.Block old = area;
            ByteBuffer written = message.flip();
            setArea(allocate((int) Math.min(wanted, LARGEST_AREA)));
            message.put(written);
            old.release();
        }
        return message;
    }

    Lane put(int value) {
        room(Integer.BYTES).putInt(value);
        return this;
    }

    Lane put(long value) {
        room(Long.BYTES).putLong(value);
        return this;
    }

    Lane put(long[] values) {
        put(values.length);
        ByteBuffer to = room(values.length * Long.BYTES);
        to.asLongBuffer().put(values);
        to.position(to.position() + values.length * Long.BYTES);
        return this;
    }

    Lane put(int[] values) {
        put(values.length);
        ByteBuffer to = room(values.length * Integer.BYTES);
        to.asIntBuffer().put(values);
        to.position(to.position() + values.length * Integer.BYTES);
        return this;
    }

    /** Puts bytes; none for null. */
    Lane put(byte[] bytes, int offset, int length) {
        put(bytes == null ? 0 : length);
        if (bytes != null) {
            room(length).put(bytes, offset, length);
        }
        return this;
    }

    Lane put(byte[] bytes) {
        return put(bytes, 0, bytes == null ? 0 : bytes.length);
    }

    Lane put(String text) {
        return put(text.getBytes(StandardCharsets.UTF_8));
    }

    /** Begins an order. */
    Lane begin() {
        worker.check(packets);
        message.clear();
        return this;
    }

    /**
     * Gives the order whose values were put, and waits for its results. The worker must not use the channel.
     *
     * @param kind one of {@link WorkerOrder}
     * @return the results, valid until the next order
     * @throws RuntimeException as natives do, and when the worker ends
     */
    Answer order(int kind) {
        mayAsk = false;
        try {
            return answerTo(kind);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** As {@link #order}, and the worker may use the channel. @throws IOException when the channel throws it */
    Answer orderWithChannel(int kind) throws IOException {
        mayAsk = true;
        return answerTo(kind);
    }

    private Answer answerTo(int kind) throws IOException {
        failureOfChannel = null;
        clear = false;
        give(kind);
        boolean again = false;
        for (;;) {
            take();
            int answer = fields.getInt(WorkerLane.KIND);
            Answer values = new Answer(this, area.buffer(), fields.getInt(WorkerLane.LENGTH));
            switch (answer) {
                case WorkerAnswer.DONE -> {
                    throwChannelsFailure();
                    return values;
                }
                case WorkerAnswer.FAILED -> throw failed(values);
                case WorkerAnswer.LARGER -> {
                    int size = values.takeInt();
                    if (again || size <= area.buffer().capacity() || size > LARGEST_AREA) {
                        throw lied();
                    }
                    again = true;
                    area.release();
                    setArea(allocate(size));
                    give(WorkerOrder.AGAIN);
                }
                default -> reply(answer, values);
            }
        }
    }

    private void give(int kind) {
        fields.putInt(WorkerLane.KIND, kind);
        fields.putInt(WorkerLane.LENGTH, message.position());
        turn++;
        c_workers_ffmpeg.n_give_turn(worker.handle(), number, turn);
        message.clear();
    }

    private void take() {
        int result = c_workers_ffmpeg.n_take_turn(worker.handle(), number, turn, worker.limits().deadline());
        switch (result) {
            case c_workers_ffmpeg.ANSWERED -> turn++;
            case c_workers_ffmpeg.ENDED -> throw worker.ended(packets);
            case c_workers_ffmpeg.SILENT -> throw worker.end(WorkerEnd.Reason.DEADLINE, packets);
            default -> throw lied();
        }
    }

    /** Ends the worker for an answer that cannot be. {@return the exception for it} */
    RuntimeException lied() {
        return worker.end(WorkerEnd.Reason.LIE, packets);
    }

    private RuntimeException failed(Answer values) throws IOException {
        int failure = values.takeInt();
        String text = values.takeText();
        throwChannelsFailure();
        return switch (failure) {
            // An error of the worker's is none of this process.
            case WorkerAnswer.RUNTIME, WorkerAnswer.ERROR -> new RuntimeException(text);
            case WorkerAnswer.MEMORY -> worker.end(WorkerEnd.Reason.MEMORY, packets);
            default -> lied();
        };
    }

    /** An exception of the channel comes out of the call as it is. */
    private void throwChannelsFailure() throws IOException {
        Throwable failure = failureOfChannel;
        failureOfChannel = null;
        if (failure instanceof IOException exception) {
            throw exception;
        }
        if (failure instanceof Error error) {
            throw error;
        }
        if (failure != null) {
            throw (RuntimeException) failure;
        }
    }

    /** Does what the worker asks for in the midst of an order. */
    private void reply(int question, Answer values) {
        int wanted = question == WorkerAnswer.READ ? values.takeInt() : 1;
        long place = question == WorkerAnswer.SEEK ? values.takeLong() : 0;
        if (!mayAsk || source == null || wanted < 1 || question != WorkerAnswer.READ && question != WorkerAnswer.SEEK
                && question != WorkerAnswer.TOTAL) {
            throw lied();
        }
        message.clear();
        try {
            put(switch (question) {
                case WorkerAnswer.READ -> read(wanted);
                case WorkerAnswer.SEEK -> source.m_seek(place);
                default -> source.m_size();
            });
        } catch (IOException | RuntimeException | Error e) {
            failureOfChannel = e;
            give(WorkerOrder.CHANNEL_FAILED);
            return;
        }
        give(WorkerOrder.REPLY);
    }

    private long read(int wanted) throws IOException {
        int count = source.m_read(Math.min(wanted, c_mediareader_source.BUFFER_SIZE));
        if (count > 0) {
            block.buffer().put(0, source.m_buffer(), 0, count);
        }
        return count;
    }

    /** Deletes what the worker made for this lane, and ends the worker when this was its last one. */
    @Override
    public void close() {
        try {
            if (!clear && !worker.isLast() && worker.isAlive()) {
                begin().order(WorkerOrder.CLEAR);
                clear = true;
            }
        } catch (RuntimeException | Error e) {
            // The worker has ended, or ends with its last lane.
        } finally {
            source = null;
            packets = 0;
            worker.closeLane(this);
        }
    }
}
