package kiv.media.ffmpeg.loading;

/** A library is missing, cannot be unpacked or does not load. The message is meant for users of the API. */
public final class LoadingException extends Exception {

    private static final long serialVersionUID = 1L;

    /**
     * A failure.
     *
     * @param message what failed and what to do
     * @param cause why, or null
     */
    LoadingException(String message, Throwable cause) {
        super(message, cause);
    }

    /**
     * A failure without a cause.
     *
     * @param message what failed and what to do
     */
    LoadingException(String message) {
        this(message, null);
    }
}
