package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Properties;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.MediaException;
import picocli.CommandLine.IVersionProvider;

/** Shows the version that the build recorded, and that of the FFmpeg which would be used. */
final class Version implements IVersionProvider {

    /** Every build of FFmpeg writes its version into each library in this form. */
    private static final Pattern MARK = Pattern.compile("FFmpeg version ([0-9N][!-~]*)");
    private static final String BASE_LIBRARY = "libavutil.so.54";

    @Override
    public String[] getVersion() throws IOException {
        return new String[] {"kivjniffmpeg " + own(), ffmpeg(),
            "Java " + Runtime.version() + ", " + System.getProperty("java.vm.name")};
    }

    static String own() throws IOException {
        Properties properties = new Properties();
        try (InputStream in = Version.class.getResourceAsStream("version.properties")) {
            properties.load(in);
        }
        return properties.getProperty("version");
    }

    private static String ffmpeg() {
        try {
            Path directory = FfmpegLibrary.directory();
            Path library = directory.resolve(BASE_LIBRARY);
            Matcher mark = MARK.matcher(new String(Files.readAllBytes(library), StandardCharsets.ISO_8859_1));
            return "FFmpeg " + (mark.find() ? mark.group(1) : "of unknown version") + " in " + directory + " ("
                    + "avcodec 56, avformat 56, avutil 54, swresample 1, swscale 3"
                    + ")";
        } catch (MediaException | IOException e) {
            return "FFmpeg: " + FailureReport.reason(e).replaceAll("\\R", " ");
        }
    }
}
