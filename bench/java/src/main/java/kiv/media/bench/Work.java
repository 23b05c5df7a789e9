package kiv.media.bench;

/** What a participant does in one round: from opening a file to its last picture or sample. */
@FunctionalInterface
interface Work {

    /**
     * Does it once.
     *
     * @param sink null in a round that is measured
     * @return how many pictures, or samples of each channel, there were
     * @throws Exception when the participant cannot do it
     */
    long run(Sink sink) throws Exception;
}
