package kiv.media.ffmpeg;

import java.nio.charset.StandardCharsets;
import java.time.DateTimeException;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Optional;

/**
 * What a file says in words of itself, of a stream, a chapter or a program. The names are FFmpeg's where it knows the
 * meaning ({@code title}, {@code artist}, {@code album}, {@code date}, {@code track}, {@code genre}, {@code comment},
 * {@code copyright}, {@code encoder}, {@code language}, {@code creation_time}), and the file's own otherwise. Containers
 * write them in small or capital letters, so the case does not matter here. Immutable, for any thread.
 *
 * <pre>{@code
 * String title = reader.tags().title().orElse("untitled");
 * reader.tags().asMap().forEach((name, value) -> System.out.println(name + ": " + value));
 * }</pre>
 *
 * <p>A file may say anything. Texts may have control characters and any length up to 16 MiB; what is no valid UTF-8 is
 * replaced by U+FFFD. A reader keeps 10,000 tags of each kind, and leaves out the others.
 */
public final class Tags {

    /** No tags. */
    static final Tags NONE = new Tags(Map.of());

    private static final String UNDETERMINED = "und";

    private final Map<String, String> values;

    private Tags(Map<String, String> values) {
        this.values = values;
    }

    /** Reads lists of tags, as native code lays them out. */
    static List<Tags> lists(byte[] texts) {
        List<Tags> lists = new ArrayList<>();
        Map<String, String> values = new LinkedHashMap<>();
        int at = 0;
        while (at < texts.length) {
            int end = end(texts, at);
            String name = text(texts, at, end);
            at = end + 1;
            if (name.isEmpty()) {
                lists.add(values.isEmpty() ? NONE : new Tags(Collections.unmodifiableMap(values)));
                values = new LinkedHashMap<>();
            } else {
                int valueEnd = end(texts, at);
                // FFmpeg too joins values of one name so.
                values.merge(name, text(texts, at, valueEnd), (first, other) -> first + ";" + other);
                at = valueEnd + 1;
            }
        }
        return lists;
    }

    private static int end(byte[] texts, int from) {
        int end = from;
        while (end < texts.length && texts[end] != 0) {
            end++;
        }
        return end;
    }

    private static String text(byte[] texts, int from, int end) {
        return new String(texts, Math.min(from, texts.length), Math.max(0, end - from), StandardCharsets.UTF_8);
    }

    /**
     * Returns the value of a tag.
     *
     * @param name its name, in letters of any case
     * @return its value; empty when there is no such tag
     */
    public Optional<String> get(String name) {
        String exact = values.get(Objects.requireNonNull(name, "name"));
        return exact != null ? Optional.of(exact) : values.entrySet().stream()
                .filter(tag -> tag.getKey().equalsIgnoreCase(name)).map(Map.Entry::getValue).findFirst();
    }

    /** {@return what it is called, if the file tells} */
    public Optional<String> title() {
        return get("title");
    }

    /** {@return who made it, if the file tells} */
    public Optional<String> artist() {
        return get("artist");
    }

    /** {@return the collection that it belongs to, if the file tells} */
    public Optional<String> album() {
        return get("album");
    }

    /** {@return when it was published, in any form, if the file tells} */
    public Optional<String> date() {
        return get("date");
    }

    /** {@return the language, mostly three letters of ISO 639-2 such as {@code eng}, if the file tells one} */
    public Optional<String> language() {
        return get("language").filter(code -> !code.equalsIgnoreCase(UNDETERMINED));
    }

    /** {@return the moment at which it was made, if the file tells and the text can be understood} */
    public Optional<Instant> creationTime() {
        return get("creation_time").flatMap(Tags::instant);
    }

    /** Times of FFmpeg 2.8 have a space and no zone; both mean universal time. */
    private static Optional<Instant> instant(String text) {
        String form = text.trim().replaceFirst("^(\\d{4}-\\d\\d-\\d\\d) ", "$1T");
        try {
            return Optional.of(Instant.parse(form.endsWith("Z") ? form : form + "Z"));
        } catch (DateTimeException e) {
            return Optional.empty();
        }
    }

    /** {@return names and values, in the order of the file; cannot be changed} */
    public Map<String, String> asMap() {
        return values;
    }

    /** {@return whether there are none} */
    public boolean isEmpty() {
        return values.isEmpty();
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof Tags tags && values.equals(tags.values);
    }

    @Override
    public int hashCode() {
        return values.hashCode();
    }

    @Override
    public String toString() {
        return values.toString();
    }
}
