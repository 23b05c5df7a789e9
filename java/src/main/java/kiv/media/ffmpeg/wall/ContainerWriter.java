package kiv.media.ffmpeg.wall;

import java.io.IOException;

/** A writer of a container, on either side of the wall. */
public interface ContainerWriter {

    /** Writes a packet, whose time and duration count samples. */
    void write(byte[] bytes, long time, long duration) throws IOException;

    /** Ends the container. The extradata is null when it has not changed. */
    void finish(byte[] extradata) throws IOException;

    /** Deletes the writer, which is not called afterwards. */
    void delete();
}
