/**
 * What knows the bytes of headers and needs no FFmpeg for it: {@link kiv.media.ffmpeg.headers.WaveFileHeader} writes the
 * beginning of a WAV file, {@link kiv.media.ffmpeg.headers.WaveFileLength} reads one,
 * {@link kiv.media.ffmpeg.headers.AdtsHeader} stands before each packet of AAC without a container, and
 * {@link kiv.media.ffmpeg.headers.MediaSignatures} recognizes media by their
 * {@linkplain kiv.media.ffmpeg.headers.LeadingBytes first bytes}.
 *
 * <p>This package is not exported and knows nothing of the API.
 */
package kiv.media.ffmpeg.headers;
