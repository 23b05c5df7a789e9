package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.channels.SeekableByteChannel;
import java.nio.charset.StandardCharsets;
import java.util.LinkedHashMap;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;

/** Says what a file is that cannot be opened, when it is none of the usual media. */
final class Diagnosis {

    private static final int HEAD = 4096;
    private static final int LONGEST_CHARACTER = 4;

    /** How files begin, in ISO 8859-1, and what they are. */
    private static final Map<String, String> BEGINNINGS = new LinkedHashMap<>();

    static {
        BEGINNINGS.put("\u0089PNG", "an image (PNG)");
        BEGINNINGS.put("\u00ff\u00d8\u00ff", "an image (JPEG)");
        BEGINNINGS.put("GIF8", "an image (GIF)");
        BEGINNINGS.put("BM", "an image (BMP)");
        BEGINNINGS.put("II*\0", "an image (TIFF)");
        BEGINNINGS.put("MM\0*", "an image (TIFF)");
        BEGINNINGS.put("8BPS", "an image (Photoshop)");
        BEGINNINGS.put("PK\3\4", "an archive (ZIP); unpack it first");
        BEGINNINGS.put("\u001f\u008b", "an archive (gzip); unpack it first");
        BEGINNINGS.put("BZh", "an archive (bzip2); unpack it first");
        BEGINNINGS.put("\u00fd7zXZ", "an archive (xz); unpack it first");
        BEGINNINGS.put("7z\u00bc\u00af", "an archive (7-Zip); unpack it first");
        BEGINNINGS.put("Rar!", "an archive (RAR); unpack it first");
        BEGINNINGS.put("%PDF", "a document (PDF)");
        BEGINNINGS.put("MThd", "a score (MIDI), which has no sound");
        BEGINNINGS.put("\u007fELF", "a program");
        BEGINNINGS.put("#EXTM3U", "a playlist; name the files that it lists");
        BEGINNINGS.put("[playlist]", "a playlist; name the files that it lists");
    }

    private Diagnosis() {
    }

    /** Returns why the file cannot be opened; empty when nothing is known about that. */
    static Optional<String> of(SeekableByteChannel file) throws IOException {
        byte[] head = head(file);
        if (head.length == 0) {
            return Optional.of("not a media file: it is empty");
        }
        Optional<String> kind = kind(head);
        if (kind.isPresent()) {
            return kind.map(what -> "not a media file but " + what);
        }
        Optional<String> missing = FileEnd.missing(file);
        if (FileEnd.lacksMoov(file)) {
            return Optional.of("moov atom not found: " + missing.orElse("its recording was never finished"));
        }
        return missing;
    }

    private static byte[] head(SeekableByteChannel file) throws IOException {
        ByteBuffer bytes = ByteBuffer.allocate(HEAD);
        file.position(0);
        while (bytes.hasRemaining() && file.read(bytes) >= 0) {
            continue;
        }
        byte[] head = new byte[bytes.flip().remaining()];
        bytes.get(head);
        return head;
    }

    private static Optional<String> kind(byte[] head) {
        String bytes = new String(head, StandardCharsets.ISO_8859_1);
        if (bytes.chars().allMatch(c -> c == 0)) {
            return Optional.of("zeros, as a download that is not finished begins");
        }
        if (bytes.regionMatches(0, "RIFF", 0, 4) && bytes.regionMatches(8, "WEBP", 0, 4)) {
            return Optional.of("an image (WebP)");
        }
        if (bytes.length() > 12 && bytes.startsWith("ftyp", 4) && bytes.substring(8, 12).matches("hei.|hev.|mif1|msf1|avi.")) {
            return Optional.of("an image (HEIF)");
        }
        Optional<String> known = BEGINNINGS.entrySet().stream().filter(entry -> bytes.startsWith(entry.getKey()))
                .map(Map.Entry::getValue).findFirst();
        if (known.isPresent() || !isText(head)) {
            return known;
        }
        String start = bytes.stripLeading().toLowerCase(Locale.ROOT);
        return Optional.of(start.startsWith("<!doctype html") || start.startsWith("<html")
                ? "a web page, as comes when a download goes wrong" : "a text");
    }

    /** Returns whether these bytes are UTF-8 without control characters; the last character may be cut. */
    private static boolean isText(byte[] head) {
        CharBuffer text = CharBuffer.allocate(head.length);
        ByteBuffer bytes = ByteBuffer.wrap(head);
        StandardCharsets.UTF_8.newDecoder().decode(bytes, text, false);
        return bytes.remaining() < LONGEST_CHARACTER && text.flip().chars()
                .allMatch(c -> c >= ' ' && c != 0x7F || Character.isWhitespace(c));
    }
}
