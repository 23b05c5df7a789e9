package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** Lets tests of other packages give the native reader a file. */
public final class NativeSources {

    private NativeSources() {
    }

    /** A source for {@link c_mediareader_ffmpeg#n_reader_open}; its channel is closed with the process. */
    public static Object open(Path file) throws IOException {
        return new c_mediareader_source(Files.newByteChannel(file));
    }
}
