package kiv.media.ffmpeg;

import java.util.function.BiFunction;

/**
 * The superclass of the exceptions that this library declares; unchecked. Where bytes cannot be read, methods throw an
 * {@link java.io.IOException}. For null or out-of-range arguments they throw a {@link NullPointerException} or an
 * {@link IllegalArgumentException}.
 *
 * <pre>{@code
 * try {
 *     play(Path.of("film.mp4"));
 * } catch (UnsupportedCodecException e) {
 *     show("Nothing here decodes the film: " + e.getMessage());
 * } catch (MediaException e) {
 *     show("The film cannot be played: " + e.getMessage());
 * }
 * }</pre>
 */
public class MediaException extends RuntimeException {

    private static final long serialVersionUID = 1L;

    /**
     * Creates an exception.
     *
     * @param message what failed, and what to do about it
     */
    public MediaException(String message) {
        super(message);
    }

    /**
     * Creates an exception with a cause.
     *
     * @param message what failed, and what to do about it
     * @param cause the cause
     */
    public MediaException(String message, Throwable cause) {
        super(message, cause);
    }

    /** A native failure's message without its line number, which stays in the cause. */
    static String plain(Throwable failure) {
        return String.valueOf(failure.getMessage()).replaceFirst(" in line \\d+$", "");
    }

    /**
     * Translates what a native call threw. The library's own failures and a lack of memory become exceptions of this
     * API. What Java code threw inside the call stays as it is.
     *
     * @param what the operation, such as "decoding"
     * @param ours creates an exception from a message and a cause
     */
    static RuntimeException of(Throwable failure, String what, BiFunction<String, Throwable, MediaException> ours) {
        if (failure instanceof OutOfMemoryError) {
            return new MediaException("no memory left for " + what + "; close what is not needed any more, or"
                    + " raise -Xmx", failure);
        }
        if (failure.getClass() == RuntimeException.class || failure.getClass() == Error.class) {
            return ours.apply(what + " failed: " + plain(failure), failure);
        }
        if (failure instanceof Error error) {
            throw error;
        }
        return (RuntimeException) failure;
    }
}
