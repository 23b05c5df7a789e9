package kiv.media.ffmpeg.wall;

import java.util.Deque;
import java.util.function.Consumer;
import java.util.function.Predicate;

/**
 * The orders that a decoder gets before its caller asks for them: how many of them, and whether the caller asks for the same
 * ones.
 *
 * @param <T> what is kept of an order
 */
final class DecodingAhead<T> {

    private static final int FIRST = 2;
    /**
     * Orders are added when that part of a message's results is left. The caller then has closed the other pictures, and their
     * memory is still in the cache of the worker's processor; the worker has the next message.
     */
    private static final int LATE = 4;

    private final Lane lane;
    private final OrdersAhead<T> orders;
    private final int most;
    private final int mostBytes;
    private final Consumer<T> undone;
    /** Orders of the next message. It grows with those that are asked for one after the other. */
    private int several = FIRST;
    /** Whether others were asked for than were done. Then the caller chooses packets by itself, and gets nothing ahead. */
    private boolean surprised;

    /**
     * @param bits the orders behind one whose first result has one of them are not begun
     * @param most the most orders of a message
     * @param mostBytes the most bytes of what comes of a message
     * @param undone gets the orders that were given and not begun
     */
    DecodingAhead(Lane lane, int bits, int most, int mostBytes, Consumer<T> undone) {
        this.lane = lane;
        this.orders = new OrdersAhead<>(lane, bits);
        this.most = most;
        this.mostBytes = mostBytes;
        this.undone = undone;
    }

    /** {@return how many orders may be added now} @param bytes what comes of one */
    int room(long bytes) {
        if (surprised || !orders.hasRoom() || orders.waiting() > several / LATE) {
            return 0;
        }
        return (int) Math.max(1, Math.min(several, mostBytes / Math.max(1, bytes)));
    }

    /** {@return how many orders were given that nobody has asked for} */
    int size() {
        return orders.size();
    }

    /** Adds an order, whose values follow. */
    Lane add(T order, int kind) {
        return orders.add(order, kind);
    }

    /** Forgets the orders that were added and not given. */
    void withdraw() {
        orders.withdraw(undone);
    }

    void start() {
        several = Math.min(2 * several, most);
        orders.start();
    }

    /** {@return the results of the next order, which counts as a packet; null when another one is asked for} */
    Answer take(Predicate<T> isAskedFor) {
        if (orders.peek() == null && orders.size() > 0) {
            // Of a worker that has ended without any result it was this packet.
            lane.countResults(1);
            orders.settleOldest(undone);
            lane.countResults(-1);
        }
        if (orders.peek() == null || !isAskedFor.test(orders.peek().order())) {
            return null;
        }
        lane.countResults(1);
        return orders.take();
    }

    /**
     * Forgets all orders, so that the worker may get another one.
     *
     * @param surprise whether the caller asks for something else than the packets that come next
     * @return the orders that were done
     */
    Deque<OrdersAhead.Done<T>> drop(boolean surprise) {
        orders.settle(undone);
        Deque<OrdersAhead.Done<T>> dropped = orders.drop();
        surprised |= surprise && !dropped.isEmpty();
        if (!surprise) {
            several = FIRST;
        }
        return dropped;
    }
}
