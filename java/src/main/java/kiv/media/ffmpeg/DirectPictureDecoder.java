package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.natives.c_pictures_ffmpeg;
import kiv.media.ffmpeg.wall.PictureDecoder;
import kiv.media.ffmpeg.wall.SharedMemory;

/** A decoder of video in this process. */
record DirectPictureDecoder(long address) implements PictureDecoder {

    @Override
    public void setOption(String name, long value) {
        c_codecoptions_ffmpeg.n_vcodec_set_option(address, name, value);
    }

    @Override
    public boolean open() {
        return c_multimediaapi_ffmpeg.n_vcodec_open(address);
    }

    @Override
    public int decode(byte[] packet, int length, int flags, long[] call) {
        return c_pictures_ffmpeg.n_decode(address, packet, length, flags, call);
    }

    @Override
    public void reset() {
        c_multimediaapi_ffmpeg.n_vcodec_reset(address);
    }

    @Override
    public SharedMemory memory() {
        return null;
    }

    @Override
    public void delete() {
        c_multimediaapi_ffmpeg.n_vcodec_delete(address);
    }
}
