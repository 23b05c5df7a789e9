package kiv.media.ffmpeg;

import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.util.List;
import java.util.Objects;
import java.util.stream.Stream;
import javax.sound.sampled.AudioInputStream;
import javax.sound.sampled.AudioSystem;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.wall.SoundCodec;

/**
 * Decodes the packets of one audio stream into PCM, of 16 bits unless others are asked for, with the stream's channels
 * and sample rate.
 *
 * <pre>{@code
 * try (MediaReader reader = MediaReader.open(Path.of("song.mp3"));
 *         AudioDecoder decoder = AudioDecoder.open(reader)) {
 *     for (AudioBlock block : decoder.each(reader)) {
 *         play(block.samples());
 *     }
 * }
 * }</pre>
 *
 * <p>Encoders put silence before and behind the sound, and edit lists leave parts of it out. A decoder that was opened for a
 * stream decodes that but does not deliver it, so sound has the length that the program {@code ffmpeg} gives, and the first
 * block's time is that of the first sample that is heard. {@link Packet#skippedAtStart()} and
 * {@link Packet#skippedAtEnd()} report what containers say. A decoder that was opened for a format alone delivers
 * everything, except what packets of a reader report.
 *
 * <p>A decoder may move from thread to thread, but two threads must not call it at the same time: the second one gets a
 * {@link MediaStateException}. So does each call after {@link #close()}. Different decoders work in parallel.
 */
public final class AudioDecoder implements AutoCloseable {

    private static final int MPEG_HEADER = 4;
    private static final int MOST_CHANNELS = 32;
    /** A minute and a half of PCM, or hours of compressed speech, whose PCM is far larger. */
    private static final int MOST_BYTES = 16 << 20;

    private final NativeHandle<SoundCodec> handle;
    private final NativeAudioCodec codec;
    private final WaveFormat format;
    private final SampleFormat samples;
    private final int bitRate;
    private final MediaStream stream;
    private final Workplace place;
    /** Whether sound of a packet may come with a later one, or at the end. */
    private final boolean holdsBack;
    private final DecodedSound decoded;
    private final PacketFilter filter;

    private AudioDecoder(SoundCodec made, WaveFormat format, SampleFormat samples, int bitRate, Rational timeBase,
            MediaStream stream, Workplace place) {
        this.handle = new NativeHandle<>("decoder", this, made, SoundCodec::delete);
        this.codec = new NativeAudioCodec();
        this.format = format;
        this.samples = samples;
        this.bitRate = bitRate;
        this.stream = stream;
        this.place = place;
        this.holdsBack = holdsBack(made);
        // WMA keeps only its last frame, and answers other packets at once.
        boolean isWma = format.formatTag() == WaveFormatTags.WMA1 || format.formatTag() == WaveFormatTags.WMA2;
        AudioClock clock = new AudioClock(timeBase, format.sampleRate(), stream == null ? 0 : Packet.NO_TIME,
                holdsBack && !isWma);
        this.decoded = new DecodedSound(format, samples, clock, new SampleCutter(stream != null));
        this.filter = new PacketFilter(stream);
    }

    private boolean holdsBack(SoundCodec made) {
        try {
            return NativeAudioCodec.option(made, c_codecoptions_ffmpeg.HOLDS_BACK) != 0;
        } catch (RuntimeException | Error e) {
            handle.close();
            throw MediaException.of(e, "opening a decoder", UnsupportedCodecException::new);
        }
    }

    /**
     * Opens a decoder for the sound of a medium: its {@linkplain MediaReader#firstAudio() first audio stream}. Otherwise as
     * {@link #open(MediaStream)}.
     *
     * @param reader the reader of the medium, which stays with the caller
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when there is no sound in the medium, or its channels or sample rate are unknown
     */
    public static AudioDecoder open(MediaReader reader) {
        return open(reader.firstAudioOrThrow());
    }

    /**
     * Opens a decoder.
     *
     * @param stream an audio stream
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when the number of channels or the sample rate is unknown
     * @throws IllegalArgumentException when the stream is not an audio stream
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioDecoder open(MediaStream stream) {
        return open(stream, SampleFormat.PCM_16);
    }

    /**
     * Opens a decoder that delivers samples of a kind.
     *
     * @param stream an audio stream
     * @param samples the kind of the samples
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the stream
     * @throws MediaFormatException when the number of channels or the sample rate is unknown
     * @throws IllegalArgumentException when the stream is not an audio stream
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioDecoder open(MediaStream stream, SampleFormat samples) {
        return open(WaveFormat.of(stream), samples, stream.bitRate(), stream.timeBase(), stream, stream.place());
    }

    /**
     * Opens a decoder for packets that no {@link MediaReader} reads. Its times count samples.
     *
     * @param format the compressed sound
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioDecoder open(WaveFormat format) {
        return open(format, SampleFormat.PCM_16);
    }

    /**
     * Opens a decoder for packets that no {@link MediaReader} reads, as {@link #open(WaveFormat)}.
     *
     * @param format the compressed sound
     * @param samples the kind of the samples
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioDecoder open(WaveFormat format, SampleFormat samples) {
        return open(format, samples, Isolation.usual());
    }

    /**
     * Opens a decoder in a place of the caller's for packets that no {@link MediaReader} reads, as {@link #open(WaveFormat)}.
     * Decoders of a reader's streams work where the reader does.
     *
     * @param format the compressed sound
     * @param samples the kind of the samples
     * @param isolation where the decoder works
     * @return the decoder, to be closed
     * @throws UnsupportedCodecException when the library has no decoder for the format
     */
    public static AudioDecoder open(WaveFormat format, SampleFormat samples, Isolation isolation) {
        Objects.requireNonNull(format, "format");
        return open(format, samples, (long) format.bytesPerSecond() * Byte.SIZE, new Rational(1, format.sampleRate()), null,
                Objects.requireNonNull(isolation, "isolation").place());
    }

    private static AudioDecoder open(WaveFormat format, SampleFormat samples, long knownBitRate, Rational timeBase,
            MediaStream stream, Workplace place) {
        Objects.requireNonNull(samples, "samples");
        if (format.channels() > MOST_CHANNELS) {
            throw new UnsupportedCodecException("no decoder for " + format + ": decoders take at most " + MOST_CHANNELS
                    + " channels");
        }
        int bitRate = knownBitRate < 0 || knownBitRate > Integer.MAX_VALUE ? 0 : (int) knownBitRate;
        SoundCodec made = make(format, stream, place);
        AudioDecoder decoder = new AudioDecoder(made, format, samples, bitRate, timeBase, stream, place);
        try {
            decoder.configure(made);
            return decoder;
        } catch (Throwable e) {
            decoder.close();
            throw e;
        }
    }

    private static SoundCodec make(WaveFormat format, MediaStream stream, Workplace place) {
        SoundCodec made;
        try {
            made = stream != null && format.formatTag() == WaveFormatTags.OTHER
                    ? place.createSoundDecoder(stream.toNative(), stream.extradata())
                    : place.createSoundDecoder(format.toNative(), format.specificHeader());
        } catch (MediaException e) {
            throw e;
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("no decoder for " + format + ": " + MediaException.plain(e), e);
        }
        if (made == null) {
            throw doesNotOpen(format);
        }
        return made;
    }

    private static UnsupportedCodecException doesNotOpen(WaveFormat format) {
        return new UnsupportedCodecException("the decoder does not open for " + format
                + "; its specific header may be missing or damaged");
    }

    /** {@return the compressed sound} */
    public WaveFormat format() {
        return format;
    }

    /** {@return the format of the blocks: PCM of the kind that the decoder was opened for} */
    public WaveFormat pcmFormat() {
        return WaveFormat.pcm(samples, format.sampleRate(), format.channels());
    }

    /**
     * Checks whether a packet belongs to this decoder's stream.
     *
     * @param packet any packet of the stream's reader
     * @return whether {@link #decode(Packet)} accepts it
     */
    public boolean accepts(Packet packet) {
        return filter.accepts(packet);
    }

    /**
     * Decodes a packet.
     *
     * @param packet the stream's next packet
     * @return its sound, mostly one block; the caller owns it
     * @throws DecodeException when the packet is damaged; the next call returns the sound that was decoded before
     * @throws IllegalArgumentException when the packet belongs to another stream
     * @throws MediaStateException when the decoder is closed or in use
     * @throws MediaException when there is no memory left for its sound
     */
    public List<AudioBlock> decode(Packet packet) {
        filter.check(packet);
        return decode(packet.bytes(), packet.size(), timeOf(packet), packet.trim(), packet);
    }

    /**
     * Decodes bytes without a container. They continue the bytes of the previous call.
     *
     * @param bytes any number of whole frames or blocks of the codec, up to 16 MiB
     * @return their sound, mostly one block; the caller owns it
     * @throws IllegalArgumentException when they are more than 16 MiB
     * @throws DecodeException when they are damaged; the next call returns the sound that was decoded before
     * @throws MediaStateException when the decoder is closed or in use
     * @throws MediaException when there is no memory left for their sound
     */
    public List<AudioBlock> decode(byte[] bytes) {
        Objects.requireNonNull(bytes, "bytes");
        checkSize(bytes.length);
        return decode(bytes, bytes.length, Packet.NO_TIME, SampleTrim.NONE, bytes.length + " bytes");
    }

    /**
     * Decodes bytes without a container. They continue the bytes of the previous call.
     *
     * @param bytes any number of whole frames or blocks of the codec, up to 16 MiB, from the position to the limit;
     *     the position moves to the limit
     * @return their sound, mostly one block; the caller owns it
     * @throws IllegalArgumentException when they are more than 16 MiB; the position then stays
     * @throws DecodeException when they are damaged; the next call returns the sound that was decoded before
     * @throws MediaStateException when the decoder is closed or in use
     * @throws MediaException when there is no memory left for their sound
     */
    public List<AudioBlock> decode(ByteBuffer bytes) {
        Objects.requireNonNull(bytes, "bytes");
        checkSize(bytes.remaining());
        int start = bytes.position();
        byte[] copy = new byte[bytes.remaining()];
        bytes.get(copy);
        try {
            return decode(copy);
        } catch (MediaStateException e) {
            // The decoder did not read them.
            bytes.position(start);
            throw e;
        }
    }

    /**
     * Decodes the rest of this decoder's stream. Each packet is read only when a block is asked for. Damaged packets
     * are skipped. Packets of the reader's other streams are read too, and lost. When the stream of blocks ends early,
     * by {@code limit} or by an exception, the rest stays for the next call of this method or of
     * {@link #decode(Packet)}. A parallel stream delivers one block at a time too.
     *
     * @param reader the reader of the decoder's stream
     * @return the blocks up to the end, with those that {@link #finish} returns. The stream throws
     *     {@link UncheckedIOException} when the bytes cannot be read, {@link MediaFormatException} where the container
     *     is damaged, {@link MediaStateException} when the reader or the decoder is closed or in use, and
     *     {@link MediaException} when there is no memory left for the sound
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream belongs to another
     *     reader
     */
    public Stream<AudioBlock> blocks(MediaReader reader) {
        return source(reader).stream();
    }

    /**
     * Decodes the rest of this decoder's stream in a loop, whose body may throw any exception:
     *
     * <pre>{@code
     * for (AudioBlock block : decoder.each(reader)) {
     *     file.write(block);
     * }
     * }</pre>
     *
     * @param reader the reader of the decoder's stream
     * @return the blocks as {@link #blocks(MediaReader)} delivers them, for one loop
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream belongs to another
     *     reader
     */
    public Iterable<AudioBlock> each(MediaReader reader) {
        return blocks(reader)::iterator;
    }

    PullSpliterator<AudioBlock> source(MediaReader reader) {
        filter.check(reader);
        PacketMemory memory = new PacketMemory();
        return new DecodingSpliterator<>(() -> reader.read(memory), filter, this::decodeOrEnd,
                () -> handle.call(sound -> {
                    AudioBlock block = decoded.poll();
                    if (block != null) {
                        goOn(sound, reader);
                    }
                    return block;
                }));
    }

    /** Has a decoder behind the wall decode the packets that come next, while the caller uses a block. */
    void goOn(MediaReader reader) {
        handle.call(sound -> {
            goOn(sound, reader);
            return null;
        });
    }

    private void goOn(SoundCodec sound, MediaReader reader) {
        // When the caller ends the stream early, what a decoder holds back must be of the packets that the caller gave.
        if (!holdsBack) {
            reader.demuxer().decodeAhead(sound, stream, packet -> codec.add(sound, packet));
        }
    }

    /**
     * Returns the sound that {@link #blocks} delivers as a stream of bytes. The stream uses the decoder and the reader
     * alone. Closing it leaves both open. Where {@link #blocks} throws, the stream throws an
     * {@link java.io.IOException}.
     *
     * @param reader the reader of the decoder's stream
     * @return little-endian PCM of the kind that the decoder was opened for, of unspecified length
     * @throws IllegalArgumentException when the decoder was opened without a stream, or its stream belongs to another
     *     reader
     * @see MediaAudio
     */
    public AudioInputStream sound(MediaReader reader) {
        return MediaAudio.stream(reader, this, false, AudioSystem.NOT_SPECIFIED);
    }

    /** Decodes a packet, or with null the end, as far as it is not damaged. */
    DecodedSound.Uncut uncut(Packet packet) {
        return handle.call(sound -> {
            try {
                DecodeException.translate(() -> decodeUncut(sound, packet));
            } catch (DecodeException e) {
                // As in blocks, what came before the damage counts.
            }
            return decoded.takeUncut(codec.skipped());
        });
    }

    private void decodeUncut(SoundCodec sound, Packet packet) {
        if (packet != null) {
            decoded.begin(timeOf(packet), packet.trim());
            isDamaged(sound, packet.bytes(), packet.size());
            return;
        }
        decoded.end();
        while (decoded.add(codec.drain(sound).bytes()) > 0) {
            continue;
        }
    }

    /** Null ends the stream. */
    private void decodeOrEnd(Packet packet) {
        handle.call(sound -> {
            if (packet == null) {
                end(sound);
            } else {
                decode(sound, packet.bytes(), packet.size(), timeOf(packet), packet.trim(), packet);
            }
            return null;
        });
    }

    /**
     * Ends the stream. The decoder delivers the sound that it still holds, and is then ready for another stream of the
     * same format.
     *
     * @return the rest of the sound; most codecs hold none back
     * @throws DecodeException when the remaining data is damaged
     * @throws MediaStateException when the decoder is closed or in use
     */
    public List<AudioBlock> finish() {
        return handle.call(sound -> {
            end(sound);
            return decoded.takeAll();
        });
    }

    /**
     * Drops the data and the sound that the decoder holds. Call it after a seek, before the first packet from the new
     * position. Sound of the first packets may differ from what decoding the whole gives there, see
     * {@link MediaReader#seek(MediaStream, long)}; {@link Sound} gives it exactly.
     *
     * @throws MediaStateException when the decoder is closed or in use
     */
    public void reset() {
        handle.call(sound -> {
            DecodeException.translate(() -> reopen(sound));
            decoded.clearBlocks();
            return null;
        });
    }

    /**
     * Goes on after a {@link WorkerException}, in the process of the restarted reader or another one. The decoder is then as
     * after {@link #reset()}.
     *
     * @throws UnsupportedCodecException when the decoder does not open again
     * @throws WorkerException when the new process ends at once
     * @throws MediaStateException when the decoder is closed or in use
     */
    public void restart() {
        handle.call(dead -> {
            SoundCodec made = make(format, stream, place);
            boolean ready = false;
            try {
                configure(made);
                ready = true;
            } finally {
                if (!ready) {
                    made.delete();
                }
            }
            decoded.clearBlocks();
            handle.replace(made).delete();
            return null;
        });
    }

    /**
     * Frees the decoder. A second call does nothing. Its blocks stay usable.
     *
     * @throws MediaStateException when another thread calls the decoder
     */
    @Override
    public void close() {
        handle.close();
    }

    private void configure(SoundCodec made) {
        try {
            NativeAudioCodec.configureDecoder(made, samples);
            // Some decoders derive the layout of their packets from the bit rate.
            reopen(made);
        } catch (RuntimeException | Error e) {
            throw MediaException.of(e, "opening a decoder", UnsupportedCodecException::new);
        }
    }

    /** Restores the state of a new decoder, so that earlier packets do not affect later ones. */
    private void reopen(SoundCodec sound) {
        if (!NativeAudioCodec.reopen(sound, bitRate, 0)) {
            throw doesNotOpen(format);
        }
        decoded.reset();
    }

    private void end(SoundCodec sound) {
        DecodeException.translate(() -> {
            decoded.end();
            try {
                while (decoded.add(codec.drain(sound).bytes()) > 0) {
                    continue;
                }
            } finally {
                decoded.cut(codec.skipped());
            }
            reopen(sound);
        });
    }

    private static void checkSize(int bytes) {
        if (bytes > MOST_BYTES) {
            throw new IllegalArgumentException(bytes + " bytes are too many for one call; give at most " + MOST_BYTES
                    + " at a time, cut between frames");
        }
    }

    private List<AudioBlock> decode(byte[] bytes, int size, long time, SampleTrim trim, Object what) {
        return handle.call(sound -> {
            decode(sound, bytes, size, time, trim, what);
            return decoded.takeAll();
        });
    }

    private void decode(SoundCodec sound, byte[] bytes, int size, long time, SampleTrim trim, Object what) {
        DecodeException.translate(() -> {
            decoded.begin(time, trim);
            boolean damaged;
            try {
                damaged = isDamaged(sound, bytes, size);
            } finally {
                decoded.cut(codec.skipped());
            }
            if (damaged) {
                throw new DecodeException("a packet cannot be decoded: " + what);
            }
        });
    }

    /** Decodes so many bytes. Returns whether a part of them could not be decoded. */
    private boolean isDamaged(SoundCodec sound, byte[] bytes, int size) {
        boolean silent = true;
        NativeAudioCodec.Result result;
        int offset = 0;
        do {
            result = codec.process(sound, bytes, offset, size - offset);
            silent &= decoded.add(result.bytes()) == 0;
            offset = size - result.rest();
        } while (result.rest() > 0 && !result.failed());
        if (silent && !result.failed()) {
            decoded.skipPacket();
        }
        return result.failed() || silent && isMpeg(format) && beginsFrame(bytes, size);
    }

    private static long timeOf(Packet packet) {
        return packet.presentationTime() != Packet.NO_TIME ? packet.presentationTime() : packet.decodingTime();
    }

    /** The decoder of MPEG audio reports no errors. It searches for the next frame instead. */
    private static boolean isMpeg(WaveFormat format) {
        return format.formatTag() == WaveFormatTags.MPEG || format.formatTag() == WaveFormatTags.MP3;
    }

    /**
     * Whether a frame of MPEG audio begins here. Readers also deliver the bytes around the frames as packets: tags with
     * the title or the lyrics, zeros up to the end of the file, a frame that ends within its header.
     */
    private static boolean beginsFrame(byte[] bytes, int size) {
        return size >= MPEG_HEADER && (bytes[0] & 0xFF) == 0xFF && (bytes[1] & 0xE0) == 0xE0;
    }
}
