package kiv.media.bench;

import java.nio.file.Path;

/**
 * What all participants of a comparison are asked for.
 *
 * @param kind what comes out
 * @param file a file with one stream of that kind
 * @param threads of the decoder; 0 for what the participant does when it is not told
 * @param width of the images, or 0 for that of the film
 * @param height of the images, or 0
 */
record Task(Kind kind, Path file, int threads, int width, int height) {

    /** Kinds of tasks. */
    enum Kind {
        /** Every picture, in the decoder's own format, from a file. */
        FILM,
        /** The same from packets that were read before. */
        PACKETS,
        /** Every picture of a file as an image. */
        IMAGES,
        /** Every sample of a file, as 16 bits where the participant can. */
        SOUND
    }

    boolean isScaled() {
        return width != 0;
    }

    UnsupportedOperationException unsupported() {
        return new UnsupportedOperationException(kind + " is not for this participant");
    }
}
