package kiv.media.ffmpeg.wall;

/**
 * What a worker may take.
 *
 * @param memory bytes that it may allocate besides the shared memory
 * @param processorSeconds processor time of all its threads; 0 for any
 * @param deadline milliseconds that it may work on an order without progress
 */
public record WorkerLimits(long memory, int processorSeconds, int deadline) {
}
