package kiv.media.ffmpeg;

import java.util.Arrays;
import kiv.media.ffmpeg.natives.AudioParams;
import kiv.media.ffmpeg.natives.AudioStatus;
import kiv.media.ffmpeg.natives.ProcessFlags;
import kiv.media.ffmpeg.natives.c_codecoptions_ffmpeg;
import kiv.media.ffmpeg.wall.PacketAhead;
import kiv.media.ffmpeg.wall.SoundCodec;

/**
 * Processes sound with one native codec. Each call empties the codec's output queue, because a codec with waiting
 * output reads no input.
 */
final class NativeAudioCodec {

    /** One second of stereo. Larger output makes the array grow. */
    private static final int FIRST_ROOM = 192 * 1024;
    private static final byte[] NOTHING = {};

    /**
     * The result of a call.
     *
     * @param bytes the output, which the caller owns
     * @param failed whether a part of the input could not be decoded
     * @param rest bytes of the input that were not consumed
     */
    record Result(byte[] bytes, boolean failed, int rest) {
    }

    private final int[] params = new int[AudioParams.SIZE_WITH_SKIPPED];
    private byte[] room = new byte[FIRST_ROOM];
    /** The last call ended with an exception, so output may wait in the queue. */
    private boolean unsure;

    /**
     * Reopens a codec. An open codec accepts no options, and a reset does not restore the state of every decoder.
     *
     * @param bitRate bits per second, or 0 for no change
     * @param channelLayout FFmpeg's number of an encoder's layout of channels, or 0 for no change
     * @return whether the codec is open
     */
    static boolean reopen(SoundCodec codec, int bitRate, int channelLayout) {
        codec.close();
        if (bitRate > 0) {
            codec.setOption(c_codecoptions_ffmpeg.BIT_RATE, bitRate);
        }
        if (channelLayout > 0) {
            codec.setOption(c_codecoptions_ffmpeg.CHANNEL_LAYOUT, channelLayout);
        }
        return codec.open();
    }

    /** Closes a decoder, chooses its output and has it resample sound of a changed rate without a break. */
    static void configureDecoder(SoundCodec codec, SampleFormat samples) {
        codec.close();
        codec.setOption(c_codecoptions_ffmpeg.SAMPLE_FORMAT, samples.number());
        codec.setOption(c_codecoptions_ffmpeg.CONTINUOUS, 1);
    }

    /** Samples that a decoder says are not to be heard, since it was opened, as of the last call. */
    long skipped() {
        return (long) params[AudioParams.SKIPPED_HIGH] << Integer.SIZE
                | Integer.toUnsignedLong(params[AudioParams.SKIPPED_LOW]);
    }

    /** The value of an option, one of {@link c_codecoptions_ffmpeg}. */
    static int option(SoundCodec codec, String name) {
        return (int) codec.option(name);
    }

    /**
     * Processes bytes of an array and returns the output that is ready. A decoder that has filled the room leaves the
     * rest of a packet to the next call.
     */
    Result process(SoundCodec codec, byte[] in, int offset, int length) {
        return call(codec, in, offset, length, ProcessFlags.WHOLE_PACKET);
    }

    /** Ends a decoder's stream and returns output that it held back. Nothing is left when there is no output. */
    Result drain(SoundCodec codec) {
        return call(codec, null, 0, 0, ProcessFlags.DRAIN | ProcessFlags.WHOLE_PACKET);
    }

    /** Has a codec decode a packet before {@link #process} is called with it. */
    void add(SoundCodec codec, PacketAhead packet) {
        int[] ahead = new int[AudioParams.SIZE_WITH_SKIPPED];
        ahead[AudioParams.LENGTH] = packet.length();
        ahead[AudioParams.FLAGS] = ProcessFlags.WHOLE_PACKET;
        ahead[AudioParams.OUT_LENGTH] = room.length;
        codec.add(packet, ahead);
    }

    private Result call(SoundCodec codec, byte[] in, int offset, int length, int flags) {
        byte[] before = unsure ? fetch(codec) : NOTHING;
        unsure = true;
        params[AudioParams.OFFSET] = offset;
        params[AudioParams.LENGTH] = length;
        params[AudioParams.FLAGS] = flags;
        params[AudioParams.OUT_OFFSET] = 0;
        params[AudioParams.OUT_LENGTH] = room.length;
        int result = codec.process(in, room, params);
        int rest = params[AudioParams.LENGTH];
        // Output that fills the room ends a call, so there is no error behind it.
        boolean failed = (result & AudioStatus.DECODING_ERROR) != 0;
        byte[] bytes = (result & AudioStatus.OUTPUT_TOO_SMALL) != 0 ? fetch(codec)
                : takeOut(codec, result);
        unsure = false;
        return new Result(join(before, bytes), failed, rest);
    }

    /** Empties the queue. Output for which there is no memory is dropped, because a full queue blocks the codec. */
    private byte[] fetch(SoundCodec codec) {
        try {
            return fetchAll(codec);
        } catch (OutOfMemoryError e) {
            codec.reset();
            unsure = false;
            throw e;
        }
    }

    private byte[] fetchAll(SoundCodec codec) {
        params[AudioParams.OFFSET] = 0;
        params[AudioParams.LENGTH] = 0;
        params[AudioParams.FLAGS] = 0;
        params[AudioParams.OUT_OFFSET] = 0;
        params[AudioParams.OUT_LENGTH] = room.length;
        int result = codec.process(null, room, params);
        if ((result & AudioStatus.OUTPUT_TOO_SMALL) != 0) {
            room = new byte[grown(params[AudioParams.OUT_LENGTH])];
            params[AudioParams.OUT_LENGTH] = room.length;
            result = codec.process(null, room, params);
        }
        return takeOut(codec, result);
    }

    private byte[] takeOut(SoundCodec codec, int result) {
        if ((result & (AudioStatus.OUTPUT_LOST | AudioStatus.OUTPUT_TOO_SMALL)) != 0) {
            throw new IllegalStateException("the library did not hand out its sound: " + result);
        }
        int length = params[AudioParams.OUT_LENGTH];
        return length == 0 ? NOTHING : codec.output(room, length);
    }

    private static byte[] join(byte[] before, byte[] bytes) {
        if (before.length == 0) {
            return bytes;
        }
        byte[] joined = Arrays.copyOf(before, before.length + bytes.length);
        System.arraycopy(bytes, 0, joined, before.length, bytes.length);
        return joined;
    }

    private static int grown(int needed) {
        return (int) Math.min(Integer.MAX_VALUE - 8L, needed + needed / 2L);
    }
}
