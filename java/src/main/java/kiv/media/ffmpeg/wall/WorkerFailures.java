package kiv.media.ffmpeg.wall;

/** Makes the API's exceptions. */
public interface WorkerFailures {

    /**
     * {@return the exception for calls of what a worker did}
     *
     * @param end how the worker ended
     * @param packets packets that the called object had taken or given, with the one at which the worker ended
     * @param stream the index of the stream of these packets; negative when they are of several or of none
     */
    RuntimeException ended(WorkerEnd end, long packets, int stream);

    /**
     * {@return the exception for a worker that does not start}
     *
     * @param cause why
     */
    RuntimeException notStarted(Throwable cause);
}
