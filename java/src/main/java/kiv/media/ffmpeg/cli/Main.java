package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.InputStream;
import java.util.Properties;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.IVersionProvider;

/** The command line. */
@Command(name = "kivjniffmpeg", mixinStandardHelpOptions = true, versionProvider = Main.Version.class,
        subcommands = {DecodeCommand.class, EncodeCommand.class, InfoCommand.class},
        description = "Looks into media files, decodes them and encodes sound with FFmpeg.",
        exitCodeListHeading = "%nExit status:%n",
        exitCodeList = {"0:done", "1:the input, the output or the library is not usable", "2:wrong usage"})
public final class Main {

    private Main() {
    }

    /**
     * Runs a command and ends the process with its status.
     *
     * @param args the arguments
     */
    public static void main(String[] args) {
        // No command shows a window, and the toolkit must not look for a display.
        System.setProperty("java.awt.headless", "true");
        System.exit(run(args));
    }

    /**
     * Runs a command.
     *
     * @param args the arguments
     * @return the exit status: 0 done, 1 an unusable input, 2 wrong usage
     */
    static int run(String... args) {
        CommandLine line = new CommandLine(new Main());
        line.setCaseInsensitiveEnumValuesAllowed(true);
        line.setParameterExceptionHandler(Failures::wrongUsage);
        line.setExecutionExceptionHandler(Failures::failed);
        if (args.length == 0) {
            line.usage(System.err);
            return CommandLine.ExitCode.USAGE;
        }
        return line.execute(args);
    }

    /** Tells the version that the build wrote down. */
    static final class Version implements IVersionProvider {
        @Override
        public String[] getVersion() throws IOException {
            Properties properties = new Properties();
            try (InputStream in = Main.class.getResourceAsStream("version.properties")) {
                properties.load(in);
            }
            return new String[] {"kivjniffmpeg " + properties.getProperty("version")};
        }
    }
}
