package kiv.media.ffmpeg.loading;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Optional;
import java.util.OptionalInt;
import java.util.stream.Stream;

/**
 * A line of FFmpeg's releases, whose libraries have the same majors.
 *
 * @param releases FFmpeg's versions, for messages
 * @param avutil the major of libavutil
 * @param swresample the major of libswresample
 * @param swscale the major of libswscale
 * @param avcodec the major of libavcodec, which names the line
 * @param avformat the major of libavformat
 */
record FfmpegLine(String releases, int avutil, int swresample, int swscale, int avcodec, int avformat) {

    /** The line whose interface the native library speaks. The bridge has these names too. */
    static final FfmpegLine OWN = new FfmpegLine("2.5 to 2.8", 54, 1, 3, 56, 56);
    /** The lines that work behind the bridge, the newest first. */
    static final List<FfmpegLine> NEWER = List.of(
            new FfmpegLine("8.0", 60, 6, 9, 62, 62),
            new FfmpegLine("7.0 and 7.1", 59, 5, 8, 61, 61),
            new FfmpegLine("6.0 and 6.1", 58, 4, 7, 60, 60),
            new FfmpegLine("5.1", 57, 4, 6, 59, 59));
    /** All of them. */
    static final List<FfmpegLine> ALL = Stream.concat(Stream.of(OWN), NEWER.stream()).toList();
    /** What messages say of a line that is none of these. */
    static final String SUPPORTED = "FFmpeg 2.5 to 2.8 (libavcodec 56) and 5.1 to 8.0 (libavcodec 59 to 62) are supported";

    /** Libraries for graphics cards, which libavutil and libavcodec need, under the names of several releases. */
    static final List<String> HELPERS = List.of("libdrm.so.2", "libva.so", "libva.so.1", "libva.so.2", "libva-drm.so",
            "libva-drm.so.1", "libva-drm.so.2");

    /** {@return the five libraries, each behind those that it needs} */
    List<String> libraries() {
        return List.of("libavutil.so." + avutil, "libswresample.so." + swresample, "libavcodec.so." + avcodec,
                "libavformat.so." + avformat, "libswscale.so." + swscale);
    }

    /** {@return the library that only this line has} */
    String mark() {
        return "libavcodec.so." + avcodec;
    }

    /** {@return the first of the five libraries that a directory lacks} */
    Optional<String> missingIn(Path directory) {
        return libraries().stream().filter(name -> !Files.isRegularFile(directory.resolve(name))).findFirst();
    }

    /** {@return whether a directory holds all five libraries} */
    boolean isIn(Path directory) {
        return missingIn(directory).isEmpty();
    }

    /** {@return the line in a directory: its own, which may be the bridge, before the newer ones} */
    static Optional<FfmpegLine> of(Path directory) {
        return ALL.stream().filter(line -> line.isIn(directory)).findFirst();
    }

    /** {@return the greatest major of libavcodec in a directory} */
    static OptionalInt newestIn(Path directory) {
        String prefix = "libavcodec.so.";
        String[] files = directory.toFile().list();
        return files == null ? OptionalInt.empty() : Stream.of(files).filter(name -> name.matches(prefix + "\\d{1,3}"))
                .mapToInt(name -> Integer.parseInt(name.substring(prefix.length()))).max();
    }
}
