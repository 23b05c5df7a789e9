package kiv.media.ffmpeg;

import kiv.media.ffmpeg.natives.c_splitter_ffmpeg;
import kiv.media.ffmpeg.wall.Splitter;

/** A splitter in this process. */
record DirectSplitter(long address) implements Splitter {

    @Override
    public byte[] split(byte[] bytes, int offset, int length, long[] fields) {
        return c_splitter_ffmpeg.n_split(address, bytes, offset, length, fields);
    }

    @Override
    public void restart() {
        c_splitter_ffmpeg.n_splitter_restart(address);
    }

    @Override
    public long[] stream() {
        return c_splitter_ffmpeg.n_splitter_get_stream(address);
    }

    @Override
    public String codecName() {
        return c_splitter_ffmpeg.n_splitter_get_codec_name(address);
    }

    @Override
    public void delete() {
        c_splitter_ffmpeg.n_splitter_delete(address);
    }
}
