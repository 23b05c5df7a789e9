/**
 * The command line. Start at {@link kiv.media.ffmpeg.cli.Main}, which lists the commands and the exit statuses. Each
 * command is a class that reads its options and does its work. What it throws becomes one line on standard error,
 * because standard output is for data alone. Outputs appear under their names when they are whole.
 *
 * <p>The command line is a program like any other: it uses the exported packages of the library only, so whoever writes
 * one finds examples here.
 */
package kiv.media.ffmpeg.cli;
