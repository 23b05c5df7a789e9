/**
 * What the packets of a stream say without being decoded. {@link kiv.media.ffmpeg.index.PacketIndex} keeps their places,
 * times and sizes, a {@link kiv.media.ffmpeg.index.PacketExaminer} reads the heads of their pictures, and
 * {@link kiv.media.ffmpeg.index.FilmMap} numbers the pictures. Packets come as bytes and as fields.
 *
 * <p>This package is not exported and knows nothing of the API.
 */
package kiv.media.ffmpeg.index;
