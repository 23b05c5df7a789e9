/**
 * Reads and writes file headers without FFmpeg: {@link kiv.media.ffmpeg.headers.WaveFileHeader} writes the header of a
 * WAV file, {@link kiv.media.ffmpeg.headers.WaveFileLength} reads one, {@link kiv.media.ffmpeg.headers.AdtsHeader}
 * precedes each packet of AAC without a container, and {@link kiv.media.ffmpeg.headers.MediaSignatures} recognizes
 * media by their {@linkplain kiv.media.ffmpeg.headers.LeadingBytes first bytes}.
 *
 * <p>This package is not exported and knows nothing of the API.
 */
package kiv.media.ffmpeg.headers;
