package kiv.media.ffmpeg.javasound;

import java.time.DateTimeException;
import java.time.Instant;
import java.time.LocalDate;
import java.time.ZoneOffset;
import java.util.Date;
import java.util.HashMap;
import java.util.Map;
import java.util.Optional;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.sound.sampled.AudioFileFormat;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.Tags;

/** The properties of an {@link AudioFileFormat}, whose names and types JavaSound gives. */
final class SoundProperties {

    private static final Pattern DATE = Pattern.compile("(\\d{4})(?:-(\\d\\d))?(?:-(\\d\\d))?(?:[T ].*)?");
    private static final int DAY = 3;

    private SoundProperties() {
    }

    /** What the medium says of itself; what it does not say is left out. */
    static Map<String, Object> of(MediaReader reader) {
        Map<String, Object> properties = new HashMap<>();
        Tags tags = reader.tags();
        reader.duration().ifPresent(length -> properties.put("duration",
                length.getSeconds() * 1_000_000 + length.getNano() / 1000));
        tags.title().ifPresent(title -> properties.put("title", title));
        tags.artist().ifPresent(artist -> properties.put("author", artist));
        tags.album().ifPresent(album -> properties.put("album", album));
        tags.get("copyright").ifPresent(copyright -> properties.put("copyright", copyright));
        tags.get("comment").ifPresent(comment -> properties.put("comment", comment));
        tags.date().flatMap(SoundProperties::date).ifPresent(date -> properties.put("date", date));
        return Map.copyOf(properties);
    }

    /** The first moment of a year, a month or a day, in universal time. */
    private static Optional<Date> date(String text) {
        Matcher parts = DATE.matcher(text.trim());
        if (!parts.matches()) {
            return Optional.empty();
        }
        try {
            Instant start = LocalDate.of(number(parts, 1), number(parts, 2), number(parts, DAY))
                    .atStartOfDay(ZoneOffset.UTC).toInstant();
            return Optional.of(Date.from(start));
        } catch (DateTimeException e) {
            return Optional.empty();
        }
    }

    private static int number(Matcher parts, int group) {
        return parts.group(group) == null ? 1 : Integer.parseInt(parts.group(group));
    }
}
