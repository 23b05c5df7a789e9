package kiv.media.ffmpeg.cli.report;

/**
 * Shows texts that come from files and paths, such as names. A control character in one could move the cursor of a
 * terminal or change its title, and a mark of direction lets text read as something else.
 */
public final class VisibleText {

    private static final int CONTROL_PICTURES = 0x2400;
    private static final int DELETE = 0x7F;
    private static final int DELETE_PICTURE = 0x2421;
    private static final int REPLACEMENT = 0xFFFD;

    private VisibleText() {
    }

    /**
     * Replaces each character that is invisible, that no page may contain, or that turns the direction of the text behind
     * it, with a visible sign.
     *
     * @param text any text
     * @return the text to show, on one line
     */
    public static String of(String text) {
        StringBuilder clean = new StringBuilder();
        text.codePoints().forEach(c -> clean.appendCodePoint(c < ' ' ? CONTROL_PICTURES + c : c == DELETE
                ? DELETE_PICTURE : isUnfit(c) ? REPLACEMENT : c));
        return clean.toString();
    }

    /**
     * Checks whether a character is not to be shown as it is.
     *
     * @param c a code point
     * @return whether it is a control character, half of one, a separator of lines, a mark of direction or no character
     */
    public static boolean isUnfit(int c) {
        return switch (Character.getType(c)) {
            case Character.CONTROL, Character.SURROGATE, Character.LINE_SEPARATOR, Character.PARAGRAPH_SEPARATOR -> true;
            default -> (c & 0xFFFE) == 0xFFFE || c >= 0xFDD0 && c <= 0xFDEF || c >= 0x202A && c <= 0x202E
                    || c >= 0x2066 && c <= 0x2069 || c == 0x200E || c == 0x200F || c == 0x061C;
        };
    }
}
