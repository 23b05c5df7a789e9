package kiv.media.ffmpeg.wall;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.VarHandle;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.Deque;
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

    private static final int ANY_STREAM = -1;
    private static final int USUAL_AREA = 64 * 1024;
    /** No message is larger: a packet or an extradata of FFmpeg's has 31 bits, and memory has a limit. */
    private static final int LARGEST_AREA = 1 << 30;
    private static final VarHandle INTS = MethodHandles.byteBufferViewVarHandle(int[].class, ByteOrder.nativeOrder());

    private final Worker worker;
    private final int number;
    private final ByteBuffer fields;
    private final Half[] halves = {new Half(0), new Half(1)};
    /** The half where values of an order are put. */
    private Half half = halves[0];
    /** The number of the half that the next order uses. */
    private int next;
    /** Halves with several orders whose results nobody has taken, the oldest first. */
    private final Deque<Half> inWork = new ArrayDeque<>();
    /** The half whose results were waited for last. */
    private Half waited = halves[0];
    private final ChannelQuestions channel = new ChannelQuestions(this);
    private long packets;
    private int stream = ANY_STREAM;
    private boolean clear = true;
    /** Whether the worker may ask for the channel now. */
    private boolean mayAsk;
    /** How many slots were written into the lane. */
    private int closedSlots;
    /** Where the length of the newest of several orders is in the message; 0 for none. */
    private int lengthOfNewest;

    /** One of the two that orders use in turn. */
    private static final class Half {
        private final int number;
        /** Where its fields begin. */
        private final int at;
        private SharedMemory.Block area;
        /** Its position is where the next value of an order is put. */
        private ByteBuffer message;
        private int turn;

        Half(int number) {
            this.number = number;
            this.at = number * WorkerLane.HALF_SIZE;
        }
    }

    Lane(Worker worker, int number) {
        this.worker = worker;
        this.number = number;
        this.fields = worker.memory().lane(number);
        for (Half one : halves) {
            setArea(one, allocate(USUAL_AREA));
        }
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

    /** Says of which stream the packets of the lane's object are, for the exception when the worker ends. */
    public void setStream(int index) {
        stream = index;
    }

    /** Counts a packet, for the exception when the worker ends. */
    void countPacket() {
        if (worker.isAlive()) {
            packets++;
        }
    }

    /** Counts packets of whose results the caller gets, also when the worker has ended since. */
    void countResults(int more) {
        packets += more;
    }

    long packets() {
        return packets;
    }

    int stream() {
        return stream;
    }

    /**
     * Provides the bytes of the container that the worker reads.
     *
     * @param bytes the bytes
     * @param kind what they are, one of {@link c_mediareader_source}
     */
    void provide(c_mediareader_source bytes, int kind) {
        SharedMemory.Block block = channel.provide(bytes, kind);
        fields.putLong(WorkerLane.BLOCK, block.offset());
        fields.putInt(WorkerLane.BLOCK_SIZE, block.buffer().capacity());
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

    SharedMemory.Block allocate(int size) {
        SharedMemory.Block allocated = worker.memory().allocate(size);
        if (allocated == null) {
            throw new OutOfMemoryError("no shared memory left for a message of " + size + " bytes");
        }
        return allocated;
    }

    private void setArea(Half of, SharedMemory.Block larger) {
        of.area = larger;
        of.message = larger.buffer().duplicate().order(ByteOrder.nativeOrder());
        fields.putLong(of.at + WorkerLane.AREA, larger.offset());
        fields.putInt(of.at + WorkerLane.AREA_SIZE, larger.buffer().capacity());
    }

    /** Makes room behind what is written. */
    private ByteBuffer room(int bytes) {
        if (half.message.remaining() < bytes) {
            long wanted = Math.max(2L * half.message.capacity(), (long) half.message.position() + bytes);
            SharedMemory.Block old = half.area;
            ByteBuffer written = half.message.flip();
            setArea(half, allocate((int) Math.min(wanted, LARGEST_AREA)));
            half.message.put(written);
            old.release();
        }
        return half.message;
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

    Lane put(PacketAhead packet) {
        put(packet.length());
        room(packet.length()).put(packet.bytes().duplicate());
        return this;
    }

    Lane put(String text) {
        return put(text.getBytes(StandardCharsets.UTF_8));
    }

    /** Begins an order. No other one is in work. */
    Lane begin() {
        worker.check(this);
        if (works()) {
            throw new IllegalStateException("the orders before are in work");
        }
        return beginNext();
    }

    private Lane beginNext() {
        half = halves[next];
        half.message.clear();
        lengthOfNewest = 0;
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

    /**
     * Begins several orders, which the worker does one after the other, behind those that are in work. It begins none of them
     * when it has not begun all of those before, or they stop it.
     *
     * @param bits the orders behind one whose first result has one of them are not begun
     * @param most bytes of results behind which no other order is begun
     */
    Lane beginSeveral(int bits, int most) {
        worker.check(this);
        return beginNext().put(bits).put(most).put(inWork.isEmpty() ? 0 : 1);
    }

    /** Adds an order, whose values follow. */
    Lane add(int kind) {
        endNewest();
        put(kind).put(0);
        lengthOfNewest = half.message.position() - Integer.BYTES;
        return this;
    }

    private void endNewest() {
        if (lengthOfNewest != 0) {
            half.message.putInt(lengthOfNewest, half.message.position() - lengthOfNewest - Integer.BYTES);
            lengthOfNewest = 0;
        }
    }

    /** Gives the orders that were added, whose results are waited for later. The worker must not use the channel. */
    void start() {
        endNewest();
        mayAsk = false;
        channel.beginOrder();
        clear = false;
        if (inWork.isEmpty()) {
            memory().count().beginWork();
        }
        inWork.add(half);
        giveNext(WorkerOrder.SEVERAL);
    }

    /** Tells the worker, also while it works, that the picture in a block was closed. {@return false when there is no room} */
    boolean tellClosed(int slot) {
        int untaken = closedSlots - (int) INTS.getAcquire(fields, WorkerLane.CLOSED_TAKEN);
        if (untaken < 0 || untaken >= WorkerLane.MOST_CLOSED) {
            return false;
        }
        fields.putInt(WorkerLane.CLOSED_SLOTS + Math.floorMod(closedSlots, WorkerLane.MOST_CLOSED) * Integer.BYTES, slot);
        INTS.setRelease(fields, WorkerLane.CLOSED, ++closedSlots);
        return true;
    }

    /** {@return whether several orders were started whose results nobody has taken} */
    boolean works() {
        return !inWork.isEmpty();
    }

    /** {@return whether several orders can be started before the results of others are taken} */
    boolean hasRoom() {
        return inWork.size() < WorkerLane.HALVES;
    }

    /** Waits for the results of the oldest orders that were started. {@return for each that was begun a number and a list} */
    Answer finish() {
        try {
            return answer(takeOldest(), false);
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** {@return what the orders have got that were waited for last, and an ended worker did not finish} */
    Answer left() {
        boolean isPart = fields.getInt(waited.at + WorkerLane.KIND) == WorkerAnswer.PART;
        return new Answer(this, waited.area.buffer(), isPart ? fields.getInt(waited.at + WorkerLane.LENGTH) : 0);
    }

    /** Gives the orders that were added, and waits for their results. The worker may use the channel. */
    Answer severalWithChannel() throws IOException {
        start();
        mayAsk = true;
        return answer(takeOldest(), true);
    }

    private Half takeOldest() {
        Half oldest = inWork.remove();
        if (inWork.isEmpty()) {
            memory().count().endWork();
        }
        return oldest;
    }

    private Answer answerTo(int kind) throws IOException {
        channel.beginOrder();
        clear = false;
        giveNext(kind);
        Answer values = answer(half, true);
        throwChannelsFailure();
        return values;
    }

    /** Waits for results. A failure of the channel may be left. @param soon whether they come within some microseconds */
    private Answer answer(Half of, boolean soon) throws IOException {
        waited = of;
        boolean again = false;
        for (;;) {
            take(of, soon);
            int answer = fields.getInt(of.at + WorkerLane.KIND);
            Answer values = new Answer(this, of.area.buffer(), fields.getInt(of.at + WorkerLane.LENGTH));
            switch (answer) {
                case WorkerAnswer.DONE -> {
                    return values;
                }
                case WorkerAnswer.FAILED -> throw failed(values);
                case WorkerAnswer.LARGER -> {
                    int size = values.takeInt();
                    if (again || size <= of.area.buffer().capacity() || size > LARGEST_AREA) {
                        throw lied();
                    }
                    again = true;
                    enlarge(of, size);
                    give(of, WorkerOrder.AGAIN);
                }
                default -> {
                    if (!mayAsk) {
                        throw lied();
                    }
                    reply(answer, values);
                }
            }
        }
    }

    /** Takes a larger area in place of the old one. What the worker has taken of the shared memory is its own fault. */
    private void enlarge(Half of, int size) {
        SharedMemory.Block old = of.area;
        SharedMemory.Block larger = worker.memory().allocate(size);
        if (larger == null) {
            throw worker.end(WorkerEnd.Reason.MEMORY, this);
        }
        setArea(of, larger);
        old.release();
    }

    /** Gives the order whose values were put. The next one uses the other half. */
    private void giveNext(int kind) {
        next = (next + 1) % WorkerLane.HALVES;
        give(half, kind);
    }

    private void give(Half of, int kind) {
        fields.putInt(of.at + WorkerLane.KIND, kind);
        fields.putInt(of.at + WorkerLane.LENGTH, of.message.position());
        of.turn++;
        c_workers_ffmpeg.n_give_turn(worker.handle(), number, of.number, of.turn);
        of.message.clear();
    }

    private void take(Half of, boolean soon) {
        int result = c_workers_ffmpeg.n_take_turn(worker.handle(), number, of.number, of.turn,
                soon && !WorkerCount.isCrowded(), worker.limits().deadline());
        switch (result) {
            case c_workers_ffmpeg.ANSWERED -> of.turn++;
            case c_workers_ffmpeg.ENDED -> throw worker.ended(this);
            case c_workers_ffmpeg.SILENT -> throw worker.end(WorkerEnd.Reason.DEADLINE, this);
            default -> throw lied();
        }
    }

    /** Ends the worker for an answer that cannot be. {@return the exception for it} */
    RuntimeException lied() {
        return worker.end(WorkerEnd.Reason.LIE, this);
    }

    private RuntimeException failed(Answer values) throws IOException {
        int failure = values.takeInt();
        String text = values.takeText();
        throwChannelsFailure();
        return failed(failure, text);
    }

    /** {@return why one of several orders failed; what the channel threw, when it did} */
    Throwable failureOf(Answer values) {
        int failure = values.takeInt();
        String text = values.takeText();
        Throwable ofChannel = failureOfChannel();
        return ofChannel != null ? ofChannel : failed(failure, text);
    }

    /** {@return what the channel threw during the last order, once; null when it did not} */
    Throwable failureOfChannel() {
        return channel.takeFailure();
    }

    private RuntimeException failed(int failure, String text) {
        return switch (failure) {
            // An error of the worker's is none of this process.
            case WorkerAnswer.RUNTIME, WorkerAnswer.ERROR -> new RuntimeException(text);
            case WorkerAnswer.MEMORY -> worker.end(WorkerEnd.Reason.MEMORY, this);
            default -> lied();
        };
    }

    /** An exception of the channel comes out of the call as it is. */
    private void throwChannelsFailure() throws IOException {
        throwIfAny(failureOfChannel());
    }

    /** Throws what one of several orders or the channel failed with, unless it is null. */
    static void throwIfAny(Throwable failure) throws IOException {
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
        Long reply = channel.answer(question, values);
        half.message.clear();
        if (reply != null) {
            put((long) reply);
        }
        give(half, reply == null ? WorkerOrder.CHANNEL_FAILED : WorkerOrder.REPLY);
    }

    /** Releases the memory of a lane whose worker has ended. */
    void release() {
        for (Half one : halves) {
            one.area.release();
        }
        channel.release();
    }

    /**
     * Deletes what the worker made for this lane, at once or a moment later, and ends the worker when this was its last one.
     * Until then nobody else gets the memory that was shared for it.
     */
    @Override
    public void close() {
        channel.forget();
        if (clear || !worker.closeLater(this)) {
            closeNow();
        }
    }

    /** As {@link #close()}, and waits for it. */
    void closeNow() {
        try {
            if (!clear && !worker.isLast() && worker.isAlive()) {
                while (works()) {
                    finish();
                }
                begin().order(WorkerOrder.CLEAR);
                clear = true;
            }
        } catch (RuntimeException | Error e) {
            // The worker has ended, or ends with its last lane.
        } finally {
            packets = 0;
            stream = ANY_STREAM;
            while (works()) {
                takeOldest();
            }
            try {
                if (clear) {
                    releaseLargeAreas();
                }
            } finally {
                worker.closeLane(this);
            }
        }
    }

    /** Takes usual areas in place of large ones, if there is memory for them. */
    private void releaseLargeAreas() {
        for (Half one : halves) {
            SharedMemory.Block old = one.area;
            SharedMemory.Block usual = old.buffer().capacity() > USUAL_AREA ? memory().allocate(USUAL_AREA) : null;
            if (usual != null) {
                setArea(one, usual);
                old.release();
            }
        }
    }
}
