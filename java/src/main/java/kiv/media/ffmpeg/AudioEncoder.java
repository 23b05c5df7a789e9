package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import kiv.media.ffmpeg.natives.PacketFields;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.wall.SoundCodec;

/**
 * Encodes interleaved PCM, of 16 bits unless others are chosen, into packets of a compressed format.
 *
 * <pre>{@code
 * try (AudioEncoder encoder = AudioEncoder.open(AudioCodec.FLAC, 44100, 2);
 *         AudioFileWriter file = AudioFileWriter.create(Path.of("song.flac"), encoder, AudioContainer.FLAC)) {
 *     for (AudioBlock block : blocks) {
 *         file.write(encoder.encode(block));
 *     }
 *     file.write(encoder.finish());
 *     file.finish(encoder.frames());
 * }
 * }</pre>
 *
 * <p>The packets' times count samples: their unit is one divided by the sample rate, and the first sample has the time
 * 0. Many formats put silence before it, the {@linkplain #initialPadding() padding}. Their first packet has a time
 * below 0.
 *
 * <p>An encoder may move from thread to thread, but two threads must not call it at the same time: the second one gets
 * a {@link MediaStateException}. So does each call after {@link #close()}. Different encoders work in parallel.
 */
public final class AudioEncoder implements AutoCloseable {

    /** Stands for the encoder's own choice of bit rate. */
    public static final int DEFAULT_BIT_RATE = 0;

    /** Frames in a packet when the encoder accepts any number. */
    private static final int FREE_FRAME_SIZE = 4096;
    /** More packets than any encoder holds back. */
    private static final int MOST_DELAYED = 64;

    private final NativeHandle<SoundCodec> handle;
    private final NativeAudioCodec nativeCodec = new NativeAudioCodec();
    private final AudioCodec codec;
    private final SampleFormat samples;
    private WaveFormat format;
    private final int bitRate;
    private final int frameSize;
    private final int initialPadding;
    private final byte[] frame;
    private int filled;
    private long frames;
    /** Frames in the packets so far, with the padding. */
    private long packed;
    private List<Packet> ready = new ArrayList<>();
    private boolean finished;

    private AudioEncoder(SoundCodec sound, AudioCodec codec, int sampleRate, int channels, int wantedBitRate,
            SampleFormat samples) {
        this.handle = new NativeHandle<>("encoder", this, sound, SoundCodec::delete);
        try {
            int layout = codec.channelLayout(channels);
            if ((codec.isOfFfmpeg() || wantedBitRate != DEFAULT_BIT_RATE || layout != 0)
                    && !NativeAudioCodec.reopen(sound, wantedBitRate, layout)) {
                throw new UnsupportedCodecException("the " + codec + " encoder does not open for " + sampleRate + " Hz, "
                        + (wantedBitRate == DEFAULT_BIT_RATE
                                ? channels + " channels; this FFmpeg's encoder may take other sound only"
                                : channels + " channels and " + wantedBitRate + " bit/s; try another bit rate"));
            }
            this.codec = codec;
            this.samples = samples;
            this.bitRate = NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.BIT_RATE);
            this.frameSize = NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.FRAME_SIZE);
            this.initialPadding = EncoderWaveFormats.padding(codec, sound);
            this.format = EncoderWaveFormats.of(codec, samples, sampleRate, channels, sound);
            this.frame = new byte[(frameSize == 0 ? FREE_FRAME_SIZE : frameSize) * channels * samples.bytes()];
        } catch (RuntimeException | Error e) {
            handle.close();
            throw MediaException.of(e, "opening an encoder", UnsupportedCodecException::new);
        }
    }

    /**
     * Opens an encoder with the bit rate that it chooses itself.
     *
     * @param codec the format to encode into
     * @param sampleRate samples per second and channel
     * @param channels number of channels
     * @return the encoder, to be closed
     * @throws UnsupportedCodecException when the loaded FFmpeg has no such encoder, or the encoder does not accept such
     *     sound
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioEncoder open(AudioCodec codec, int sampleRate, int channels) {
        return open(codec, sampleRate, channels, DEFAULT_BIT_RATE);
    }

    /**
     * Opens an encoder.
     *
     * @param codec the format to encode into
     * @param sampleRate samples per second and channel
     * @param channels number of channels
     * @param bitRate target in bits per second, or {@link #DEFAULT_BIT_RATE}; most formats support only certain rates
     * @return the encoder, to be closed
     * @throws UnsupportedCodecException when the loaded FFmpeg has no such encoder, or the encoder does not accept such
     *     sound or bit rate
     * @throws IllegalArgumentException when the format has a fixed bit rate, or a number is out of its range
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioEncoder open(AudioCodec codec, int sampleRate, int channels, int bitRate) {
        return open(codec, sampleRate, channels, bitRate, SampleFormat.PCM_16);
    }

    /**
     * Opens an encoder for samples of a kind.
     *
     * @param codec the format to encode into
     * @param sampleRate samples per second and channel
     * @param channels number of channels
     * @param bitRate target in bits per second, or {@link #DEFAULT_BIT_RATE}; most formats support only certain rates
     * @param samples the kind of the samples, of those that {@linkplain AudioCodec#accepts(SampleFormat) the format takes}
     * @return the encoder, to be closed
     * @throws UnsupportedCodecException when the loaded FFmpeg has no such encoder, or the encoder does not accept such
     *     sound or bit rate
     * @throws IllegalArgumentException when the format has a fixed bit rate, or a number is out of its range
     * @throws LibraryException when the library cannot be loaded
     */
    public static AudioEncoder open(AudioCodec codec, int sampleRate, int channels, int bitRate, SampleFormat samples) {
        return open(codec, sampleRate, channels, bitRate, samples, Isolation.usual());
    }

    /**
     * Opens an encoder in a place of the caller's. Otherwise as {@link #open(AudioCodec, int, int, int, SampleFormat)}.
     *
     * @param codec the format to encode into
     * @param sampleRate samples per second and channel
     * @param channels number of channels
     * @param bitRate target in bits per second, or {@link #DEFAULT_BIT_RATE}
     * @param samples the kind of the samples
     * @param isolation where the encoder works
     * @return the encoder, to be closed
     * @throws UnsupportedCodecException when the loaded FFmpeg has no such encoder, or the encoder does not accept such
     *     sound or bit rate
     * @throws IllegalArgumentException when the format has a fixed bit rate, or a number is out of its range
     */
    public static AudioEncoder open(AudioCodec codec, int sampleRate, int channels, int bitRate, SampleFormat samples,
            Isolation isolation) {
        Objects.requireNonNull(isolation, "isolation");
        Objects.requireNonNull(codec, "codec");
        if (!codec.accepts(Objects.requireNonNull(samples, "samples"))) {
            throw new UnsupportedCodecException(codec + " cannot be encoded from samples of the kind " + samples);
        }
        WaveFormat target = codec == AudioCodec.PCM ? WaveFormat.pcm16(sampleRate, channels)
                : WaveFormat.of(codec.formatTag(), channels, sampleRate, 0, 0, 0, new byte[0]);
        if (bitRate < 0 || bitRate != DEFAULT_BIT_RATE && !codec.hasBitRate()) {
            throw new IllegalArgumentException(bitRate < 0 ? "negative bit rate " + bitRate
                    : codec + " has no bit rate to choose");
        }
        if (!codec.accepts(sampleRate, channels)) {
            throw refused(codec, sampleRate, channels);
        }
        int lowest = codec.lowestBitRate(sampleRate, channels);
        int highest = codec.highestBitRate(sampleRate);
        if (bitRate != DEFAULT_BIT_RATE && (bitRate < lowest || bitRate > highest)) {
            throw new UnsupportedCodecException(codec + " of " + sampleRate + " Hz and " + channels + (channels == 1
                    ? " channel" : " channels") + " cannot be encoded at " + bitRate + " bit/s; it takes "
                    + (lowest == 0 ? "at most " : lowest + " to ") + highest);
        }
        Workplace place = isolation.place();
        SoundCodec made;
        try {
            made = codec.isOfFfmpeg() ? place.createSoundEncoder(codec.ffmpegName(), samples.number(), channels, sampleRate)
                    : place.createSoundEncoder(target.toNative());
        } catch (MediaException e) {
            throw e;
        } catch (RuntimeException e) {
            throw new UnsupportedCodecException("this FFmpeg has no encoder for " + codec + ": "
                    + MediaException.plain(e), e);
        }
        if (made == null) {
            throw refused(codec, sampleRate, channels);
        }
        return new AudioEncoder(made, codec, sampleRate, channels,
                bitRate == DEFAULT_BIT_RATE ? codec.defaultBitRate(sampleRate, channels) : bitRate, samples);
    }

    private static UnsupportedCodecException refused(AudioCodec codec, int sampleRate, int channels) {
        return new UnsupportedCodecException(codec + " cannot be encoded from " + sampleRate + " Hz and " + channels
                + (channels == 1 ? " channel" : " channels") + "; it takes " + codec.requirements());
    }

    /** {@return the format that it encodes into} */
    public AudioCodec codec() {
        return codec;
    }

    /** {@return the kind of the samples that it takes} */
    public SampleFormat sampleFormat() {
        return samples;
    }

    /**
     * {@return the format of the packets, complete for a decoder unless its tag is {@link WaveFormatTags#OTHER}} Some
     * encoders complete the {@linkplain #extradata() private data} in {@link #finish()}.
     */
    public WaveFormat format() {
        return format;
    }

    /** {@return the codec's private data, as a new array; empty when there is none} */
    public byte[] extradata() {
        return format.specificHeader();
    }

    /** {@return bits per second; 0 when the format has a fixed bit rate} */
    public int bitRate() {
        return codec.hasBitRate() ? bitRate : 0;
    }

    /** {@return frames of sound in a packet, a frame being one sample of each channel; 0 when any number fits} */
    public int frameSize() {
        return frameSize;
    }

    /** {@return frames of silence in the packets before the sound begins} */
    public int initialPadding() {
        return initialPadding;
    }

    /** {@return how many frames of sound it has received so far} */
    public long frames() {
        return frames;
    }

    /**
     * Encodes decoded sound.
     *
     * @param block sound with the encoder's sample rate and channels
     * @return the packets that are ready, often none or one
     * @throws IllegalArgumentException when its sample rate or its number of channels differs
     * @throws EncodeException when it cannot be encoded; the next call returns the packets that were made before
     * @throws MediaStateException when the encoder is finished, closed or in use
     * @throws MediaException when there is no memory left for the packets
     */
    public List<Packet> encode(AudioBlock block) {
        Objects.requireNonNull(block, "block");
        if (block.sampleRate() != format.sampleRate() || block.channels() != format.channels()
                || block.sampleFormat() != samples) {
            throw new IllegalArgumentException(block + " is not " + format.sampleRate() + " Hz, " + format.channels()
                    + " channels of the kind " + samples);
        }
        return encode(block.pcm());
    }

    /**
     * Encodes PCM.
     *
     * @param pcm any number of whole frames, little-endian
     * @return the packets that are ready
     * @throws IllegalArgumentException when the last frame is not whole
     * @throws EncodeException when it cannot be encoded; the next call returns the packets that were made before
     * @throws MediaStateException when the encoder is finished, closed or in use
     * @throws MediaException when there is no memory left for the packets
     */
    public List<Packet> encode(byte[] pcm) {
        return encode(ByteBuffer.wrap(Objects.requireNonNull(pcm, "pcm")));
    }

    /**
     * Encodes PCM.
     *
     * @param pcm any number of whole frames from the position to the limit, little-endian regardless of the buffer's
     *     order; the position moves to the limit
     * @return the packets that are ready
     * @throws IllegalArgumentException when the last frame is not whole
     * @throws EncodeException when it cannot be encoded; the next call returns the packets that were made before
     * @throws MediaStateException when the encoder is finished, closed or in use
     * @throws MediaException when there is no memory left for the packets
     */
    public List<Packet> encode(ByteBuffer pcm) {
        Objects.requireNonNull(pcm, "pcm");
        // With a position and a limit of its own, frames stay whole even if the caller moves the buffer's.
        ByteBuffer input = pcm.duplicate();
        if (input.remaining() % bytesOfFrame() != 0) {
            throw new IllegalArgumentException(input.remaining() + " bytes of PCM do not end with a frame of "
                    + bytesOfFrame() + " bytes");
        }
        return handle.call(sound -> {
            throwIfFinished();
            try {
                while (input.hasRemaining()) {
                    int taken = Math.min(input.remaining(), frame.length - filled);
                    input.get(frame, filled, taken);
                    filled += taken;
                    frames += taken / bytesOfFrame();
                    if (filled == frame.length) {
                        encodeFrame(sound);
                    }
                }
            } finally {
                pcm.position(input.position());
            }
            return deliver();
        });
    }

    /**
     * Ends the sound. Where packets have a fixed size, silence fills the last one. The encoder delivers the packets
     * that it holds back. {@link #frames()} is the length of the sound without that silence.
     *
     * @return the last packets
     * @throws EncodeException when the rest cannot be encoded
     * @throws MediaStateException when the encoder is finished, closed or in use
     * @throws MediaException when there is no memory left for the packets
     */
    public List<Packet> finish() {
        return handle.call(sound -> {
            throwIfFinished();
            if (filled > 0) {
                encodeFrame(sound);
            }
            long due = frames == 0 ? 0 : frames + initialPadding;
            boolean drained = codec.isOfFfmpeg() && !codec.fillsLastFrame();
            for (int extra = 0; !drained && frameSize > 0 && packed < due && extra < MOST_DELAYED; extra++) {
                encodeFrame(sound);
            }
            finished = true;
            if (codec.isOfFfmpeg() && frames > 0) {
                drain(sound);
            }
            return deliver();
        });
    }

    /**
     * Frees the encoder. A second call does nothing. Packets that it still holds are lost: call {@link #finish()}
     * first.
     *
     * @throws MediaStateException when another thread calls the encoder
     */
    @Override
    public void close() {
        handle.close();
    }

    private void throwIfFinished() {
        if (finished) {
            throw new MediaStateException("the encoder is finished; open another one");
        }
    }

    private int bytesOfFrame() {
        return format.channels() * samples.bytes();
    }

    /** Fetches what an encoder of FFmpeg's holds back, and the private data that it has completed. */
    private void drain(SoundCodec sound) {
        for (int packets = 0; packets < MOST_DELAYED && encode(sound, null, 0); packets++) {
            continue;
        }
        format = EncoderWaveFormats.of(codec, samples, format.sampleRate(), format.channels(), sound);
    }

    /** Calls an encoder of FFmpeg's, which states the times of its packets. Returns whether there was a packet. */
    private boolean encode(SoundCodec sound, byte[] pcm, int length) {
        long[] fields = new long[PacketFields.SIZE];
        byte[] bytes;
        try {
            bytes = sound.encode(pcm, length, fields);
        } catch (RuntimeException | Error e) {
            throw MediaException.of(e, "encoding", EncodeException::new);
        }
        if (bytes != null && bytes.length > 0) {
            long duration = fields[PacketFields.DURATION];
            ready.add(Packet.ofEncoder(bytes, fields[PacketFields.PRESENTATION_TIME], duration));
            packed += duration;
        }
        return bytes != null;
    }

    /** Encodes the collected frames. Some encoders deliver the packet a few calls later. */
    private void encodeFrame(SoundCodec sound) {
        if (codec.isOfFfmpeg()) {
            int size = codec.fillsLastFrame() ? frame.length : filled;
            Arrays.fill(frame, filled, size, (byte) 0);
            filled = 0;
            encode(sound, frame, size);
            return;
        }
        int length = frameSize == 0 ? filled : frame.length;
        Arrays.fill(frame, filled, length, (byte) 0);
        filled = 0;
        byte[] bytes;
        try {
            // PCM is what it is. The native codec for it takes no more than 32 channels.
            bytes = codec == AudioCodec.PCM ? Arrays.copyOf(frame, length)
                    : nativeCodec.process(sound, frame, 0, length).bytes();
        } catch (RuntimeException | Error e) {
            // The lost frames still take their time, so that the next packet keeps its own.
            packed += length / bytesOfFrame();
            throw MediaException.of(e, "encoding", EncodeException::new);
        }
        if (bytes.length > 0) {
            long duration = length / bytesOfFrame();
            ready.add(Packet.ofEncoder(bytes, packed - initialPadding, duration));
            packed += duration;
        }
    }

    private List<Packet> deliver() {
        List<Packet> packets = ready;
        ready = new ArrayList<>();
        return packets;
    }
}
