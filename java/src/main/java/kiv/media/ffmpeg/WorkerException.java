package kiv.media.ffmpeg;

import java.util.OptionalInt;
import kiv.media.ffmpeg.wall.WorkerEnd;

/**
 * Thrown when the process behind the wall has ended in which an object worked. Each later call of the object throws it too,
 * except for closing it, and for {@code restart()} of those that have it. Objects that work in other processes go on.
 *
 * <pre>{@code
 * for (int deaths = 0;;) {
 *     try {
 *         decoder.pictures(reader).forEach(picture -> { ... });
 *         break;
 *     } catch (WorkerException e) {
 *         if (++deaths > 3) {
 *             throw e;
 *         }
 *         reader.restart();
 *         decoder.restart();
 *     }
 * }
 * }</pre>
 */
public final class WorkerException extends MediaException {

    private static final long serialVersionUID = 1L;

    /** What a process died of. */
    public enum Reason {
        /** A signal, mostly of a fault in a decoder. */
        SIGNAL,
        /** It ended by itself. */
        EXIT,
        /** It needed more memory than it may have. */
        MEMORY,
        /** It needed more processor time than it may have. */
        TIME,
        /** It made no progress for too long. */
        DEADLINE,
        /** It called the system for what is forbidden. */
        FORBIDDEN,
        /** It gave an answer that cannot be. */
        LIE
    }

    /** What ended the process. */
    private final Reason reason;
    /** 0 when it was no signal. */
    private final int signal;
    /** 0 when unknown. */
    private final long packets;
    /** Negative when unknown. */
    private final int stream;

    /** @param stream negative for none */
    WorkerException(WorkerEnd end, long packets, int stream) {
        super(describe(end) + (packets == 0 ? "" : "; that was at packet " + packets
                + (stream < 0 ? "" : " of stream " + stream) + "; restart the reader and the decoders to go on behind it"));
        this.reason = Reason.valueOf(end.reason().name());
        this.signal = reason == Reason.SIGNAL ? end.number() : 0;
        this.packets = packets;
        this.stream = stream;
    }

    private WorkerException(WorkerException first) {
        super(first.getMessage(), first);
        this.reason = first.reason;
        this.signal = first.signal;
        this.packets = first.packets;
        this.stream = first.stream;
    }

    /** {@return the exception for a later call} */
    WorkerException again() {
        return new WorkerException(this);
    }

    private static String describe(WorkerEnd end) {
        return "the process that decoded " + switch (end.reason()) {
            case SIGNAL -> "was ended by the signal " + end.number();
            case EXIT -> "ended";
            case MEMORY -> "needed more memory than it may have";
            case TIME -> "needed more processor time than it may have";
            case DEADLINE -> "made no progress for too long";
            case FORBIDDEN -> "called the system for what is forbidden";
            case LIE -> "gave an answer that cannot be";
        };
    }

    /** {@return what the process died of} */
    public Reason reason() {
        return reason;
    }

    /** {@return the number of the signal for {@link Reason#SIGNAL}, else 0} */
    public int signal() {
        return signal;
    }

    /**
     * {@return the number of the object's packet at which the process ended, from 1; 0 when it is not known} Of a reader these
     * are the packets that its process has read, of a decoder those that its process was given. When another
     * object ended the process, it is that of the last packet before.
     */
    public long packets() {
        return packets;
    }

    /** {@return the index of the stream of these packets; empty for a reader, and for objects without a reader} */
    public OptionalInt streamIndex() {
        return stream < 0 ? OptionalInt.empty() : OptionalInt.of(stream);
    }
}
