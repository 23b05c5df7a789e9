package kiv.media.ffmpeg.wall;

/**
 * A decoder that may take packets before its caller asks for what comes of them, and decode them meanwhile. What comes of them
 * is the result when the caller asks for the same packets in the same order. Otherwise it is dropped. A decoder in this process
 * takes none.
 */
public interface AheadDecoder {

    /** {@return how many packets the decoder takes now} */
    default int room() {
        return 0;
    }

    /** {@return how many of the next packets were taken already} */
    default int taken() {
        return 0;
    }

    /** Forgets the packets that were added since the last start. */
    default void withdraw() {
    }

    /** Has the packets decoded that were added since the last call. */
    default void start() {
        throw new UnsupportedOperationException();
    }
}
