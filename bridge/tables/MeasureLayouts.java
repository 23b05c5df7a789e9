import java.nio.file.Files;
import java.nio.file.Path;
import org.bytedeco.javacpp.Loader;
import org.bytedeco.javacpp.Pointer;

/**
 * Prints where the fields of FFmpeg's structures lie, "STRUCTURE FIELD OFFSET" a line, as JavaCPP's bindings on the class
 * path know it from the compiler that made them. The argument is the list of fields. A field that does not exist has the
 * offset -1.
 */
class MeasureLayouts {
    public static void main(String[] arguments) throws Exception {
        Class<? extends Pointer> structure = null;
        for (String line : Files.readAllLines(Path.of(arguments[0]))) {
            String[] words = line.split(" ");
            if (line.startsWith("#"))
                continue;
            String name = words[words.length - 1];
            if (words[0].equals("struct")) {
                structure = find(words[1]);
                Loader.load(structure);
                continue;
            }
            int offset;
            try {
                offset = Loader.offsetof(structure, name);
            } catch (RuntimeException e) {
                offset = -1; // not in this FFmpeg
            }
            System.out.println(structure.getSimpleName() + " " + name + " " + offset);
        }
    }

    private static Class<? extends Pointer> find(String name) throws ClassNotFoundException {
        for (String room : new String[] {"avcodec", "avutil", "avformat"}) {
            try {
                return Class.forName("org.bytedeco.ffmpeg." + room + "." + name).asSubclass(Pointer.class);
            } catch (ClassNotFoundException e) {
                continue;
            }
        }
        throw new ClassNotFoundException(name);
    }
}
