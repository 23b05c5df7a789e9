package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.natives.c_encoders_ffmpeg;
import kiv.media.ffmpeg.wall.SoundCodec;

/** A decoder or encoder of sound in this process. */
record DirectSoundCodec(long address) implements SoundCodec {

    /** {@return the codec of a handle, or null when that is 0} */
    static DirectSoundCodec of(long address) {
        return address == 0 ? null : new DirectSoundCodec(address);
    }

    @Override
    public boolean open() {
        return c_multimediaapi_ffmpeg.n_acodec_open(address);
    }

    @Override
    public void close() {
        c_multimediaapi_ffmpeg.n_acodec_close(address);
    }

    @Override
    public void reset() {
        c_multimediaapi_ffmpeg.n_acodec_reset(address);
    }

    @Override
    public void setOption(String name, long value) {
        c_codecoptions_ffmpeg.n_acodec_set_option(address, name, value);
    }

    @Override
    public long option(String name) {
        return c_codecoptions_ffmpeg.n_acodec_get_option(address, name);
    }

    @Override
    public byte[] extradata() {
        return c_codecoptions_ffmpeg.n_acodec_get_extradata(address);
    }

    @Override
    public int process(byte[] in, byte[] out, int[] params) {
        return c_multimediaapi_ffmpeg.n_acodec_process(address, in, out, params);
    }

    @Override
    public byte[] encode(byte[] pcm, int length, long[] packet) {
        return c_encoders_ffmpeg.n_aencoder_encode(address, pcm, 0, length, packet);
    }

    @Override
    public void delete() {
        c_multimediaapi_ffmpeg.n_acodec_delete(address);
    }
}
