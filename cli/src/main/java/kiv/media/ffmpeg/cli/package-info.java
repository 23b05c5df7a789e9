/**
 * The command line. Start at {@link kiv.media.ffmpeg.cli.Main}, which lists the commands and the exit statuses. Each
 * command is a class that reads its options and does its work. What it throws becomes one line on standard error,
 * because standard output is for data alone. Outputs appear under their names when they are whole.
 *
 * <p>What belongs together:
 * <ul>
 *   <li>Commands: {@code InfoCommand}, {@code DecodeCommand}, {@code EncodeCommand}, {@code FramesMd5Command},
 *       {@code FormatsCommand} and {@code CompletionCommand}, with {@code MediaInputs} and {@code LibraryOptions}, the
 *       options that they share. {@code FailureReport} turns what they throw into a line and an exit status.</li>
 *   <li>Inputs: {@code MediaInput} opens a file, which {@code FileNames} finds, or {@code StandardInput}.
 *       {@code Diagnosis} says what else a file is that does not open, {@code FileEnd} whether its end is missing.</li>
 *   <li>Decoding a part of a file: {@code DecodeJob} with {@code PacketSource}, {@code TimeRange}
 *       and the two clocks.</li>
 *   <li>Outputs: {@code PngPictures}, {@code OnePicture}, {@code RawPictures}, {@code SoundWriter} and
 *       {@code DecodePage} write through {@code OutputFile} and {@code SoundFile}. {@code ShutdownGuard} closes those when
 *       a signal ends the process.</li>
 *   <li>The terminal: {@code ConsoleText}, {@code Table}, {@code Json} and {@code Progress}.</li>
 * </ul>
 *
 * <p>The command line is a program like any other: it uses the exported packages of the library only, so whoever writes
 * one finds examples here.
 */
package kiv.media.ffmpeg.cli;
