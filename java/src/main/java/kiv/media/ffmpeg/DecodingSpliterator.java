package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.function.Consumer;
import java.util.function.Supplier;

/** Reads and decodes the packets of one stream as its pictures or blocks are asked for. It skips damaged packets. */
final class DecodingSpliterator<T> extends PullSpliterator<T> {

    /** Where packets come from. */
    @FunctionalInterface
    interface Source {
        /** @return the next packet of any stream, or null at the end */
        Packet next() throws IOException;
    }

    private final Source source;
    private final PacketFilter filter;
    private final Consumer<Packet> decoder;
    private final Supplier<T> output;
    private boolean ended;

    /**
     * @param filter selects the packets of the decoder's stream
     * @param decoder decodes a packet; null ends the stream
     * @param output returns what was decoded and not delivered yet, one element a call, then null
     */
    DecodingSpliterator(Source source, PacketFilter filter, Consumer<Packet> decoder, Supplier<T> output) {
        this.source = source;
        this.filter = filter;
        this.decoder = decoder;
        this.output = output;
    }

    @Override
    T next() {
        T element = output.get();
        while (element == null && !ended) {
            ended = !decodeNext();
            element = output.get();
        }
        return element;
    }

    /** @return false when the stream has ended */
    private boolean decodeNext() {
        Packet packet;
        try {
            packet = source.next();
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
        try {
            if (packet == null || filter.accepts(packet)) {
                decoder.accept(packet);
            }
        } catch (DecodeException e) {
            // The stream goes on without it.
        }
        return packet != null;
    }
}
