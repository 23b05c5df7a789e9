package kiv.media.ffmpeg.wall;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.function.Consumer;
import kiv.media.ffmpeg.natives.WorkerAnswer;

/**
 * Orders that a worker does while their caller does something else, and their results until they are asked for. They come in
 * messages of several. Two messages may be in work, so that the worker need not wait for the second one.
 *
 * @param <T> what is kept of an order
 */
final class OrdersAhead<T> {

    /** Bytes of results behind which no other order is begun. */
    private static final int MOST_BYTES = 512 * 1024;

    /** An order that is done. */
    record Done<T>(T order, boolean failed, Answer answer) {
    }

    private final Lane lane;
    private final int bits;
    /** Orders of the next message. */
    private Deque<T> added = new ArrayDeque<>();
    /** Orders of the messages in work, the oldest message first. */
    private final Deque<Deque<T>> given = new ArrayDeque<>();
    private final Deque<Done<T>> done = new ArrayDeque<>();
    /** Whether the worker waits because of the last one that is done. */
    private boolean stopped;
    /** Holds the results. */
    private byte[] room = {};

    /** @param bits the orders behind one whose first result has one of them are not done */
    OrdersAhead(Lane lane, int bits) {
        this.lane = lane;
        this.bits = bits;
    }

    /** Adds an order, whose values follow, to the next message. */
    Lane add(T order, int kind) {
        if (added.isEmpty()) {
            lane.beginSeveral(bits, MOST_BYTES);
        }
        added.add(order);
        return lane.add(kind);
    }

    /** Gives the next message, if it has orders. */
    void start() {
        if (!added.isEmpty()) {
            lane.start();
            given.add(added);
            added = new ArrayDeque<>();
        }
    }

    /** Forgets the next message, which may lack a part. @param undone gets its orders */
    void withdraw(Consumer<T> undone) {
        added.forEach(undone);
        added.clear();
    }

    /** {@return whether the worker may get another message} */
    boolean hasRoom() {
        return !stopped && lane.hasRoom();
    }

    /** {@return how many orders are done whose results nobody has asked for} */
    int waiting() {
        return done.size();
    }

    /** {@return how many orders were given or done whose results nobody has asked for} */
    int size() {
        int size = done.size();
        for (Deque<T> message : given) {
            size += message.size();
        }
        return size;
    }

    /**
     * Waits for the results of the oldest message in work. Those behind it are taken too when the worker did not go on to them.
     *
     * @param undone gets the orders that were not begun
     */
    void settleOldest(Consumer<T> undone) {
        if (given.isEmpty()) {
            return;
        }
        Deque<T> orders = given.remove();
        boolean ended = false;
        Answer all;
        try {
            all = copy(lane.finish());
        } catch (RuntimeException | Error e) {
            all = copy(lane.left());
            if (all.isEmpty()) {
                throw e;
            }
            // The next order, which ended the worker, throws it again.
            lane.countResults(1);
            ended = true;
        }
        do {
            stopped = take(orders, all);
        } while (!all.isEmpty());
        stopped |= !orders.isEmpty();
        orders.forEach(undone);
        while (stopped && !given.isEmpty()) {
            given.remove().forEach(undone);
            ended = ended || !isSkipped();
        }
    }

    /** Waits for a message that the worker did not begin. {@return false when the worker has ended: the next order throws it} */
    private boolean isSkipped() {
        try {
            if (!lane.finish().isEmpty()) {
                throw lane.lied();
            }
            return true;
        } catch (RuntimeException | Error e) {
            return false; // what is done before is the caller's
        }
    }

    /** Takes over what was made of the next order. {@return whether the worker begins no other one behind it} */
    private boolean take(Deque<T> orders, Answer all) {
        int kind = all.takeInt();
        if (orders.isEmpty() || kind != WorkerAnswer.DONE && kind != WorkerAnswer.FAILED) {
            throw lane.lied();
        }
        Answer answer = all.takeAnswer();
        boolean failed = kind == WorkerAnswer.FAILED;
        done.add(new Done<>(orders.remove(), failed, answer));
        return failed || answer.size() < Integer.BYTES || (answer.peekInt() & bits) != 0;
    }

    /** Waits for the results of all messages in work. @param undone gets the orders that were not begun */
    void settle(Consumer<T> undone) {
        while (!given.isEmpty()) {
            settleOldest(undone);
        }
    }

    private Answer copy(Answer results) {
        if (!done.isEmpty() || room.length < results.size()) {
            room = new byte[results.size() + results.size() / 2];
        }
        return results.copy(room);
    }

    /** {@return the oldest order that is done; null for none} */
    Done<T> peek() {
        return done.peek();
    }

    /** Takes the results of the oldest order. @throws RuntimeException when it failed */
    Answer take() {
        Done<T> oldest = done.remove();
        stopped &= !done.isEmpty();
        if (!oldest.failed) {
            return oldest.answer;
        }
        try {
            Lane.throwIfAny(lane.failureOf(oldest.answer));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
        throw lane.lied();
    }

    /** Forgets all orders; {@link #settle} was called. {@return those that were done} */
    Deque<Done<T>> drop() {
        Deque<Done<T>> dropped = new ArrayDeque<>(done);
        done.clear();
        stopped = false;
        return dropped;
    }
}
