package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.InputStream;
import java.util.Properties;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.MediaException;
import kiv.media.ffmpeg.cli.report.VisibleText;
import picocli.CommandLine.IVersionProvider;

/** Shows the version that the build recorded, and the FFmpeg that is used. */
final class Version implements IVersionProvider {

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
            return VisibleText.of(FfmpegLibrary.build().toString());
        } catch (MediaException e) {
            return "FFmpeg: " + FailureReport.reason(e).replaceAll("\\R", " ");
        }
    }
}
