package kiv.media.ffmpeg;

import java.io.IOException;
import kiv.media.ffmpeg.natives.c_mediareader_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediareader_source;
import kiv.media.ffmpeg.natives.c_metadata_ffmpeg;
import kiv.media.ffmpeg.wall.ContainerReader;

/** A reader in this process. */
record DirectReader(long address) implements ContainerReader {

    static DirectReader open(long context, c_mediareader_source source, boolean forward, long[] limits)
            throws IOException {
        return new DirectReader(forward ? c_mediareader_ffmpeg.n_reader_open_forward(context, source, limits)
                : c_mediareader_ffmpeg.n_reader_open_within(context, source, limits));
    }

    @Override
    public String formatName() {
        return c_mediareader_ffmpeg.n_reader_get_format_name(address);
    }

    @Override
    public long[] info() {
        return c_mediareader_ffmpeg.n_reader_get_info(address);
    }

    @Override
    public long[] stream(int index) {
        return c_mediareader_ffmpeg.n_reader_get_stream(address, index);
    }

    @Override
    public String codecName(int index) {
        return c_mediareader_ffmpeg.n_reader_get_codec_name(address, index);
    }

    @Override
    public byte[] extradata(int index) {
        return c_mediareader_ffmpeg.n_reader_get_extradata(address, index);
    }

    @Override
    public byte[] read(long[] fields) throws IOException {
        return c_mediareader_ffmpeg.n_reader_read(address, fields);
    }

    @Override
    public byte[] readStream(int stream, byte[] buffer, long[] fields) throws IOException {
        return c_mediareader_ffmpeg.n_reader_read_stream(address, stream, buffer, fields);
    }

    @Override
    public byte[] readSeveral(int stream, byte[] buffer, long[] fields) throws IOException {
        return c_mediareader_ffmpeg.n_reader_read_several(address, stream, buffer, fields);
    }

    @Override
    public void seek(int stream, long time, int flags) throws IOException {
        c_mediareader_ffmpeg.n_reader_seek(address, stream, time, flags);
    }

    @Override
    public byte[] tags(int kind, int first) {
        return c_metadata_ffmpeg.n_metadata_tags(address, kind, first);
    }

    @Override
    public long[] chapters() {
        return c_metadata_ffmpeg.n_metadata_chapters(address);
    }

    @Override
    public long[] programs() {
        return c_metadata_ffmpeg.n_metadata_programs(address);
    }

    @Override
    public String[] names(int index) {
        return c_metadata_ffmpeg.n_metadata_names(address, index);
    }

    @Override
    public long[] light(int index) {
        return c_metadata_ffmpeg.n_metadata_light(address, index);
    }

    @Override
    public long[] sideData(int index) {
        return c_metadata_ffmpeg.n_metadata_side_data(address, index);
    }

    @Override
    public byte[] picture(int index) {
        return c_metadata_ffmpeg.n_metadata_picture(address, index);
    }

    @Override
    public void delete() {
        c_mediareader_ffmpeg.n_reader_delete(address);
    }
}
