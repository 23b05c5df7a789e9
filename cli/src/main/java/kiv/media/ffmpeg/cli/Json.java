package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.StreamWriteFeature;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import java.io.IOException;
import java.io.PrintWriter;

/** Writes a JSON object for other programs, in lines that people can read too. */
final class Json {

    /** Writes the object's fields. */
    @FunctionalInterface
    interface Fields {
        void write(JsonGenerator to) throws IOException;
    }

    private Json() {
    }

    static void write(PrintWriter out, Fields fields) throws IOException {
        try (JsonGenerator to = JsonFactory.builder().disable(StreamWriteFeature.AUTO_CLOSE_TARGET)
                .enable(StreamWriteFeature.WRITE_BIGDECIMAL_AS_PLAIN).build().createGenerator(out)) {
            to.setPrettyPrinter(new DefaultPrettyPrinter());
            to.writeStartObject();
            fields.write(to);
            to.writeEndObject();
        }
        out.println();
    }
}
