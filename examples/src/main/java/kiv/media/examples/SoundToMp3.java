package kiv.media.examples;

import java.io.IOException;
import java.nio.file.Path;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioEncoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.MediaReader;

/** Encodes the sound of a film or of a sound file: {@code SoundToMp3 FILE FILE.mp3}. */
public final class SoundToMp3 {

    private static final int BIT_RATE = 128_000;

    private SoundToMp3() {
    }

    public static void main(String[] args) throws IOException {
        try (MediaReader reader = MediaReader.open(Path.of(args[0]));
                AudioDecoder decoder = AudioDecoder.open(reader);
                AudioEncoder encoder = AudioEncoder.open(AudioCodec.MP3, decoder.format().sampleRate(),
                        decoder.format().channels(), BIT_RATE);
                AudioFileWriter file = AudioFileWriter.create(Path.of(args[1]), encoder.format(),
                        AudioContainer.RAW)) {
            for (AudioBlock block : decoder.each(reader)) {
                file.write(encoder.encode(block));
            }
            // What the encoder keeps back: nothing is lost at the end.
            file.write(encoder.finish());
            file.finish(encoder.frames());
        }
    }
}
