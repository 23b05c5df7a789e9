package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.exactness.Comparison.check;

import com.tngtech.archunit.core.domain.JavaClass;
import com.tngtech.archunit.core.importer.ClassFileImporter;
import com.tngtech.archunit.core.importer.ImportOption;
import java.io.IOException;
import java.io.OutputStream;
import java.io.UncheckedIOException;
import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.channels.Channels;
import java.nio.channels.ClosedChannelException;
import java.nio.channels.ReadableByteChannel;
import java.nio.channels.SeekableByteChannel;
import java.nio.channels.WritableByteChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Random;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.logging.Level;
import java.util.logging.Logger;
import java.util.stream.BaseStream;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

/**
 * Uses every public method and constructor of the API in every wrong way, while healthy objects go on decoding beside.
 * What may come of it is a result or an exception that says what was wrong. Each way runs on every virtual machine at hand,
 * which checks all use of JNI and whose end would be seen here.
 */
@Tag("misuse")
class MisuseTest {

    private static final String HOSTILE = "hostile";
    private static final Set<String> EXPORTED = Set.of("kiv.media.ffmpeg", "kiv.media.ffmpeg.javasound",
            "kiv.media.ffmpeg.natives");
    private static final int ROUNDS = 16;
    private static final int PATIENCE = 100;
    private static final int LARGEST_KEPT = 1 << 20;
    private static final boolean BEHIND_WALL = Isolation.usual().isWall();
    private static final Random RANDOM = new Random(5);
    private static final Logger LOGGER = Logger.getLogger("kiv.media.ffmpeg");
    private static final ExecutorService THREADS = Executors.newCachedThreadPool(task -> {
        Thread thread = new Thread(task);
        thread.setDaemon(true);
        return thread;
    });

    /** Arguments by type; what calls return comes on top, so that objects of every kind meet every method. */
    private static final Map<Class<?>, List<Object>> VALUES = new ConcurrentHashMap<>();
    private static final Map<String, Integer> OUTCOMES = new ConcurrentSkipListMap<>();

    /** A copy: what writes files is tried with this name as well. */
    private static Path film;
    private static byte[] filmBytes;
    private static int most = 16;

    private static List<Integer> expected;

    static Stream<Arguments> everythingOnEveryVirtualMachine() {
        return Programs.virtualMachines().flatMap(home -> Stream.of("calls", "races", "callbacks", "garbage", "logs")
                .map(way -> Arguments.of(way, home)));
    }

    @ParameterizedTest
    @MethodSource("everythingOnEveryVirtualMachine")
    void harmsNothing(String way, String home, @TempDir Path directory) throws Exception {
        Programs.run(directory, home, List.of("-Xcheck:jni", "-Xmx512m", "-ea",
                "-Djava.awt.headless=true", "-XX:ErrorFile=" + directory.resolve("crash.log")), MisuseTest.class, way,
                directory.toString());
    }

    /** Runs one of the ways; the second argument is a directory for files. */
    public static void main(String[] arguments) throws Exception {
        Path directory = Path.of(arguments[1]);
        filmBytes = Files.readAllBytes(TestMedia.stream("h264_aac.mp4"));
        film = Files.write(directory.resolve("film.mp4"), filmBytes);
        // The library asks for the level when it is loaded.
        LOGGER.setLevel(arguments[0].equals("logs") ? Level.FINER : Level.INFO);
        expected = decoded();
        seed(directory);
        MisuseTest.class.getDeclaredMethod(arguments[0]).invoke(null);
        check(decoded().equals(expected), "other pictures after all that");
    }

    private static List<Integer> decoded() throws IOException {
        try (MediaReader reader = MediaReader.open(film)) {
            return decoded(reader);
        }
    }

    /** As {@link #decoded()}, while others may have all memory outside of the heap for a moment. */
    private static List<Integer> decodedBeside() throws Exception {
        for (int attempt = 0;; attempt++) {
            try {
                return decoded();
            } catch (MediaException e) {
                if (attempt == PATIENCE || !e.getMessage().contains("no memory outside of the Java heap")) {
                    throw e;
                }
                Thread.sleep(50);
            }
        }
    }

    /** Hashes of all pictures and all sound. */
    private static List<Integer> decoded(MediaReader reader) throws IOException {
        try (VideoDecoder pictures = video(reader); AudioDecoder sound = audio(reader)) {
            List<Integer> hashes = new ArrayList<>();
            pictures.pictures(reader).forEach(picture -> {
                hashes.add(Arrays.hashCode(picture.toBytes()) + Long.hashCode(picture.timestamp()));
                picture.close();
            });
            reader.seek(Duration.ZERO);
            sound.blocks(reader).forEach(block -> hashes.add(block.data().hashCode() + Long.hashCode(block.timestamp())));
            check(hashes.size() > 60, "too few pictures");
            return hashes;
        }
    }

    private static VideoDecoder video(MediaReader reader) {
        return VideoDecoder.open(reader.firstVideo().orElseThrow());
    }

    private static AudioDecoder audio(MediaReader reader) {
        return AudioDecoder.open(reader.firstAudio().orElseThrow());
    }

    // Every call with every kind of argument.

    static void calls() throws Exception {
        callEverything(1);
        check(OUTCOMES.getOrDefault("MediaStateException", 0) > 100 && OUTCOMES.get("a result") > 1000, "" + OUTCOMES);
    }

    /** The same objects are used, closed and closed again in several threads. */
    static void races() throws Exception {
        most = 3;
        callEverything(4);
    }

    private static void callEverything(int threads) throws Exception {
        List<? extends Class<?>> types = new ClassFileImporter().withImportOption(new ImportOption.DoNotIncludeTests())
                .importPackages("kiv.media.ffmpeg").stream().filter(type -> EXPORTED.contains(type.getPackageName()))
                .map(JavaClass::reflect).filter(type -> Modifier.isPublic(type.getModifiers()))
                .sorted(Comparator.comparing(Class::getName)).toList();
        check(types.size() > 25, "where is the API? " + types);
        for (int round = 0; round < ROUNDS / threads; round++) {
            boolean missing = round == 0;
            // Decoders in other threads are nobody's victims, however new the newest one is.
            Future<List<Integer>> bystander = THREADS.submit(() -> decodedBeside());
            for (Class<?> type : types) {
                refill(type);
                for (Future<?> caller : Stream.generate(() -> THREADS.submit(() -> members(type).forEach(member -> {
                    attempt(member, missing);
                    attempt(member, false);
                }))).limit(threads).toList()) {
                    caller.get(5, TimeUnit.MINUTES);
                }
            }
            check(bystander.get().equals(expected), "a bystander decodes other pictures");
        }
    }

    /** Natives are for one careful caller. */
    private static List<Executable> members(Class<?> type) {
        return Stream.<Executable>concat(Stream.of(type.getDeclaredMethods()), Stream.of(type.getDeclaredConstructors())
                .filter(constructor -> !Modifier.isAbstract(type.getModifiers())))
                .filter(member -> Modifier.isPublic(member.getModifiers()) && !member.isSynthetic()
                        && (member.getModifiers() & (Modifier.NATIVE | Modifier.ABSTRACT)) == 0)
                .sorted(Comparator.comparing(Executable::toString)).toList();
    }

    /** Nothing outside of the directory: writers are called with every path. */
    private static void seed(Path directory) throws Exception {
        Programs.output(List.of("mkfifo", directory.resolve("pipe").toString()));
        VALUES.put(int.class, List.of(Integer.MIN_VALUE, -1, 0, 1, 2, 3, 64, 320, 16_000, 44_100, 1 << 20,
                Integer.MAX_VALUE));
        VALUES.put(long.class, List.of(Long.MIN_VALUE, Long.MIN_VALUE + 1, -1L, 0L, 1L, 1L << 31, Long.MAX_VALUE));
        VALUES.put(double.class, List.of(Double.NaN, Double.NEGATIVE_INFINITY, -1.0, 0.0, 1.0, Double.MAX_VALUE));
        VALUES.put(boolean.class, List.of(true, false));
        VALUES.put(String.class, values(null, "", "h264", "avc1", "bgra", "song.mp3", MediaSubtypes.H264_AVC1,
                "\0\uD800", "x".repeat(99_999)));
        VALUES.put(byte[].class, values(null, new byte[0], noise(1), noise(18), noise(4096), noise(70_001)));
        VALUES.put(Path.class, values(null, Path.of(""), directory.resolve("pipe"), directory,
                directory.resolve("missing/x"), directory.resolve("noise"), directory.resolve("out"),
                Files.write(directory.resolve("victim.mp4"), filmBytes)));
        VALUES.put(Duration.class, values(null, Duration.ZERO, Duration.ofMillis(-1), Duration.ofMillis(500),
                Duration.ofSeconds(Long.MAX_VALUE, 999_999_999), Duration.ofSeconds(Long.MIN_VALUE)));
        VALUES.put(Throwable.class, values(null, new IOException(HOSTILE)));
        VALUES.put(List.class, values(null, List.of(), Arrays.asList((Object) null), List.of(packet(noise(99), 0))));
        VALUES.put(Object.class, values(null, "x", 1L));
    }

    /** Healthy objects and closed ones for the next calls; channels serve once. */
    private static void refill(Class<?> type) throws IOException {
        List<Object> channels = values((Object) null);
        Stream.of(HostileChannel.Way.values()).filter(way -> way != HostileChannel.Way.ONE_BY_ONE)
                .forEach(way -> channels.add(new HostileChannel(filmBytes, way, RANDOM.nextInt(50))));
        VALUES.put(SeekableByteChannel.class, channels);
        VALUES.put(ReadableByteChannel.class, values(null, channels.get(1), new HostileChannel(filmBytes)));
        VALUES.put(WritableByteChannel.class, values(null, new HostileChannel(filmBytes),
                Channels.newChannel(OutputStream.nullOutputStream())));
        // Some raw formats have so weak a mark that it turns up in noise.
        Files.write(film.resolveSibling("noise"), noise(50_000));
        VALUES.put(ByteBuffer.class, values(null, ByteBuffer.allocate(0), ByteBuffer.wrap(noise(4096)),
                ByteBuffer.wrap(noise(4096)).asReadOnlyBuffer(), ByteBuffer.allocateDirect(4097).position(3)));
        MediaReader reader = MediaReader.open(film);
        MediaReader closed = MediaReader.open(film);
        closed.close();
        VideoDecoder pictures = video(reader);
        AudioDecoder sound = audio(reader);
        // FFmpeg's own encoder of Vorbis takes stereo only.
        List<AudioCodec> codecs = Arrays.stream(AudioCodec.values()).filter(TestMedia::hasEncoder).toList();
        AudioCodec codec = codecs.get(RANDOM.nextInt(codecs.size()));
        int rate = Stream.of(44_100, 8000, 16_000).filter(each -> codec.accepts(each, 1)).findFirst().orElseThrow();
        AudioEncoder encoder = AudioEncoder.open(codec, rate, codec == AudioCodec.VORBIS ? 2 : 1);
        values(reader, closed, pictures, sound, encoder,
                new Rational(1, 25), reader.firstVideo().orElseThrow(), reader.firstAudio().orElseThrow(),
                closed.firstVideo().orElseThrow(), packet(noise(500), 0), packet(noise(0), 1), packet(noise(50), 1),
                new MediaStateException(HOSTILE), new c_multimediaapi_ffmpeg(), PixelFormat.named("yuv420p"),
                PixelFormat.named("pal8")).forEach(MisuseTest::keep);
        for (Packet packet; (packet = reader.read()) != null && VALUES.getOrDefault(Picture.class, List.of()).size() < 9;) {
            keep(packet);
            (pictures.accepts(packet) ? pictures.decode(packet) : sound.decode(packet)).forEach(MisuseTest::keep);
        }
        Stream.ofNullable(type.getEnumConstants()).flatMap(Stream::of).forEach(MisuseTest::keep);
    }

    /** A bounded number of each type, the older ones making way. Of huge pictures three would be all memory. */
    private static void keep(Object object) {
        if (object instanceof Picture picture && (long) picture.width() * picture.height() > LARGEST_KEPT) {
            picture.close();
            return;
        }
        Class<?> type = object instanceof Enum<?> constant ? constant.getDeclaringClass() : object.getClass();
        if (type.getName().startsWith("kiv.") && Modifier.isPublic(type.getModifiers())) {
            List<Object> known = VALUES.computeIfAbsent(type, unknown -> values((Object) null));
            synchronized (known) {
                if (known.size() > most) {
                    known.remove(1 + RANDOM.nextInt(known.size() - 1));
                }
                known.add(object);
            }
        }
    }

    /** Calls a method of any object that is known, with such arguments as are known, one perhaps missing. */
    private static void attempt(Executable member, boolean nulls) {
        Object[] arguments = Arrays.stream(member.getParameterTypes()).map(MisuseTest::choose).toArray();
        int missing = RANDOM.nextInt(arguments.length + 1);
        if (nulls && missing < arguments.length && !member.getParameterTypes()[missing].isPrimitive()) {
            arguments[missing] = null;
        }
        boolean alone = member instanceof Constructor || Modifier.isStatic(member.getModifiers());
        Object receiver = alone ? null : choose(member.getDeclaringClass());
        if (alone || receiver != null) {
            Object result = judged(receiver + "." + member + " " + Arrays.deepToString(arguments).lines().findFirst()
                    .orElse(""), () -> invoke(member, receiver, arguments));
            (result instanceof Collection<?> several ? several.stream() : Stream.ofNullable(result)).limit(3)
                    .filter(Objects::nonNull).forEach(MisuseTest::keep);
        }
    }

    private static Object choose(Class<?> type) {
        List<Object> values = VALUES.getOrDefault(type, List.of());
        synchronized (values) {
            return values.isEmpty() ? null : values.get(RANDOM.nextInt(values.size()));
        }
    }

    private static Object invoke(Executable member, Object receiver, Object[] arguments) throws Exception {
        Object result = member instanceof Constructor<?> constructor ? constructor.newInstance(arguments)
                : ((Method) member).invoke(receiver, arguments);
        if (result instanceof BaseStream<?, ?> stream) {
            stream.iterator().forEachRemaining(MisuseTest::keep);
            return null;
        }
        return result;
    }

    /** Makes a call; an exception has to be of a kind and with a message that a user can do something with. */
    private static Object judged(String call, Callable<?> work) {
        try {
            Object result = work.call();
            OUTCOMES.merge("a result", 1, Integer::sum);
            return result;
        } catch (Throwable thrown) {
            Throwable e = thrown instanceof InvocationTargetException ? thrown.getCause() : thrown;
            OUTCOMES.merge(e.getClass().getSimpleName(), 1, Integer::sum);
            boolean own = e instanceof MediaException || e instanceof IOException || e instanceof UncheckedIOException
                    || e instanceof NullPointerException || e instanceof IllegalArgumentException
                    || e instanceof UnsupportedOperationException || e instanceof ArithmeticException
                    || e instanceof IndexOutOfBoundsException && e.getMessage().matches("there is no (picture|sample|stream).*");
            // Places in the library's source are not for users.
            boolean told = e.getMessage() != null && !e.getMessage().isBlank() && !e.getMessage().contains(" in line ")
                    || e instanceof ClosedChannelException;
            if (!HOSTILE.equals(e.getMessage()) && !(own && told)) {
                throw new AssertionError(call, e);
            }
            return null;
        }
    }

    // Callbacks that call back in.

    static void callbacks() throws Exception {
        HostileChannel channel = new HostileChannel(filmBytes);
        int[] refused = new int[1];
        try (MediaReader reader = MediaReader.open(channel)) {
            channel.hook = () -> {
                for (AutoCloseable call : List.<AutoCloseable>of(reader::read, reader, () -> reader.packets().count(),
                        () -> reader.seek(Duration.ZERO))) {
                    try {
                        call.close();
                    } catch (MediaStateException e) {
                        refused[0]++;
                    } catch (Exception e) {
                        throw new AssertionError("called out of its own callback", e);
                    }
                }
                // Others may be used, in the middle of a native call.
                check(refused[0] > 4 || decoded().equals(expected), "nested use");
            };
            check(decoded(reader).equals(expected), "lost by callbacks");
            check(refused[0] > 0 && refused[0] % 4 == 0, "not all calls out of callbacks are refused");
            channel.hook = null;
        }
    }

    // Objects that nobody closes.

    static void garbage() throws Exception {
        int[] holders = new int[1];
        c_multimediaapi_ffmpeg receiver = new c_multimediaapi_ffmpeg() {
            @Override
            public void print_info(int level, String line) {
                if (line.contains("n_1reader_1delete(): counter=")) {
                    holders[0] = Integer.parseInt(line.replaceFirst(".*counter=", ""));
                }
            }
        };
        c_multimediaapi_ffmpeg.n_init(FfmpegLibrary.directory().toString(), receiver, 0);
        int before = holdersNow(holders);
        forget(holders, before);
        // One converter stays ready for the next picture.
        for (int attempt = 0; attempt < 200 && holdersNow(holders) > before + 1; attempt++) {
            System.gc();
            Thread.sleep(20);
        }
        check(holdersNow(holders) <= before + 1, "never deleted: " + (holdersNow(holders) - before));
    }

    /** Each of the objects has something native. */
    private static void forget(int[] holders, int before) throws IOException {
        List<AutoCloseable> objects = new ArrayList<>();
        for (int i = 0; i < 20; i++) {
            HostileChannel channel = new HostileChannel(filmBytes);
            MediaReader reader = MediaReader.open(channel);
            // The channel knows its reader, as one that shows progress would.
            channel.hook = reader::formatName;
            VideoDecoder decoder = video(reader);
            decoder.pictures(reader).limit(3).forEach(Picture::toBufferedImage);
            AudioEncoder encoder = AudioEncoder.open(AudioCodec.MP3, 44_100, 2);
            encoder.encode(noise(40_000));
            objects.addAll(List.of(reader, decoder, audio(reader), encoder));
        }
        check(holdersNow(holders) >= before + objects.size() / (BEHIND_WALL ? 2 : 1),
                "not all were counted: " + before + " to " + holders[0]);
    }

    private static int holdersNow(int[] holders) throws IOException {
        if (BEHIND_WALL) {
            return (int) ProcessHandle.current().children().flatMap(ProcessHandle::children).count();
        }
        MediaReader.open(film).close();
        return holders[0];
    }

    // The log.

    static void logs() throws Exception {
        Map<String, Integer> lines = new ConcurrentSkipListMap<>();
        boolean[] hostile = new boolean[1];
        LOGGER.setFilter(line -> {
            int count = lines.merge(line.getLevel().getName(), 1, Integer::sum);
            if (hostile[0] && count % 14 == 0) {
                throw new IllegalStateException(HOSTILE);
            }
            // Whoever receives a line may use what logs.
            judged("nested", () -> hostile[0] && count % 14 == 7 ? decoded() : null);
            return false;
        });
        hostile[0] = true;
        check(decoded().equals(expected), "the log disturbs");
        try (MediaReader reader = MediaReader.open(film); VideoDecoder decoder = video(reader);
                AudioEncoder encoder = AudioEncoder.open(AudioCodec.MP3, 44_100, 2)) {
            encoder.encode(noise(80_000));
            judged("noise", () -> decoder.decode(packet(noise(500), 0)));
        }
        hostile[0] = false;
        // What a worker logs goes nowhere.
        check(lines.keySet().containsAll(BEHIND_WALL ? List.of("FINE") : List.of("SEVERE", "FINE", "FINER")), "" + lines);
    }

    private static List<Object> values(Object... values) {
        return Arrays.stream(values).collect(Collectors.toCollection(ArrayList::new));
    }

    private static Packet packet(byte[] bytes, int stream) {
        return Packet.of(bytes, stream, Long.MAX_VALUE, Long.MIN_VALUE + 1, true);
    }

    private static byte[] noise(int length) {
        byte[] bytes = new byte[length];
        RANDOM.nextBytes(bytes);
        return bytes;
    }
}
