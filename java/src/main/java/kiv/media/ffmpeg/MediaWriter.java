package kiv.media.ffmpeg;

import java.io.IOException;
import java.lang.ref.Reference;
import java.nio.channels.SeekableByteChannel;
import java.nio.channels.WritableByteChannel;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.function.BiFunction;
import kiv.media.ffmpeg.natives.WriterFields;
import kiv.media.ffmpeg.natives.c_mediawriter_ffmpeg;
import kiv.media.ffmpeg.natives.c_mediawriter_sink;

/**
 * Writes the sound of an encoder into a container, and the container into a channel. For files
 * {@link AudioFileWriter} is there, which uses it.
 *
 * <pre>{@code
 * try (AudioEncoder encoder = AudioEncoder.open(AudioCodec.OPUS, 48000, 2);
 *         MediaWriter writer = MediaWriter.open(channel, encoder, AudioContainer.OGG)) {
 *     for (AudioBlock block : blocks) {
 *         writer.write(encoder.encode(block));
 *     }
 *     writer.write(encoder.finish());
 *     writer.finish();
 * }
 * }</pre>
 *
 * <p>A writer writes to its channel only. A writer may move from thread to thread, but two threads must not call it at the
 * same time: the second one gets a {@link MediaStateException}. So does each call after {@link #close()}.
 */
public final class MediaWriter implements AutoCloseable {

    private final NativeHandle<Long> handle;
    private final WritableByteChannel channel;
    private final c_mediawriter_sink sink;
    private final AudioEncoder encoder;
    private final AudioContainer container;
    private final byte[] extradata;
    /** The last packet, whose silence at the end is known in the end only. */
    private Packet last;
    private boolean finished;
    /** A write has failed, so the container is incomplete. */
    private boolean failed;

    private MediaWriter(long address, WritableByteChannel channel, c_mediawriter_sink sink, AudioEncoder encoder,
            AudioContainer container, byte[] extradata) {
        this.handle = new NativeHandle<>("writer", this, address, c_mediawriter_ffmpeg::n_writer_delete);
        this.channel = channel;
        this.sink = sink;
        this.encoder = encoder;
        this.container = container;
        this.extradata = extradata;
    }

    /**
     * Begins a container. The writer uses the channel alone, from its position on, and closes it. When this method
     * throws, the channel stays open.
     *
     * @param channel receives the container; a {@link SeekableByteChannel} for {@link AudioContainer#M4A} and
     *     {@link AudioContainer#THREE_GP}. In {@link AudioContainer#FLAC} the length is missing without one
     * @param encoder the encoder of the packets
     * @param container {@link AudioContainer#FLAC}, {@link AudioContainer#OGG}, {@link AudioContainer#M4A},
     *     {@link AudioContainer#THREE_GP}, or for AMR wide-band {@link AudioContainer#AMR}
     * @return the writer, which the caller finishes and closes
     * @throws IOException when the channel cannot be written
     * @throws IllegalArgumentException when the container does not hold the encoder's format, is not one of these, or
     *     needs another channel
     * @throws UnsupportedCodecException when the loaded FFmpeg does not write the container or refuses the sound
     */
    public static MediaWriter open(WritableByteChannel channel, AudioEncoder encoder, AudioContainer container)
            throws IOException {
        Objects.requireNonNull(channel, "channel");
        AudioCodec codec = Objects.requireNonNull(encoder, "encoder").codec();
        boolean seekable = channel instanceof SeekableByteChannel;
        String format = Objects.requireNonNull(container, "container").ffmpegName(codec)
                .filter(name -> container.holds(codec)).orElseThrow(() -> new IllegalArgumentException(
                        container + " is not a container of " + codec + " that is written into channels"));
        if (container.needsToSeek() && !seekable) {
            throw new IllegalArgumentException(container + " needs a channel that can seek");
        }
        c_mediawriter_sink sink = new c_mediawriter_sink(channel);
        byte[] extradata = encoder.extradata();
        try {
            long address = c_mediawriter_ffmpeg.n_writer_open(FfmpegLibrary.context(), sink, seekable, format,
                    codec.ffmpegName(), fields(encoder), extradata);
            return new MediaWriter(address, channel, sink, encoder, container, extradata);
        } catch (RuntimeException e) {
            throw failed(sink, e, "writing " + container, UnsupportedCodecException::new);
        } finally {
            // The sink alone does not keep the channel reachable.
            Reference.reachabilityFence(channel);
        }
    }

    /** What the channel threw stays as it is. */
    private static RuntimeException failed(c_mediawriter_sink sink, RuntimeException e, String what,
            BiFunction<String, Throwable, MediaException> ours) {
        return sink.threw(e) ? e : MediaException.of(e, what, ours);
    }

    private static long[] fields(AudioEncoder encoder) {
        WaveFormat format = encoder.format();
        long[] fields = new long[WriterFields.SIZE];
        fields[WriterFields.SAMPLE_RATE] = format.sampleRate();
        fields[WriterFields.CHANNELS] = format.channels();
        fields[WriterFields.CHANNEL_LAYOUT] = encoder.codec().channelLayout(format.channels());
        fields[WriterFields.BITS_PER_SAMPLE] = format.bitsPerSample() == 0 ? Short.SIZE : format.bitsPerSample();
        fields[WriterFields.BIT_RATE] = encoder.bitRate();
        fields[WriterFields.FRAME_SIZE] = encoder.frameSize();
        fields[WriterFields.INITIAL_PADDING] = encoder.initialPadding();
        return fields;
    }

    /**
     * Writes packets.
     *
     * @param packets packets of the encoder, in their order
     * @throws IOException when the channel cannot be written; the container is then lost
     * @throws IllegalArgumentException when a packet is empty or has no time
     * @throws MediaStateException when the writer is finished, closed or in use, or an earlier write failed
     * @throws MediaException when the packets cannot be written; the container is then lost
     */
    public void write(List<Packet> packets) throws IOException {
        for (Packet packet : Objects.requireNonNull(packets, "packets")) {
            if (Objects.requireNonNull(packet, "packet").size() == 0 || packet.presentationTime() == Packet.NO_TIME) {
                throw new IllegalArgumentException(packet + " is empty or has no time");
            }
        }
        call(address -> {
            for (Packet packet : packets) {
                flush(address, Long.MAX_VALUE);
                last = packet;
            }
        });
    }

    /**
     * Writes the end of the container. Its length is that of the sound that the encoder has received.
     *
     * @throws IOException when the channel cannot be written; the container is then lost
     * @throws MediaStateException when the writer is finished, closed or in use, or an earlier write failed
     * @throws MediaException when the end cannot be written; the container is then lost
     */
    public void finish() throws IOException {
        finish(encoder.frames());
    }

    /** Writes the end of the container after so many samples of a channel. */
    void finish(long frames) throws IOException {
        call(address -> {
            flush(address, frames);
            finished = true;
            byte[] completed = encoder.extradata();
            boolean changed = container == AudioContainer.FLAC && !Arrays.equals(completed, extradata);
            c_mediawriter_ffmpeg.n_writer_finish(address, changed ? completed : null);
        });
    }

    /**
     * Closes the writer and its channel. A container that is not finished stays as it is. A second call does nothing.
     *
     * @throws IOException when the channel throws it
     * @throws MediaStateException when another thread calls the writer
     */
    @Override
    public void close() throws IOException {
        handle.close();
        channel.close();
    }

    /** Writes the packet that waits, without what of it lies behind the end. */
    private void flush(long address, long end) throws IOException {
        if (last != null) {
            long time = last.presentationTime();
            long duration = end - last.duration() >= time ? last.duration() : Math.max(0, end - time);
            c_mediawriter_ffmpeg.n_writer_write(address, last.bytes(), time, duration);
            last = null;
        }
    }

    /** Work with the native writer. */
    @FunctionalInterface
    private interface Work {
        void on(long address) throws IOException;
    }

    private void call(Work work) throws IOException {
        handle.call(address -> {
            if (finished || failed) {
                throw new MediaStateException(failed ? "the container could not be written and is lost; write another one"
                        : "the container is finished");
            }
            failed = true;
            try {
                work.on(address);
            } catch (RuntimeException e) {
                throw failed(sink, e, "writing", MediaException::new);
            } finally {
                Reference.reachabilityFence(channel);
            }
            failed = false;
            return null;
        });
    }
}
