package kiv.media.ffmpeg;

/** FFmpeg or this library's native part cannot be found, unpacked or loaded. */
public class LibraryException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what went wrong and what to do
     */
    public LibraryException(String message) {
        super(message);
    }

    /**
     * Creates an exception that another one caused.
     *
     * @param message what went wrong and what to do
     * @param cause the cause
     */
    public LibraryException(String message, Throwable cause) {
        super(message, cause);
    }
}
