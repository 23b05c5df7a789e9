/** The page that shows what was decoded: one file that needs no network and no script. */
package kiv.media.ffmpeg.cli.report;
