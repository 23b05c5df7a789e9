package kiv.media.ffmpeg.wall;

import java.util.ArrayDeque;
import java.util.Arrays;
import java.util.BitSet;
import java.util.Deque;
import java.util.HashMap;
import java.util.Map;
import kiv.media.ffmpeg.natives.PictureCall;
import kiv.media.ffmpeg.natives.PictureLayout;
import kiv.media.ffmpeg.natives.PictureResult;
import kiv.media.ffmpeg.natives.WorkerAnswer;
import kiv.media.ffmpeg.natives.WorkerOrder;

/** A decoder of video behind the wall. Its pictures lie in blocks of the shared memory, at the place of an address. */
public final class RemotePictureDecoder implements PictureDecoder {

    /** No packet makes the decoder deliver more pictures. */
    private static final int MOST_PICTURES = 10_000;
    /** No decoder has so many pictures in work. */
    private static final int MOST_WANTED = 1_000;
    private static final int LARGEST_SIDE = 1 << 20;

    /** Pictures that are decoded before they are asked for: so many, and so many bytes. */
    private static final int MOST_AHEAD = 8;
    private static final int MOST_BYTES_AHEAD = 3 << 20;

    private final Lane lane;
    /** The slots of the blocks that the decoder has. */
    private final BitSet slots = new BitSet();
    private int results;
    /** How many were set that the worker does not know. */
    private int options;
    private final DecodingAhead<Given> ahead;
    private final PacketHistory history = new PacketHistory();
    /** What is decoded again, and behind it the packet before which it must be; mostly empty. */
    private final Deque<PacketHistory.Asked> again = new ArrayDeque<>();
    /** Whether the first one of these was given. */
    private boolean begun;
    /** How many pictures of which packet come again. */
    private Map<Long, Integer> repeated = new HashMap<>();
    /** Whether the last result wants the next call. */
    private boolean unfinished;
    /** Memory for pictures that the decoder does not know, as calls have it, and slots of pictures that were closed. */
    private final Deque<long[]> blocks = new ArrayDeque<>();
    private final Deque<Long> closed = new ArrayDeque<>();
    /** Slots that the decoder released in results that nobody got. */
    private final Deque<Long> released = new ArrayDeque<>();
    /** Pictures that come with others. */
    private final Deque<Kept> kept = new ArrayDeque<>();
    /** How many slots the worker was told of, and has not taken before the last results. */
    private int told;
    /** How many more blocks the decoder has free behind the orders in work, if FFmpeg keeps as many as it has. */
    private int inWork;
    /** As {@link PictureCall#WANTED} of the last results. */
    private long wanted;
    private long wantedBytes;
    /** Arrays that are used again. */
    private final Deque<long[]> spare = new ArrayDeque<>();

    /** A packet that is decoded before it is asked for. */
    private record Given(PacketAhead packet, int flags, long[] call) {
        /** {@return how many blocks the order brings, less the one of its picture} */
        int free() {
            return (int) (call[PictureCall.STOCKED] + call[PictureCall.CLOSED]) - 1;
        }

        boolean is(byte[] bytes, int length, int otherFlags, long key) {
            return flags == otherFlags && call[PictureCall.KEY] == key && packet.has(bytes, 0, length);
        }
    }

    private record Kept(int result, long[] call) {
        int into(long[] other) {
            System.arraycopy(call, 0, other, 0, call.length);
            return result;
        }
    }

    private RemotePictureDecoder(Lane lane) {
        this.lane = lane;
        this.ahead = new DecodingAhead<>(lane, PictureResult.MORE | PictureResult.MEMORY, MOST_AHEAD, MOST_BYTES_AHEAD,
                this::takeBack);
    }

    /**
     * Makes a decoder of a stream.
     *
     * @param lane becomes the decoder's, and is closed when this fails
     * @param stream laid out as {@link kiv.media.ffmpeg.natives.StreamFields}
     * @param extradata the codec's private data
     * @return the decoder, which is not open
     */
    public static RemotePictureDecoder of(Lane lane, long[] stream, byte[] extradata) {
        return create(lane, () -> lane.begin().put(stream).put(extradata).order(WorkerOrder.VIDEO_CREATE));
    }

    /**
     * Makes a decoder of a media subtype.
     *
     * @param lane becomes the decoder's, and is closed when this fails
     * @param subtype the text of the GUID
     * @param format laid out as {@link kiv.media.ffmpeg.natives.VideoFormatLayout}
     * @param extradata the codec's private data
     * @return the decoder, which is not open
     */
    public static RemotePictureDecoder of(Lane lane, String subtype, int[] format, byte[] extradata) {
        return create(lane, () -> lane.begin().put(subtype).put(format).put(extradata)
                .order(WorkerOrder.VIDEO_CREATE_OF_SUBTYPE));
    }

    private static RemotePictureDecoder create(Lane lane, Runnable order) {
        lane.create(order);
        return new RemotePictureDecoder(lane);
    }

    /** Sets an option of a decoder that is not open. What is wrong with it comes out of {@link #open()}. */
    @Override
    public void setOption(String name, long value) {
        if (options++ == 0) {
            lane.beginSeveral(0, Integer.MAX_VALUE);
        }
        lane.add(WorkerOrder.VIDEO_OPTION).put(name).put(value);
    }

    @Override
    public boolean open() {
        if (options == 0) {
            return lane.begin().order(WorkerOrder.VIDEO_OPEN).takeInt() != 0;
        }
        lane.add(WorkerOrder.VIDEO_OPEN).start();
        Answer all = lane.finish();
        for (; options > 0; options--) {
            next(all);
        }
        return next(all).takeInt() != 0;
    }

    /** {@return the results of the next of several orders} */
    private Answer next(Answer all) {
        int kind = all.takeInt();
        Answer results = all.takeAnswer();
        if (kind == WorkerAnswer.DONE) {
            return results;
        }
        throw kind == WorkerAnswer.FAILED && lane.failureOf(results) instanceof RuntimeException failure ? failure : lane.lied();
    }

    @Override
    public int decode(byte[] packet, int length, int flags, long[] call) {
        int result = take(packet, length, flags, call);
        if ((result & PictureResult.PICTURE) != 0) {
            history.deliver(call);
        }
        return result;
    }

    private int take(byte[] packet, int length, int flags, long[] call) {
        if (ahead.size() > 0 || !kept.isEmpty()) {
            collect(call);
        }
        if (length > 0 || flags != 0) {
            results = 0;
            kept.clear();
            Answer early = ahead.take(given -> given.is(packet, length, flags, call[PictureCall.KEY]) && isTaken(given));
            if (early != null) {
                remember(packet, length, flags, call);
                return checked(early, call, true);
            }
            lane.countPacket();
            if (forgetAhead(true)) {
                goBack(packet, length, flags, call);
            } else if (!again.isEmpty()) {
                again.add(asked(packet, length, flags, call)); // there was no memory for a picture before
            }
            remember(packet, length, flags, call);
        } else if (again.isEmpty() && !kept.isEmpty()) {
            return kept.remove().into(call);
        }
        int result = again.isEmpty() ? decodeNow(packet, length, flags, call) : decodeAgain(call);
        if (kept.isEmpty() || !again.isEmpty()) {
            return result;
        }
        kept.add(new Kept(result, call.clone()));
        return kept.remove().into(call);
    }

    private boolean isTaken(Given given) {
        inWork -= given.free();
        return spare.add(given.call);
    }

    private void remember(byte[] packet, int length, int flags, long[] call) {
        if (length > 0) {
            history.add(packet, length, flags, call[PictureCall.KEY]);
        }
    }

    /** The decoder has seen packets that it should not have. The one that is asked for is decoded without them. */
    private void goBack(byte[] packet, int length, int flags, long[] call) {
        if (history.isComplete()) {
            lane.begin().order(WorkerOrder.VIDEO_RESET);
            repeated = history.delivered();
            again.addAll(history.packets());
            again.add(asked(packet, length, flags, call));
        }
    }

    private static PacketHistory.Asked asked(byte[] packet, int length, int flags, long[] call) {
        return new PacketHistory.Asked(length == 0 ? new byte[0] : Arrays.copyOf(packet, length), flags, call[PictureCall.KEY]);
    }

    /** Decodes what was decoded before, and then the packet that is asked for. It returns when memory is wanted, too. */
    private int decodeAgain(long[] call) {
        long key = call[PictureCall.KEY];
        for (;;) {
            PacketHistory.Asked next = again.element();
            boolean isLast = again.size() == 1;
            call[PictureCall.KEY] = next.key();
            int result = 0;
            try {
                result = decodeNow(next.bytes(), begun ? 0 : next.bytes().length, begun ? 0 : next.flags(), call);
            } catch (RuntimeException | Error e) {
                if (isLast || !lane.worker().isAlive()) {
                    again.clear();
                    throw e;
                }
                // It failed before, too.
            }
            call[PictureCall.KEY] = key;
            begun = !isLast && (result & (PictureResult.MORE | PictureResult.MEMORY)) != 0;
            if (!begun) {
                again.remove();
            }
            if (isLast) {
                return result;
            }
            putBackReleased(call);
            call[PictureCall.STOCKED] = 0;
            call[PictureCall.CLOSED] = 0;
            call[PictureCall.ERRORS] = 0;
            if ((result & PictureResult.PICTURE) != 0) {
                kept.add(new Kept(PictureResult.PICTURE | PictureResult.MORE, call.clone()));
            }
            if ((result & PictureResult.MEMORY) != 0) {
                return PictureResult.MEMORY;
            }
        }
    }

    private void putBackReleased(long[] call) {
        for (int i = 0; i < call[PictureCall.RELEASED]; i++) {
            released.add(call[PictureCall.RELEASED_SLOTS + i]);
        }
        call[PictureCall.RELEASED] = 0;
    }

    private int decodeNow(byte[] packet, int length, int flags, long[] call) {
        if (!blocks.isEmpty() || !closed.isEmpty()) {
            collect(call);
            provide(call);
        }
        for (int block = 0; block < call[PictureCall.STOCKED]; block++) {
            slots.set((int) call[PictureCall.BLOCKS + block * PictureCall.BLOCK_SIZE + PictureCall.BLOCK_SLOT]);
        }
        return checked(lane.begin().put(flags).put(call).put(packet, 0, length).order(WorkerOrder.VIDEO_DECODE), call, false);
    }

    /** Takes the results of a packet, and checks them. */
    private int checked(Answer answer, long[] call, boolean early) {
        int result = answer.takeInt();
        answer.takeLongs(call);
        if (!isPossible(result, call)) {
            throw lane.lied();
        }
        if ((result & PictureResult.PICTURE) != 0 && repeated.getOrDefault(call[PictureCall.PICTURE_KEY], 0) > 0) {
            repeated.merge(call[PictureCall.PICTURE_KEY], -1, Integer::sum);
            close(call[PictureCall.SLOT]);
            result &= ~PictureResult.PICTURE;
        }
        unfinished = (result & (PictureResult.MORE | PictureResult.MEMORY)) != 0;
        wanted = call[PictureCall.WANTED];
        wantedBytes = call[PictureCall.WANTED_BYTES];
        if (early && !unfinished) {
            call[PictureCall.WANTED] = 0; // it comes with the next packets
        }
        while (!released.isEmpty() && call[PictureCall.RELEASED] < PictureCall.MOST_RELEASED) {
            call[PictureCall.RELEASED_SLOTS + (int) call[PictureCall.RELEASED]++] = released.remove();
        }
        return result;
    }

    /** Takes over what a call provides. */
    private void collect(long[] call) {
        for (int block = 0; block < call[PictureCall.STOCKED]; block++) {
            int at = PictureCall.BLOCKS + block * PictureCall.BLOCK_SIZE;
            blocks.add(Arrays.copyOfRange(call, at, at + PictureCall.BLOCK_SIZE));
        }
        call[PictureCall.STOCKED] = 0;
        for (int i = 0; i < call[PictureCall.CLOSED]; i++) {
            close(call[PictureCall.CLOSED_SLOTS + i]);
        }
        call[PictureCall.CLOSED] = 0;
        while (!closed.isEmpty() && lane.works() && lane.tellClosed((int) (long) closed.element())) {
            closed.remove();
            told++;
        }
    }

    /** The decoder may use a block again, unless it has released it before. Another block has the slot then. */
    private void close(long slot) {
        if (slots.get((int) slot)) {
            closed.add(slot);
        }
    }

    /** Puts into a call what was taken over, as far as there is room. */
    private void provide(long[] call) {
        int count = 0;
        for (; count < PictureCall.MOST_BLOCKS && !blocks.isEmpty(); count++) {
            long[] block = blocks.remove();
            System.arraycopy(block, 0, call, PictureCall.BLOCKS + count * PictureCall.BLOCK_SIZE, block.length);
            slots.set((int) block[PictureCall.BLOCK_SLOT]);
        }
        call[PictureCall.STOCKED] = count;
        for (count = 0; count < PictureCall.MOST_CLOSED && !closed.isEmpty(); count++) {
            call[PictureCall.CLOSED_SLOTS + count] = closed.remove();
        }
        call[PictureCall.CLOSED] = count;
    }

    @Override
    public void expectAhead() {
        history.keep();
    }

    @Override
    public int room() {
        return !history.isComplete() || unfinished || wantedBytes == 0 ? 0 : ahead.room(wantedBytes);
    }

    @Override
    public int taken() {
        return ahead.size();
    }

    @Override
    public long[] nextCall() {
        long[] call = spare.isEmpty() ? new long[PictureCall.SIZE] : spare.remove();
        // The picture of this packet takes one block.
        call[PictureCall.WANTED] = Math.max(0, wanted + 1 - inWork - told - closed.size() - blocks.size());
        call[PictureCall.WANTED_BYTES] = wantedBytes;
        return call;
    }

    @Override
    public void add(PacketAhead packet, int flags, long[] call) {
        collect(call);
        provide(call);
        Given given = new Given(packet, flags, call);
        inWork += given.free();
        ahead.add(given, WorkerOrder.VIDEO_DECODE).put(flags).put(call).put(packet);
    }

    /** The worker did not begin the order. */
    private void takeBack(Given given) {
        inWork -= given.free();
        collect(given.call);
    }

    @Override
    public void withdraw() {
        ahead.withdraw();
    }

    @Override
    public void start() {
        ahead.start();
    }

    /**
     * Drops what was decoded for nobody.
     *
     * @param surprise whether the caller asks for something else than the packets that come next
     * @return whether there was something
     */
    private boolean forgetAhead(boolean surprise) {
        Deque<OrdersAhead.Done<Given>> dropped = ahead.drop(surprise);
        inWork = 0;
        for (OrdersAhead.Done<Given> one : dropped) {
            if (one.failed()) {
                continue;
            }
            long[] call = new long[PictureCall.SIZE];
            int result = one.answer().takeInt();
            one.answer().takeLongs(call);
            results = 0;
            if (!isPossible(result, call)) {
                throw lane.lied();
            }
            putBackReleased(call);
            if ((result & PictureResult.PICTURE) != 0) {
                close(call[PictureCall.SLOT]);
            }
        }
        return !dropped.isEmpty();
    }

    private boolean isPossible(int result, long[] call) {
        // Less than nothing is wanted when the decoder has more free blocks than it needs.
        if (++results > MOST_PICTURES || call[PictureCall.WANTED] < -MOST_WANTED || call[PictureCall.WANTED] > MOST_WANTED
                || !isWithin(call[PictureCall.WANTED_BYTES], Integer.MAX_VALUE)
                || !isWithin(call[PictureCall.RELEASED], PictureCall.MOST_RELEASED)
                || !isWithin(call[PictureCall.CLOSED], told)
                || (result & PictureResult.PICTURE) != 0 && !isPicture(call)) {
            return false;
        }
        for (int i = 0; i < call[PictureCall.RELEASED]; i++) {
            long slot = call[PictureCall.RELEASED_SLOTS + i];
            if (!isSlot(slot)) {
                return false;
            }
            slots.clear((int) slot);
            closed.remove(slot);
        }
        told -= (int) call[PictureCall.CLOSED];
        call[PictureCall.CLOSED] = 0; // the next call would take it for a list of slots
        return true;
    }

    /** Whether all that is no mere number of the picture's can be. Who makes the picture checks it against its block. */
    private boolean isPicture(long[] call) {
        for (int plane = 0; plane < PictureLayout.PLANES; plane++) {
            if (!isWithin(call[PictureCall.PLANE_OFFSETS + plane], Integer.MAX_VALUE)
                    || !isWithin(call[PictureCall.LINE_SIZES + plane], Integer.MAX_VALUE)) {
                return false;
            }
        }
        return isSlot(call[PictureCall.SLOT]) && call[PictureCall.WIDTH] > 0 && call[PictureCall.HEIGHT] > 0
                && call[PictureCall.WIDTH] <= LARGEST_SIDE && call[PictureCall.HEIGHT] <= LARGEST_SIDE;
    }

    private boolean isSlot(long slot) {
        return isWithin(slot, Integer.MAX_VALUE) && slots.get((int) slot);
    }

    private static boolean isWithin(long value, long most) {
        return value >= 0 && value <= most;
    }

    @Override
    public void reset() {
        forgetAhead(false);
        kept.clear();
        again.clear();
        begun = false;
        repeated.clear();
        history.clear();
        lane.begin().order(WorkerOrder.VIDEO_RESET);
        unfinished = false;
    }

    @Override
    public SharedMemory memory() {
        return lane.memory();
    }

    @Override
    public void delete() {
        lane.close();
    }
}
