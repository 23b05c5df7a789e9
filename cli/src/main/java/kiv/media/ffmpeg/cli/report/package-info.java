/**
 * The page that shows what was decoded: one file that needs no network and no script. Start at
 * {@link kiv.media.ffmpeg.cli.report.DecodeReport}, which collects pictures and sound while they are decoded and writes
 * the page. Names of files and streams are somebody else's texts and are always escaped.
 */
package kiv.media.ffmpeg.cli.report;
