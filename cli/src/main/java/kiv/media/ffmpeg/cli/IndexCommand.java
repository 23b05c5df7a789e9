package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonGenerator;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Path;
import java.util.Iterator;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.Packet;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** Shows what the packets of a film's pictures say, and saves it. */
@Command(name = "index", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Tells which packets a film's pictures have, and where decoding can start.",
        description = {"", "Reads all packets of the pictures and decodes none, unless they do not say enough. Those of AV1,"
                + " Theora, ProRes, DNxHD, JPEG 2000, Ut Video, HuffYUV and WebP never do.", ""})
final class IndexCommand implements Callable<Integer> {

    @Mixin
    private FilmInput films;

    @Option(names = "--json", description = "Write JSON with every packet: its place in bytes, its size, its times in units of"
            + " the stream's time base, whether the container calls it a key, and whether decoding can start there.")
    private boolean json;

    @Option(names = "--save", paramLabel = "FILE", description = "Save the index, for --index of other commands.")
    private Path save;

    @Option(names = "--verify", description = "Decode the whole film too, and note a checksum of each picture, so that not even"
            + " damage leads to another picture.")
    private boolean verify;

    @Spec
    private CommandSpec spec;

    @Override
    public Integer call() throws IOException {
        if (!films.isExact()) {
            throw new ParameterException(spec.commandLine(), "--seek approximate makes no index");
        }
        PrintWriter out = spec.commandLine().getOut();
        return films.use(film -> {
            if (verify) {
                film.verify();
            }
            if (save != null) {
                ByteArrayOutputStream bytes = new ByteArrayOutputStream();
                film.saveIndex(bytes);
                try (OutputFile file = OutputFile.create(save)) {
                    file.write(bytes.toByteArray());
                    file.finish();
                }
            }
            if (json) {
                try (Json object = new Json(out, false)) {
                    object.write(to -> write(film, to));
                }
            } else {
                print(film, out);
            }
            OutputFile.flushStandardOutput(out);
            return ExitStatus.OK;
        });
    }

    private void print(Film film, PrintWriter out) throws IOException {
        long packets = 0;
        long keys = 0;
        long restarts = 0;
        long run = 0;
        long longest = 0;
        for (Iterator<Film.IndexEntry> all = film.index().iterator(); all.hasNext(); packets++) {
            Film.IndexEntry packet = all.next();
            keys += packet.key() ? 1 : 0;
            restarts += packet.restart() ? 1 : 0;
            run = packet.restart() ? 1 : run + 1;
            longest = Math.max(longest, run);
        }
        Table table = new Table();
        table.row("file", films.input().name());
        table.row("container", film.formatName());
        table.row("codec", ConsoleText.codec(film.stream()));
        table.row("pictures", Long.toString(film.count()));
        table.row("packets", packets + ", of which the container calls " + keys + " keys");
        table.row("starts", restarts + " packets with which decoding can start, at most " + longest + " packets apart");
        if (film.count() > 0) {
            table.row("times", ConsoleText.clock(film.timeOf(0).minus(film.beginning())) + " to "
                    + ConsoleText.clock(film.timeOf(film.count() - 1).minus(film.beginning())));
        }
        table.row("decoded", film.decodedPackets() == 0 ? "nothing"
                : film.decodedPackets() + " packets, which do not say what pictures they give");
        table.print(out);
    }

    private static void write(Film film, JsonGenerator to) throws IOException {
        to.writeStringField("container", film.formatName());
        to.writeStringField("codec", film.stream().codecName());
        to.writeStringField("time_base", film.stream().timeBase().toString());
        to.writeNumberField("pictures", film.count());
        to.writeArrayFieldStart("packets");
        for (Iterator<Film.IndexEntry> all = film.index().iterator(); all.hasNext();) {
            Film.IndexEntry packet = all.next();
            to.writeStartObject();
            if (packet.position() >= 0) {
                to.writeNumberField("pos", packet.position());
            }
            to.writeNumberField("size", packet.size());
            if (packet.presentationTime() != Packet.NO_TIME) {
                to.writeNumberField("pts", packet.presentationTime());
            }
            if (packet.decodingTime() != Packet.NO_TIME) {
                to.writeNumberField("dts", packet.decodingTime());
            }
            to.writeNumberField("duration", packet.duration());
            to.writeBooleanField("key", packet.key());
            to.writeBooleanField("start", packet.restart());
            to.writeEndObject();
        }
        to.writeEndArray();
    }
}
