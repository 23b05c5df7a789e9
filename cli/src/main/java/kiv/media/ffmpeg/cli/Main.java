package kiv.media.ffmpeg.cli;

import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.function.Supplier;
import picocli.CommandLine;
import picocli.CommandLine.Command;

/** The command line: its commands, its exit statuses and the entry of the process. */
@Command(name = "kivjniffmpeg", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        description = "Looks into media files, decodes them and encodes sound with FFmpeg's libraries.",
        exitCodeListHeading = "%nExit status:%n",
        exitCodeList = {"0:Done.",
            "1:The input cannot be read, is no media file, or nothing in it can be decoded.",
            "2:Wrong usage.",
            "3:The codec or the pixel format is not supported.",
            "4:The output cannot be written.",
            "5:The native library or FFmpeg is missing or does not load, or no process to decode in starts.",
            "6:A fault of the program or of the virtual machine, such as too little memory.",
            "7:The input was cut off or its container is damaged; what could be read of it is done.",
            "8:The input crashed its decoder, made it hang or took too much; what was decoded before is done.",
            "130:Interrupted by Ctrl-C; 143 when it was another signal to end. What was not whole is removed.",
            "141:The program that read standard output closed it."})
public final class Main {

    /** In the order of the help. */
    private static final List<Subcommand> SUBCOMMANDS = List.of(new Subcommand("info", InfoCommand::new),
            new Subcommand("decode", DecodeCommand::new), new Subcommand("frame", FrameCommand::new),
            new Subcommand("thumbnails", ThumbnailsCommand::new), new Subcommand("index", IndexCommand::new),
            new Subcommand("encode", EncodeCommand::new), new Subcommand("frames-md5", FramesMd5Command::new),
            new Subcommand("formats", FormatsCommand::new), new Subcommand("completion", CompletionCommand::new),
            new Subcommand("help", CommandLine.HelpCommand::new));
    /** Those that speak of the others. */
    private static final Set<String> OVERVIEWS = Set.of("completion", "help");

    /** A command and how it is made: reading the options of one takes as long as opening a file. */
    private record Subcommand(String name, Supplier<Object> maker) {
    }

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
        ShutdownGuard.install();
        int status = run(args);
        // Where a signal ends the process, another exit would replace its status once the shutdown hooks have run.
        if (ShutdownGuard.workReturned()) {
            System.exit(status);
        }
    }

    /**
     * Runs a command.
     *
     * @param args the arguments
     * @return the {@linkplain ExitStatus exit status}
     */
    static int run(String... args) {
        CommandLine line = new CommandLine(new Main());
        List<Subcommand> named = SUBCOMMANDS.stream().filter(command -> args.length > 0 && command.name.equals(args[0])
                && !OVERVIEWS.contains(command.name)).toList();
        (named.isEmpty() ? SUBCOMMANDS : named).forEach(command -> line.addSubcommand(command.name, command.maker.get()));
        line.setCaseInsensitiveEnumValuesAllowed(true);
        line.registerConverter(Path.class, new FileNames.OutputConverter());
        line.setParameterExceptionHandler(FailureReport::wrongUsage);
        line.setExecutionExceptionHandler(FailureReport::failed);
        if (args.length == 0) {
            line.usage(System.err);
            return ExitStatus.USAGE;
        }
        try {
            return line.execute(args);
        } catch (Error e) {
            return FailureReport.failed(e);
        }
    }
}
