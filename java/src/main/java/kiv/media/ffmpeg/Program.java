package kiv.media.ffmpeg;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Optional;
import kiv.media.ffmpeg.natives.ProgramFields;

/**
 * Streams of a container that belong together, such as those of one station in a transport stream. Immutable, for any
 * thread.
 *
 * <pre>{@code
 * reader.programs().forEach(program -> System.out.println(program.name().orElse("") + ": " + program.streams()));
 * }</pre>
 *
 * @param id what the container calls it
 * @param number its number in the table of an MPEG transport stream; 0 elsewhere
 * @param tablePid packet identifier of its own table in a transport stream
 * @param clockPid packet identifier of its clock in a transport stream
 * @param streams indices of its streams in {@link MediaReader#streams()}; some may not have shown up yet
 * @param tags its name and whatever else the file says
 */
public record Program(int id, int number, int tablePid, int clockPid, List<Integer> streams, Tags tags) {

    /**
     * Makes a program, and copies its list of streams.
     *
     * @param id what the container calls it
     * @param number its number in the table of an MPEG transport stream; 0 elsewhere
     * @param tablePid packet identifier of its own table in a transport stream
     * @param clockPid packet identifier of its clock in a transport stream
     * @param streams indices of its streams in {@link MediaReader#streams()}; some may not have shown up yet
     * @param tags its name and whatever else the file says
     * @throws NullPointerException when something is null
     */
    public Program {
        for (Object stream : Objects.requireNonNull(streams, "streams")) {
            Objects.requireNonNull(stream, "a stream");
        }
        streams = List.copyOf(streams);
        Objects.requireNonNull(tags, "tags");
    }

    /** The programs that native code describes. */
    static List<Program> list(long[] fields, List<Tags> tags) {
        List<Program> programs = new ArrayList<>();
        for (int at = 0; at + ProgramFields.SIZE <= fields.length;) {
            int first = at + ProgramFields.SIZE;
            int next = Math.toIntExact(first + fields[at + ProgramFields.STREAMS]);
            programs.add(new Program((int) fields[at + ProgramFields.ID], (int) fields[at + ProgramFields.NUMBER],
                    (int) fields[at + ProgramFields.TABLE], (int) fields[at + ProgramFields.CLOCK],
                    Arrays.stream(fields, first, next).mapToObj(stream -> (int) stream).toList(),
                    programs.size() < tags.size() ? tags.get(programs.size()) : Tags.NONE));
            at = next;
        }
        return List.copyOf(programs);
    }

    /** {@return what the station is called, if the file tells} */
    public Optional<String> name() {
        // A mark of the characters' code may precede it.
        return tags.get("service_name").or(tags::title).map(name -> name.replaceFirst("^\\p{Cntrl}+", ""));
    }
}
