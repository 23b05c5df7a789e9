package kiv.media.ffmpeg;

/** A packet cannot be decoded. The decoder stays usable: continue with the next packet. */
public class DecodeException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public DecodeException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public DecodeException(String message, Throwable cause) {
        super(message, cause);
    }

    /** Makes native calls of a decoder. What the library itself throws becomes an exception of this class. */
    static void translate(Runnable calls) {
        try {
            calls.run();
        } catch (RuntimeException | Error e) {
            throw MediaException.of(e, "decoding", DecodeException::new);
        }
    }
}
