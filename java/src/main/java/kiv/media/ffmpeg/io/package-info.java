/**
 * Streams of bytes. {@link kiv.media.ffmpeg.io.BlockInputStream} is the base class of the streams that JavaSound reads.
 *
 * <p>This package is not exported and knows nothing of the API.
 */
package kiv.media.ffmpeg.io;
