package kiv.media.ffmpeg;

import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import kiv.media.ffmpeg.natives.ChapterFields;

/**
 * A part of a medium that has a name. Immutable, for any thread.
 *
 * <pre>{@code
 * reader.chapters().forEach(chapter -> System.out.println(chapter.start().orElseThrow() + " "
 *         + chapter.title().orElse("")));
 * }</pre>
 *
 * @param id what the container calls it
 * @param timeBase the unit of its times, in seconds
 * @param startTicks where it begins, in units of {@code timeBase}
 * @param endTicks where it ends, in units of {@code timeBase}, or {@link Packet#NO_TIME}
 * @param tags its title and whatever else the file says
 */
public record Chapter(long id, Rational timeBase, long startTicks, long endTicks, Tags tags) {

    /**
     * Makes a chapter.
     *
     * @param id what the container calls it
     * @param timeBase the unit of its times, in seconds
     * @param startTicks where it begins, in units of {@code timeBase}
     * @param endTicks where it ends, in units of {@code timeBase}, or {@link Packet#NO_TIME}
     * @param tags its title and whatever else the file says
     * @throws NullPointerException when something is null
     */
    public Chapter {
        Objects.requireNonNull(timeBase, "timeBase");
        Objects.requireNonNull(tags, "tags");
    }

    /** The chapters that native code describes. */
    static List<Chapter> list(long[] fields, List<Tags> tags) {
        List<Chapter> chapters = new ArrayList<>();
        for (int at = 0; at + ChapterFields.SIZE <= fields.length; at += ChapterFields.SIZE) {
            chapters.add(new Chapter(fields[at + ChapterFields.ID],
                    new Rational(fields[at + ChapterFields.TIME_BASE_NUMERATOR],
                            fields[at + ChapterFields.TIME_BASE_DENOMINATOR]),
                    fields[at + ChapterFields.START], fields[at + ChapterFields.END],
                    chapters.size() < tags.size() ? tags.get(chapters.size()) : Tags.NONE));
        }
        return List.copyOf(chapters);
    }

    /** {@return where it begins; empty when that is unknown or beyond the range of a duration} */
    public Optional<Duration> start() {
        return timeBase.time(startTicks);
    }

    /** {@return where it ends; empty when that is unknown or beyond the range of a duration} */
    public Optional<Duration> end() {
        return timeBase.time(endTicks);
    }

    /** {@return what it is called, if the file tells} */
    public Optional<String> title() {
        return tags.title();
    }
}
