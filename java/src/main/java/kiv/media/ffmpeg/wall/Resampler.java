package kiv.media.ffmpeg.wall;

/** What changes the rate of samples, on either side of the wall. */
public interface Resampler {

    /** {@return samples of the new rate; of null the last ones} */
    byte[] convert(byte[] pcm, int offset, int length);

    /** Deletes the resampler, which is not called afterwards. */
    void delete();
}
