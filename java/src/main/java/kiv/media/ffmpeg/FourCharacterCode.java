package kiv.media.ffmpeg;

import java.util.Objects;

/**
 * Converts four-character codes between text and 32-bit values. The low byte holds the first character.
 *
 * <pre>{@code
 * if (stream.codecTag() != FourCharacterCode.of("avc1")) {
 *     System.out.println("not avc1 but " + FourCharacterCode.toText(stream.codecTag()));
 * }
 * }</pre>
 */
public final class FourCharacterCode {

    private FourCharacterCode() {
    }

    /**
     * Converts a text.
     *
     * @param text four characters of Latin-1
     * @return its value
     * @throws IllegalArgumentException when the text does not consist of four characters of Latin-1
     */
    public static int of(String text) {
        if (Objects.requireNonNull(text, "text").length() != 4) {
            throw new IllegalArgumentException("a four-character code has four characters: \"" + text + "\"");
        }
        int code = 0;
        for (int i = 3; i >= 0; i--) {
            char character = text.charAt(i);
            if (character > 0xFF) {
                throw new IllegalArgumentException("not a character of Latin-1 in \"" + text + "\"");
            }
            code = code << 8 | character;
        }
        return code;
    }

    /**
     * Formats a code for display: its four characters, or a hexadecimal number when one of them is not printable.
     *
     * @param code the code
     * @return the text
     */
    public static String toText(int code) {
        StringBuilder text = new StringBuilder(4);
        for (int shift = 0; shift < 32; shift += 8) {
            int character = code >>> shift & 0xFF;
            if (character < 0x20 || character > 0x7E) {
                return String.format("0x%08x", code);
            }
            text.append((char) character);
        }
        return text.toString();
    }
}
