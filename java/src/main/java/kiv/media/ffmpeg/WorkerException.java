package kiv.media.ffmpeg;

import kiv.media.ffmpeg.wall.WorkerEnd;

/**
 * Thrown when the process behind the wall has ended in which an object worked. Each later call of the object throws it too,
 * except for closing it.
 */
final class WorkerException extends MediaException {

    private static final long serialVersionUID = 1L;

    private final WorkerEnd end;
    private final long packets;

    WorkerException(WorkerEnd end, long packets) {
        super(describe(end) + (packets == 0 ? "" : "; that was at packet " + packets) + "; open the medium again to go on");
        this.end = end;
        this.packets = packets;
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

    /** {@return how the process ended} */
    WorkerEnd end() {
        return end;
    }

    /** {@return the number of the object's packet at which the process ended; 0 when that is not known} */
    long packets() {
        return packets;
    }
}
