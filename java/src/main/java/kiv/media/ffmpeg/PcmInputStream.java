package kiv.media.ffmpeg;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import kiv.media.ffmpeg.io.BlockInputStream;

/** The bytes of what {@link AudioDecoder#blocks} delivers. */
final class PcmInputStream extends BlockInputStream {

    private final MediaReader reader;
    private final AudioDecoder decoder;
    private final PullSpliterator<AudioBlock> blocks;
    private final boolean owner;
    private boolean finished;

    /** @param owner whether closing the stream closes the decoder and the reader */
    PcmInputStream(MediaReader reader, AudioDecoder decoder, boolean owner) {
        this.reader = reader;
        this.decoder = decoder;
        this.blocks = decoder.source(reader);
        this.owner = owner;
    }

    @Override
    protected ByteBuffer nextBlock() throws IOException {
        try {
            AudioBlock block = finished ? null : blocks.next();
            finished = block == null;
            return finished ? null : block.data();
        } catch (UncheckedIOException e) {
            throw e.getCause();
        } catch (MediaException e) {
            throw new IOException("the sound cannot be decoded: " + e.getMessage(), e);
        }
    }

    @Override
    protected void interrupt() throws IOException {
        if (owner) {
            reader.interrupt();
        }
    }

    @Override
    protected void release() throws IOException {
        if (!owner) {
            return;
        }
        try {
            try (reader) {
                decoder.close();
            }
        } catch (MediaStateException e) {
            throw new IOException("the sound cannot be closed: " + e.getMessage(), e);
        }
    }
}
