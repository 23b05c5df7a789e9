/**
 * Processes behind the wall: the workers, the memory that they share, and what is said to them. The interfaces here are what
 * the API needs of a reader, a splitter or a codec, on whichever side of the wall it works.
 */
package kiv.media.ffmpeg.wall;
