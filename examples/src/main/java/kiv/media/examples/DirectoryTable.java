package kiv.media.examples;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;

/** Prints what is in each file of a directory, some of them read at once: {@code DirectoryTable DIRECTORY}. */
public final class DirectoryTable {

    private DirectoryTable() {
    }

    public static void main(String[] args) throws IOException, InterruptedException, ExecutionException {
        ExecutorService threads = Executors.newFixedThreadPool(Runtime.getRuntime().availableProcessors());
        try (Stream<Path> files = Files.list(Path.of(args[0]))) {
            List<Future<String>> rows = new ArrayList<>();
            for (Path file : files.filter(Files::isRegularFile).sorted().toList()) {
                rows.add(threads.submit(() -> file.getFileName() + "\t" + describe(file)));
            }
            for (Future<String> row : rows) {
                System.out.println(row.get());
            }
        } finally {
            threads.shutdown();
        }
    }

    private static String describe(Path file) {
        try (MediaReader reader = MediaReader.open(file)) {
            String length = reader.duration().map(time -> time.toSeconds() + " s").orElse("unknown");
            String streams = reader.streams().stream().map(DirectoryTable::describe).collect(Collectors.joining(", "));
            return reader.formatName() + "\t" + length + "\t" + streams;
        } catch (IOException | MediaException e) {
            return e.getMessage();
        }
    }

    private static String describe(MediaStream stream) {
        return switch (stream.kind()) {
            case VIDEO -> stream.codecName() + " " + stream.shownWidth() + "x" + stream.shownHeight();
            case AUDIO -> stream.codecName() + " " + stream.sampleRate() + " Hz "
                    + stream.channelLayout().orElse(stream.channels() + " channels");
            default -> stream.codecName();
        };
    }
}
