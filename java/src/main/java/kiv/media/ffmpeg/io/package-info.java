/**
 * Streams of bytes, without anything that is known of media. {@link kiv.media.ffmpeg.io.BlockInputStream} is the base
 * of the streams that JavaSound reads.
 *
 * <p>This package is not exported and knows nothing of the API.
 */
package kiv.media.ffmpeg.io;
