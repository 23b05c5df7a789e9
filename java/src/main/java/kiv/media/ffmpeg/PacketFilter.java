package kiv.media.ffmpeg;

import java.util.Objects;

/**
 * Which packets a decoder takes: those of its stream, or all when it does not know of one.
 *
 * @param stream the stream, or null
 */
record PacketFilter(MediaStream stream) {

    boolean accepts(Packet packet) {
        Objects.requireNonNull(packet, "packet");
        return stream == null || packet.streamIndex() == stream.index();
    }

    /** @throws IllegalArgumentException when the packet is of another stream */
    void check(Packet packet) {
        if (!accepts(packet)) {
            throw new IllegalArgumentException(packet + " is not of the decoder's stream " + stream.index());
        }
    }

    /**
     * The reader's packets are all lost to everybody else, so it had better be the right one.
     *
     * @throws IllegalArgumentException when the stream is not one of the reader's
     */
    void check(MediaReader reader) {
        Objects.requireNonNull(reader, "reader");
        if (stream == null) {
            throw new IllegalArgumentException("the decoder was opened without a stream, so it cannot tell which of a"
                    + " reader's packets are its own; open it with one of the reader's streams");
        }
        reader.check(stream);
    }
}
