package kiv.media.ffmpeg.loading;

/** A library is missing, cannot be unpacked or does not load. The message is for users of the API. */
public final class LoadingException extends Exception {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause, or null
     */
    LoadingException(String message, Throwable cause) {
        super(message, cause);
    }

    /**
     * Creates an exception without a cause.
     *
     * @param message what failed, and what to do about it
     */
    LoadingException(String message) {
        this(message, null);
    }
}
