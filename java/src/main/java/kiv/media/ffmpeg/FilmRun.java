package kiv.media.ffmpeg;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.zip.CRC32C;

/** Decodes a film's packets one after the other. Its pictures state packets instead of times. */
final class FilmRun implements AutoCloseable {

    private final VideoDecoder decoder;
    private final PacketFetcher fetcher;
    private final Deque<Picture> ready = new ArrayDeque<>();
    private final boolean strict;
    private int nextPacket;
    private boolean finished;
    private long decoded;
    private int polled;

    /** @param strict whether damage that the decoder notices is an error */
    FilmRun(MediaStream stream, PacketFetcher fetcher, boolean strict) {
        this.decoder = VideoDecoder.openNumbered(stream, strict);
        this.fetcher = fetcher;
        this.strict = strict;
    }

    boolean isStrict() {
        return strict;
    }

    /** Continues with another packet, without what was decoded before. */
    void moveTo(int packet) {
        drop();
        decoder.reset();
        nextPacket = packet;
        finished = false;
    }

    /** Continues with another packet, as if it were the next one. */
    void jumpTo(int packet) {
        nextPacket = packet;
    }

    private void drop() {
        ready.forEach(Picture::close);
        ready.clear();
    }

    int nextPacket() {
        return nextPacket;
    }

    /** {@return how many packets were decoded} */
    long decoded() {
        return decoded;
    }

    /** {@return how many errors the decoder has logged} */
    long errors() {
        return decoder.errors();
    }

    /** Returns the next picture that is ready; null when none is. */
    Picture poll() {
        Picture picture = ready.poll();
        polled += picture == null ? 0 : 1;
        return picture;
    }

    /** {@return how many pictures were polled: the number of the next one in a run from the film's beginning} */
    int polled() {
        return polled;
    }

    /**
     * Decodes the next packet.
     *
     * @param packets how many there are
     * @return whether there was something to decode
     * @throws DecodeException when it is damaged
     */
    boolean decode(int packets) throws IOException {
        if (nextPacket < packets) {
            Packet packet = fetcher.fetch(nextPacket++);
            decoded++;
            ready.addAll(decoder.decode(packet));
        } else if (finished) {
            return false;
        } else {
            finished = true;
            ready.addAll(decoder.finish());
        }
        return true;
    }

    /** Returns the packet of a run's picture; -1 when it is unknown. */
    static int own(Picture picture) {
        return picture.timestamp() == Packet.NO_TIME ? -1 : (int) picture.timestamp();
    }

    /** Returns the packet whose decoding delivered a run's picture; the number of packets stands for the end. */
    static int fed(Picture picture, int packets) {
        return picture.duration() == Packet.NO_TIME ? packets : (int) picture.duration();
    }

    /** Returns a checksum of a picture's bytes. */
    static long checksum(Picture picture) {
        CRC32C crc = new CRC32C();
        crc.update(picture.toBytes());
        return crc.getValue();
    }

    @Override
    public void close() {
        drop();
        decoder.close();
        fetcher.close();
    }
}
