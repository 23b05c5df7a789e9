package kiv.media.ffmpeg;

/**
 * The root of what this library throws by itself; unchecked. Failures of reading bytes are {@link java.io.IOException},
 * and null or out-of-range arguments are {@link NullPointerException} and {@link IllegalArgumentException}, as usual.
 */
public class MediaException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public MediaException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public MediaException(String message, Throwable cause) {
        super(message, cause);
    }

    /** A native failure's message without the place in the native code, which the cause still tells. */
    static String plain(Throwable failure) {
        return String.valueOf(failure.getMessage()).replaceFirst(" in line \\d+$", "");
    }
}
