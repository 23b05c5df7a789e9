package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.wall.SoundCodec;

/** Derives the WAVE format of an encoder's packets in the form that decoders and other programs expect. */
final class EncoderWaveFormats {

    private static final int MP3_BITS = 144;
    private static final int MP3_HEADER_SIZE = 12;
    private static final short MP3_ID = 1;
    private static final int MP3_NEVER_PADDED = 2;
    private static final int G722_BITS = 4;
    private static final int MOST_LOSSLESS_BITS = 24;

    /** FFmpeg reports 0 and 50, but decoders deliver the sound this many frames later. */
    private static final int DTS_PADDING = 512;
    private static final int AMR_PADDING = 40;

    private EncoderWaveFormats() {
    }

    /**
     * Describes the packets of an open encoder.
     *
     * @param codec the encoder's format
     * @param samples the kind of the samples before they are encoded
     * @param sampleRate samples per second and channel
     * @param channels number of channels
     * @param sound the encoder
     */
    static WaveFormat of(AudioCodec codec, SampleFormat samples, int sampleRate, int channels, SoundCodec sound) {
        if (codec == AudioCodec.PCM) {
            return WaveFormat.pcm16(sampleRate, channels);
        }
        int bitRate = NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.BIT_RATE);
        int frameSize = NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.FRAME_SIZE);
        int bits = switch (codec) {
            case G722 -> G722_BITS;
            case FLAC, ALAC -> samples == SampleFormat.PCM_32 ? MOST_LOSSLESS_BITS : Short.SIZE;
            default -> NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.BITS_PER_CODED_SAMPLE);
        };
        // Packets of varying size have one byte as their smallest unit.
        int blockAlign = Math.max(1, NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.BLOCK_ALIGN));
        long bytesPerSecond;
        if (codec.hasBitRate()) {
            bytesPerSecond = bitRate / Byte.SIZE;
        } else if (codec.isOfFfmpeg()) {
            bytesPerSecond = 0;
        } else if (codec == AudioCodec.G722) {
            bytesPerSecond = (long) sampleRate * channels * G722_BITS / Byte.SIZE;
        } else {
            bytesPerSecond = (long) sampleRate * blockAlign / Math.max(1, frameSize);
        }
        byte[] header = specificHeader(codec, sound, sampleRate, bitRate, frameSize);
        try {
            return WaveFormat.of(codec.formatTag(), channels, sampleRate, (int) bytesPerSecond, blockAlign, bits, header);
        } catch (IllegalArgumentException e) {
            throw new EncodeException("the encoder's sound is of an impossible format: " + e.getMessage(), e);
        }
    }

    /** Frames of silence that an open encoder puts before the sound. */
    static int padding(AudioCodec codec, SoundCodec sound) {
        return switch (codec) {
            case DTS -> DTS_PADDING;
            case AMR_NB -> AMR_PADDING;
            default -> NativeAudioCodec.option(sound, c_codecoptions_ffmpeg.INITIAL_PADDING);
        };
    }

    private static byte[] specificHeader(AudioCodec codec, SoundCodec sound, int sampleRate, int bitRate, int frameSize) {
        if (codec == AudioCodec.ADPCM_IMA) {
            return littleEndian(Short.BYTES).putShort((short) frameSize).array();
        }
        if (codec == AudioCodec.MP3) {
            return littleEndian(MP3_HEADER_SIZE).putShort(MP3_ID).putInt(MP3_NEVER_PADDED)
                    .putShort((short) (MP3_BITS * (long) bitRate / sampleRate)).putShort((short) 1)
                    .putShort((short) padding(codec, sound)).array();
        }
        byte[] extradata = sound.extradata();
        return extradata == null ? new byte[0] : extradata;
    }

    private static ByteBuffer littleEndian(int size) {
        return ByteBuffer.allocate(size).order(ByteOrder.LITTLE_ENDIAN);
    }
}
