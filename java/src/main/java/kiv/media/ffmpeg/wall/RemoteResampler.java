package kiv.media.ffmpeg.wall;

import kiv.media.ffmpeg.natives.WorkerOrder;

/** A resampler behind the wall. */
public final class RemoteResampler implements Resampler {

    private final Lane lane;

    private RemoteResampler(Lane lane) {
        this.lane = lane;
    }

    /**
     * Makes a resampler.
     *
     * @param lane becomes the resampler's, and is closed when this fails
     * @param samples the number of the kind of the samples
     * @param channels number of channels
     * @param from samples a second and channel before
     * @param to samples a second and channel afterwards
     * @return the resampler
     */
    public static RemoteResampler of(Lane lane, int samples, int channels, int from, int to) {
        lane.create(() -> lane.begin().put(samples).put(channels).put(from).put(to)
                .order(WorkerOrder.RESAMPLER_CREATE));
        return new RemoteResampler(lane);
    }

    @Override
    public byte[] convert(byte[] pcm, int offset, int length) {
        byte[] converted = lane.begin().put(pcm, offset, length).order(WorkerOrder.RESAMPLER_CONVERT).takeBytes();
        return converted == null ? new byte[0] : converted;
    }

    @Override
    public void delete() {
        lane.close();
    }
}
