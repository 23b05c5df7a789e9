package kiv.media.ffmpeg.wall;

/**
 * How a worker ended.
 *
 * @param reason what it died of
 * @param number the signal or exit status for {@link Reason#SIGNAL} and {@link Reason#EXIT}, else 0
 */
public record WorkerEnd(Reason reason, int number) {

    private static final int SIGXCPU = 24;
    private static final int SIGSYS = 31;

    /** What a worker died of. The API, which this package does not see, has the same names for its users. */
    public enum Reason {
        /** A signal. */
        SIGNAL,
        /** It ended itself. */
        EXIT,
        /** It had no memory left within its limit. */
        MEMORY,
        /** It took its processor time. */
        TIME,
        /** It made no progress for too long. */
        DEADLINE,
        /** It called the kernel for what is forbidden. */
        FORBIDDEN,
        /** It gave an answer that cannot be. */
        LIE
    }

    /** {@return the end of these numbers: the signal or 0, and the exit status; null when they are not known} */
    static WorkerEnd of(int[] numbers) {
        if (numbers == null) {
            return new WorkerEnd(Reason.EXIT, 0);
        }
        return switch (numbers[0]) {
            case 0 -> new WorkerEnd(Reason.EXIT, numbers[1]);
            case SIGXCPU -> new WorkerEnd(Reason.TIME, 0);
            case SIGSYS -> new WorkerEnd(Reason.FORBIDDEN, 0);
            default -> new WorkerEnd(Reason.SIGNAL, numbers[0]);
        };
    }
}
