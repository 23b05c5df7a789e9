package kiv.media.ffmpeg.wall;

import java.io.IOException;
import kiv.media.ffmpeg.natives.WorkerAnswer;
import kiv.media.ffmpeg.natives.c_mediareader_source;

/**
 * The channel of a medium, of which a worker asks for bytes, places and the size in the midst of an order. A question that no
 * reader of a medium asks ends the worker.
 */
final class ChannelQuestions {

    /** No order needs more places or sizes of the channel before it reads a byte, or asks more often once the channel failed. */
    private static final int MOST_IDLE = 100_000;
    /** No order reads more than that and a film as often as that. */
    private static final long MOST_READ = 1L << 30;
    private static final int MOST_TIMES = 64;
    /** Bytes of a file that are read at once. */
    private static final int LARGEST_READ = 4 * c_mediareader_source.BUFFER_SIZE;

    private final Lane lane;
    private c_mediareader_source source;
    private int kind;
    /** Through which the bytes pass. */
    private SharedMemory.Block block;
    /** What the channel threw behind bytes of a file that were read ahead. */
    private Throwable failureAhead;
    private Throwable failure;
    /** Questions since one brought bytes of the film. */
    private int idle;
    /** Bytes of the film that the order has read. */
    private long brought;

    ChannelQuestions(Lane lane) {
        this.lane = lane;
    }

    /**
     * Answers questions about a channel from now on.
     *
     * @param bytes the channel
     * @param kindOfBytes one of {@link c_mediareader_source}
     * @return the block through which the bytes pass
     */
    SharedMemory.Block provide(c_mediareader_source bytes, int kindOfBytes) {
        if (block == null) {
            block = lane.allocate(LARGEST_READ);
        }
        source = bytes;
        kind = kindOfBytes;
        failureAhead = null;
        return block;
    }

    /** Answers no question any more. */
    void forget() {
        source = null;
    }

    void release() {
        if (block != null) {
            block.release();
        }
    }

    void beginOrder() {
        failure = null;
        idle = 0;
        brought = 0;
    }

    /** {@return what the channel threw during the order, once; null when it did not} */
    Throwable takeFailure() {
        Throwable taken = failure;
        failure = null;
        return taken;
    }

    /** {@return the answer; null when the channel failed} */
    Long answer(int question, Answer values) {
        int wanted = question == WorkerAnswer.READ ? values.takeInt() : 1;
        long place = question == WorkerAnswer.SEEK ? values.takeLong() : 0;
        long readAt = question == WorkerAnswer.READ ? values.takeLong() : c_mediareader_source.NEXT;
        if (source == null || wanted < 1 || place < 0
                || (kind == c_mediareader_source.FILE ? readAt < c_mediareader_source.NEXT
                        : readAt != c_mediareader_source.NEXT)
                || ++idle > MOST_IDLE
                || question != WorkerAnswer.READ && question != WorkerAnswer.SEEK && question != WorkerAnswer.TOTAL) {
            throw lane.lied();
        }
        try {
            return switch (question) {
                case WorkerAnswer.READ -> read(readAt, wanted);
                case WorkerAnswer.SEEK -> source.m_seek(place);
                default -> source.m_size();
            };
        } catch (IOException | RuntimeException | Error e) {
            if (isBehindEnd(Math.max(place, readAt))) {
                throw lane.lied();
            }
            failure = e;
            return null;
        }
    }

    /** Whether a place is none of the film's. The library asks for no such place. */
    private boolean isBehindEnd(long place) {
        try {
            return place > 0 && source.m_size() >= 0 && place > source.m_size();
        } catch (IOException | RuntimeException e) {
            return false;
        }
    }

    private long read(long place, int wanted) throws IOException {
        if (kind != c_mediareader_source.FORWARD && brought > MOST_READ && source.m_size() >= 0
                && brought / MOST_TIMES > source.m_size()) {
            throw lane.lied();
        }
        Throwable earlier = failureAhead;
        failureAhead = null;
        Lane.throwIfAny(earlier);
        if (place != c_mediareader_source.NEXT) {
            source.m_seek(place);
        }
        int count = kind == c_mediareader_source.FILE ? readAhead(wanted)
                : readPiece(0, Math.min(wanted, c_mediareader_source.BUFFER_SIZE));
        if (count > 0) {
            idle = 0;
            brought += count;
        }
        return count;
    }

    /** Reads as much of a file as the block holds. What fails behind the first bytes fails when somebody wants them. */
    private int readAhead(int wanted) throws IOException {
        int most = Math.min(wanted, LARGEST_READ);
        int all = readPiece(0, Math.min(most, c_mediareader_source.BUFFER_SIZE));
        int count = all;
        while (count == c_mediareader_source.BUFFER_SIZE && all < most) {
            try {
                count = readPiece(all, Math.min(most - all, c_mediareader_source.BUFFER_SIZE));
                all += Math.max(count, 0);
            } catch (IOException | RuntimeException | Error e) {
                failureAhead = e;
                count = 0;
            }
        }
        return all;
    }

    private int readPiece(int at, int wanted) throws IOException {
        int count = source.m_read(wanted);
        if (count > 0) {
            block.buffer().put(at, source.m_buffer(), 0, count);
        }
        return count;
    }
}
