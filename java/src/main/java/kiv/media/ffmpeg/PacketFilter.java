package kiv.media.ffmpeg;

import java.util.Objects;

/**
 * Selects the packets of a decoder's stream.
 *
 * @param stream the stream, or null to accept all packets
 */
record PacketFilter(MediaStream stream) {

    boolean accepts(Packet packet) {
        Objects.requireNonNull(packet, "packet");
        return stream == null || packet.streamIndex() == stream.index();
    }

    /** @throws IllegalArgumentException when the packet belongs to another stream */
    void check(Packet packet) {
        if (!accepts(packet)) {
            throw new IllegalArgumentException(packet + " is not of the decoder's stream " + stream.index());
        }
    }

    /**
     * Checks that the reader has the stream. A decoder that pulls from a reader consumes all its packets.
     *
     * @throws IllegalArgumentException when the stream is unknown or belongs to another reader
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
