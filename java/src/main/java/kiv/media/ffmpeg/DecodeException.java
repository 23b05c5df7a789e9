package kiv.media.ffmpeg;

/** A packet could not be decoded. The decoder stays usable: go on with the next packet. */
public class DecodeException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public DecodeException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
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
