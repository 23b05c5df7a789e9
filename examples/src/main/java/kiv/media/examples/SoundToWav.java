package kiv.media.examples;

import java.io.IOException;
import java.nio.file.Path;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioContainer;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioFileWriter;
import kiv.media.ffmpeg.MediaReader;

/** Prints who made a song, and writes its sound as a WAV file: {@code SoundToWav FILE FILE.wav}. */
public final class SoundToWav {

    private SoundToWav() {
    }

    public static void main(String[] args) throws IOException {
        try (MediaReader reader = MediaReader.open(Path.of(args[0]));
                AudioDecoder decoder = AudioDecoder.open(reader);
                AudioFileWriter wav = AudioFileWriter.create(Path.of(args[1]), decoder.pcmFormat(), AudioContainer.WAV)) {
            System.out.println("title: " + reader.tags().title().orElse("unknown"));
            System.out.println("artist: " + reader.tags().artist().orElse("unknown"));
            for (AudioBlock block : decoder.each(reader)) {
                wav.write(block);
            }
            wav.finish();
        }
    }
}
