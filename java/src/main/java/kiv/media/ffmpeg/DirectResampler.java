package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.c_resampler_ffmpeg;
import kiv.media.ffmpeg.wall.Resampler;

/** A resampler in this process. */
record DirectResampler(long address) implements Resampler {

    @Override
    public byte[] convert(byte[] pcm, int offset, int length) {
        return c_resampler_ffmpeg.n_resample(address, pcm, offset, length);
    }

    @Override
    public void delete() {
        c_resampler_ffmpeg.n_resampler_delete(address);
    }
}
