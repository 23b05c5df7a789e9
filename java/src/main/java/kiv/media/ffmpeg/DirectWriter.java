package kiv.media.ffmpeg;

import java.io.IOException;
import kiv.media.ffmpeg.natives.c_mediawriter_ffmpeg;
import kiv.media.ffmpeg.wall.ContainerWriter;

/** A writer of a container in this process. */
record DirectWriter(long address) implements ContainerWriter {

    @Override
    public void write(byte[] bytes, long time, long duration) throws IOException {
        c_mediawriter_ffmpeg.n_writer_write(address, bytes, time, duration);
    }

    @Override
    public void finish(byte[] extradata) throws IOException {
        c_mediawriter_ffmpeg.n_writer_finish(address, extradata);
    }

    @Override
    public void delete() {
        c_mediawriter_ffmpeg.n_writer_delete(address);
    }
}
