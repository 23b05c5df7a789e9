package kiv.media.examples;

import java.awt.GraphicsEnvironment;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.file.Path;
import java.time.Duration;
import java.util.Optional;
import java.util.concurrent.TimeUnit;
import java.util.function.Consumer;
import javax.sound.sampled.AudioFormat;
import javax.sound.sampled.AudioSystem;
import javax.sound.sampled.LineUnavailableException;
import javax.sound.sampled.SourceDataLine;
import javax.swing.ImageIcon;
import javax.swing.JFrame;
import javax.swing.JLabel;
import javax.swing.SwingUtilities;
import javax.swing.WindowConstants;
import kiv.media.ffmpeg.AudioBlock;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.VideoDecoder;

/**
 * Plays a film, each picture at its time: {@code Player FILM}. Pictures and sound have a reader and a thread each. Without a
 * screen or a sound card it goes on without them. At the end it prints how many pictures and samples it has played.
 */
public final class Player {

    private final Path film;
    private final long start = System.nanoTime();
    private long samples;

    private Player(Path film) {
        this.film = film;
    }

    public static void main(String[] args) throws IOException, InterruptedException {
        Player player = new Player(Path.of(args[0]));
        Thread sound = new Thread(player::playSound);
        sound.start();
        int pictures = player.playPictures(GraphicsEnvironment.isHeadless() ? image -> { } : window(args[0]));
        sound.join();
        System.out.println(pictures + " pictures, " + player.samples + " samples");
    }

    private int playPictures(Consumer<BufferedImage> screen) throws IOException, InterruptedException {
        int count = 0;
        try (MediaReader reader = MediaReader.open(film); VideoDecoder decoder = VideoDecoder.open(reader)) {
            for (Picture picture : decoder.each(reader)) {
                try (picture) {
                    BufferedImage image = picture.toShownImage();
                    waitFor(picture.time(), reader);
                    screen.accept(image);
                    count++;
                }
            }
        }
        return count;
    }

    private void playSound() {
        try (MediaReader reader = MediaReader.open(film)) {
            if (reader.firstAudio().isEmpty()) {
                return;
            }
            try (AudioDecoder decoder = AudioDecoder.open(reader);
                    SourceDataLine line = line(decoder.pcmFormat().sampleRate(), decoder.pcmFormat().channels())) {
                for (AudioBlock block : decoder.each(reader)) {
                    if (samples == 0 || line == null) {
                        waitFor(block.time(), reader);
                    }
                    if (line != null) {
                        byte[] pcm = block.toBytes();
                        line.write(pcm, 0, pcm.length);
                    }
                    samples += block.frames();
                }
                if (line != null) {
                    line.drain();
                }
            }
        } catch (IOException | MediaException | InterruptedException e) {
            System.err.println("the sound ends: " + e.getMessage());
        }
    }

    /** Waits until a time of the film, which begins when the player does. */
    private void waitFor(Optional<Duration> time, MediaReader reader) throws InterruptedException {
        Duration beginning = reader.startTime().orElse(Duration.ZERO);
        long nanoseconds = time.orElse(beginning).minus(beginning).toNanos() - (System.nanoTime() - start);
        TimeUnit.NANOSECONDS.sleep(nanoseconds);
    }

    /** Null when the sound cannot be heard here. */
    private static SourceDataLine line(int sampleRate, int channels) {
        try {
            AudioFormat format = new AudioFormat(sampleRate, Short.SIZE, channels, true, false);
            SourceDataLine line = AudioSystem.getSourceDataLine(format);
            line.open(format);
            line.start();
            return line;
        } catch (LineUnavailableException | IllegalArgumentException e) {
            return null;
        }
    }

    private static Consumer<BufferedImage> window(String title) {
        JLabel screen = new JLabel();
        JFrame frame = new JFrame(title);
        frame.add(screen);
        frame.setDefaultCloseOperation(WindowConstants.EXIT_ON_CLOSE);
        return image -> SwingUtilities.invokeLater(() -> {
            screen.setIcon(new ImageIcon(image));
            if (!frame.isVisible()) {
                frame.pack();
                frame.setVisible(true);
            }
        });
    }
}
