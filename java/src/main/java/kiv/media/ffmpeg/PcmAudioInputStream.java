package kiv.media.ffmpeg;

import java.io.IOException;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioInputStream;

/** Decoded sound for JavaSound. After the close every read throws, also at the end, where the superclass returns -1. */
final class PcmAudioInputStream extends AudioInputStream {

    private final PcmInputStream sound;

    /** @param frames length in frames, or {@link javax.sound.sampled.AudioSystem#NOT_SPECIFIED} */
    PcmAudioInputStream(PcmInputStream sound, WaveFormat pcm, long frames) {
        super(sound, new AudioFormat(
                pcm.formatTag() == WaveFormatTags.FLOAT ? AudioFormat.Encoding.PCM_FLOAT : AudioFormat.Encoding.PCM_SIGNED,
                pcm.sampleRate(), pcm.bitsPerSample(), pcm.channels(), pcm.blockAlign(), pcm.sampleRate(), false), frames);
        this.sound = sound;
    }

    @Override
    public int read(byte[] to, int offset, int length) throws IOException {
        sound.ensureOpen();
        return super.read(to, offset, length);
    }

    @Override
    public int available() throws IOException {
        sound.ensureOpen();
        return super.available();
    }

    @Override
    public long skip(long bytes) throws IOException {
        sound.ensureOpen();
        return super.skip(bytes);
    }
}
