package kiv.media.ffmpeg;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/** Bytes that tests put together, as RIFF has them. */
final class Chunks {

    private Chunks() {
    }

    /** Numbers, whose low bytes come first, texts of a byte for each character, and bytes. */
    static byte[] bytes(Object... parts) {
        ByteBuffer all = ByteBuffer.allocate(1 << 16).order(ByteOrder.LITTLE_ENDIAN);
        for (Object part : parts) {
            if (part instanceof Integer number) {
                all.putInt(number);
            } else {
                all.put(part instanceof String text ? text.getBytes(StandardCharsets.ISO_8859_1) : (byte[]) part);
            }
        }
        return Arrays.copyOf(all.array(), all.position());
    }

    /** A chunk; one that holds others begins with what it is a list of. */
    static byte[] chunk(String name, Object... parts) {
        byte[] content = bytes(parts);
        return bytes(name, content.length, content);
    }
}
