package kiv.media.ffmpeg;

import java.io.IOException;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Collections;
import java.util.Map;
import java.util.WeakHashMap;

/** Lets tests of other packages give the native reader a file. */
public final class NativeSources {

    /** The source itself does not hold its channel. */
    private static final Map<Object, SeekableByteChannel> CHANNELS = Collections.synchronizedMap(new WeakHashMap<>());

    private NativeSources() {
    }

    /** A source for {@link c_mediareader_ffmpeg#n_reader_open}; its channel is left to the collector. */
    public static Object open(Path file) throws IOException {
        SeekableByteChannel channel = Files.newByteChannel(file);
        Object source = new c_mediareader_source(channel);
        CHANNELS.put(source, channel);
        return source;
    }
}
