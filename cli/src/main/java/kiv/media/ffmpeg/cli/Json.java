package kiv.media.ffmpeg.cli;

import com.fasterxml.jackson.core.JsonFactoryBuilder;
import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.SerializableString;
import com.fasterxml.jackson.core.StreamWriteFeature;
import com.fasterxml.jackson.core.io.CharacterEscapes;
import com.fasterxml.jackson.core.io.SerializedString;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import java.io.IOException;
import java.io.PrintWriter;
import kiv.media.ffmpeg.cli.report.VisibleText;

/** Writes a JSON object for other programs, in lines that people can read too. */
final class Json {

    /** Writes the object's fields. */
    @FunctionalInterface
    interface Fields {
        void write(JsonGenerator to) throws IOException;
    }

    private Json() {
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

    static void write(PrintWriter out, Fields fields) throws IOException {
        try (JsonGenerator to = new JsonFactoryBuilder().characterEscapes(new Escapes())
                .disable(StreamWriteFeature.AUTO_CLOSE_TARGET).enable(StreamWriteFeature.WRITE_BIGDECIMAL_AS_PLAIN).build()
                .createGenerator(out)) {
            to.setPrettyPrinter(new DefaultPrettyPrinter());
            to.writeStartObject();
            fields.write(to);
            to.writeEndObject();
        }
        out.println();
    }
}
