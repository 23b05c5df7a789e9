package kiv.media.ffmpeg;

/** FFmpeg or the native library is missing, or cannot be unpacked or loaded. */
public class LibraryException extends MediaException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public LibraryException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public LibraryException(String message, Throwable cause) {
        super(message, cause);
    }
}
