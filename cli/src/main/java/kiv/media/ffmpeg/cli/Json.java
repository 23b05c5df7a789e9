package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonFactoryBuilder;
import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.JsonStreamContext;
import com.fasterxml.jackson.core.SerializableString;
import com.fasterxml.jackson.core.StreamWriteFeature;
import com.fasterxml.jackson.core.io.CharacterEscapes;
import com.fasterxml.jackson.core.io.SerializedString;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import java.io.IOException;
import java.io.PrintWriter;
import kiv.media.ffmpeg.cli.report.VisibleText;

/** Writes a JSON object, or an array of them, for other programs, in lines that people can read too. */
final class Json implements AutoCloseable {

    /** Writes the object's fields. */
    @FunctionalInterface
    interface Fields {
        void write(JsonGenerator to) throws IOException;
    }

    private final PrintWriter out;
    private final JsonGenerator to;
    private boolean written;

    /** @param array whether there is an array, of any number of objects; otherwise there is one object */
    Json(PrintWriter out, boolean array) throws IOException {
        this.out = out;
        this.to = new JsonFactoryBuilder().characterEscapes(new Escapes())
                .disable(StreamWriteFeature.AUTO_CLOSE_TARGET).enable(StreamWriteFeature.WRITE_BIGDECIMAL_AS_PLAIN).build()
                .createGenerator(out);
        to.setPrettyPrinter(new DefaultPrettyPrinter());
        if (array) {
            written = true;
            to.writeStartArray();
        }
    }

    /** Writes characters that are not to be shown as their numbers, so that the text stays what it is. */
    private static final class Escapes extends CharacterEscapes {

        private static final long serialVersionUID = 1;
        private static final int DELETE = 0x7F;

        private final int[] ascii = CharacterEscapes.standardAsciiEscapesForJSON();

        Escapes() {
            ascii[DELETE] = CharacterEscapes.ESCAPE_STANDARD;
        }

        @Override
        public int[] getEscapeCodesForAscii() {
            return ascii;
        }

        @Override
        public SerializableString getEscapeSequence(int c) {
            return VisibleText.isUnfit(c) ? new SerializedString(String.format("\\u%04x", c)) : null;
        }
    }

    void write(Fields fields) throws IOException {
        written = true;
        JsonStreamContext outer = to.getOutputContext();
        to.writeStartObject();
        try {
            fields.write(to);
        } finally {
            while (to.getOutputContext() != outer) { // more than one when the fields could not all be read
                if (to.getOutputContext().inArray()) {
                    to.writeEndArray();
                } else {
                    to.writeEndObject();
                }
            }
        }
    }

    /** Ends the array and the line, unless nothing was written. */
    @Override
    public void close() throws IOException {
        to.close();
        if (written) {
            out.println();
        }
    }
}
