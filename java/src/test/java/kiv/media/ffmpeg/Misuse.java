package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.exactness.Comparison.check;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.module.ModuleDescriptor;
import java.lang.module.ModuleFinder;
import java.lang.module.ModuleReference;
import java.lang.ref.Reference;
import java.lang.reflect.Constructor;
import java.lang.reflect.Executable;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Iterator;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.concurrent.ConcurrentSkipListMap;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import java.util.logging.Level;
import java.util.logging.Logger;
import java.util.stream.BaseStream;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * Uses every public method and constructor of the API in every wrong way, while healthy objects go on decoding beside.
 * What may come of it is a result or an exception that tells what was wrong; {@link #main} fails with anything else.
 */
final class Misuse {

    /** A copy: what writes files is tried with this name as well. */
    private static Path film;
    private static byte[] filmBytes;
    private static final String HOSTILE = "hostile";
    private static final int PICTURES = 25;
    private static final int ROUNDS = 16;
    private static final Random RANDOM = new Random(5);
    private static final ExecutorService THREADS = Executors.newCachedThreadPool(task -> {
        Thread thread = new Thread(task);
        thread.setDaemon(true);
        return thread;
    });

    /** Arguments by type; what calls return comes on top, so that objects of every kind meet every method. */
    private static final Map<Class<?>, List<Object>> VALUES = new java.util.HashMap<>();
    private static final Map<String, Integer> OUTCOMES = new ConcurrentSkipListMap<>();

    private Misuse() {
    }

    /** Runs one of the ways; the second argument is a directory for files. */
    public static void main(String[] arguments) throws Exception {
        Path directory = Path.of(arguments[1]);
        filmBytes = Files.readAllBytes(TestMedia.stream("h264_aac.mp4"));
        film = Files.write(directory.resolve("film.mp4"), filmBytes);
        List<Integer> expected = arguments[0].equals("silence") || arguments[0].equals("logging") ? List.of() : decoded();
        switch (arguments[0]) {
            case "calls" -> calls(directory, expected);
            case "races" -> races(directory, expected);
            case "callbacks" -> callbacks(expected);
            case "garbage" -> garbage();
            case "silence" -> logs(Level.INFO);
            case "logging" -> logs(Level.FINER);
            default -> throw new IllegalArgumentException(arguments[0]);
        }
        check(expected.isEmpty() || decoded().equals(expected), "other pictures after all that");
        System.out.println(OUTCOMES);
        System.out.println("Misuse: done");
    }

    private static List<Integer> decoded() throws IOException {
        try (MediaReader reader = MediaReader.open(film)) {
            return decoded(reader);
        }
    }

    /** Hashes of all pictures and all sound. */
    private static List<Integer> decoded(MediaReader reader) throws IOException {
        try (VideoDecoder pictures = VideoDecoder.open(reader.firstVideo().orElseThrow());
                AudioDecoder sound = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            List<Integer> hashes = new ArrayList<>();
            while (step(reader, pictures, sound, hashes)) {
                check(hashes.size() < 10_000, "no end of pictures");
            }
            check(hashes.size() > 60, "too few pictures");
            return hashes;
        }
    }

    private static boolean step(MediaReader reader, VideoDecoder pictures, AudioDecoder sound, List<Integer> hashes)
            throws IOException {
        Packet packet = reader.read();
        List<Picture> shown = packet == null ? pictures.finish() : pictures.accepts(packet) ? pictures.decode(packet)
                : List.of();
        List<AudioBlock> heard = packet == null ? sound.finish() : sound.accepts(packet) ? sound.decode(packet) : List.of();
        shown.forEach(picture -> hashes.add(Arrays.hashCode(picture.toBytes()) + Long.hashCode(picture.timestamp())));
        shown.forEach(Picture::close);
        heard.forEach(block -> hashes.add(block.data().hashCode() + Long.hashCode(block.timestamp())));
        return packet != null;
    }

    // Every call with every kind of argument.

    private static void calls(Path directory, List<Integer> expected) throws Exception {
        List<Class<?>> types = publicTypes();
        seed(directory);
        try (MediaReader reader = MediaReader.open(film);
                VideoDecoder pictures = VideoDecoder.open(reader.firstVideo().orElseThrow());
                AudioDecoder sound = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
            List<Integer> hashes = new ArrayList<>();
            boolean more = true;
            for (int round = 0; round < ROUNDS; round++) {
                for (Class<?> type : types) {
                    refill(type);
                    for (Executable member : members(type)) {
                        attempt(member, round);
                        attempt(member, round);
                    }
                    more = more && step(reader, pictures, sound, hashes);
                }
            }
            while (more) {
                more = step(reader, pictures, sound, hashes);
            }
            check(hashes.equals(expected), "a bystander decodes other pictures");
        }
        check(OUTCOMES.getOrDefault("MediaStateException", 0) > 100 && OUTCOMES.get("a result") > 1000, "" + OUTCOMES);
    }

    private static List<Class<?>> publicTypes() throws Exception {
        Path root = Path.of(MediaReader.class.getProtectionDomain().getCodeSource().getLocation().toURI());
        List<Class<?>> types = new ArrayList<>();
        for (ModuleReference module : ModuleFinder.of(root).findAll()) {
            for (ModuleDescriptor.Exports exported : module.descriptor().exports()) {
                try (Stream<Path> files = Files.list(root.resolve(exported.source().replace('.', '/')))) {
                    for (String name : files.map(file -> file.getFileName().toString()).sorted().toList()) {
                        if (name.endsWith(".class") && !name.endsWith("-info.class")) {
                            types.add(Class.forName(exported.source() + "." + name.replace(".class", ""), false,
                                    Misuse.class.getClassLoader()));
                        }
                    }
                }
            }
        }
        types.removeIf(type -> !Modifier.isPublic(type.getModifiers()));
        types.sort((a, b) -> a.getName().compareTo(b.getName()));
        check(types.size() > 25, "where is the API? " + types);
        return types;
    }

    private static List<Executable> members(Class<?> type) {
        List<Executable> members = new ArrayList<>(List.of(type.getDeclaredMethods()));
        if (!Modifier.isAbstract(type.getModifiers())) {
            members.addAll(List.of(type.getDeclaredConstructors()));
        }
        // Natives are for one careful caller.
        members.removeIf(member -> !Modifier.isPublic(member.getModifiers()) || Modifier.isNative(member.getModifiers())
                || Modifier.isAbstract(member.getModifiers()) || member.isSynthetic());
        members.sort((a, b) -> a.toString().compareTo(b.toString()));
        return members;
    }

    /** Nothing outside of the directory: writers are called with every path. */
    private static void seed(Path directory) throws Exception {
        check(new ProcessBuilder("mkfifo", directory.resolve("pipe").toString()).start().waitFor() == 0, "no pipe");
        VALUES.put(int.class, List.of(Integer.MIN_VALUE, -1, 0, 1, 2, 3, 64, 320, 16_000, 44_100, 1 << 20,
                Integer.MAX_VALUE));
        VALUES.put(long.class, List.of(Long.MIN_VALUE, Long.MIN_VALUE + 1, -1L, 0L, 1L, 1L << 31, Long.MAX_VALUE));
        VALUES.put(double.class, List.of(Double.NaN, Double.NEGATIVE_INFINITY, -1.0, 0.0, 1.0, Double.MAX_VALUE));
        VALUES.put(boolean.class, List.of(true, false));
        VALUES.put(String.class, values(null, "", "avc1", "bgra", "song.mp3", MediaSubtypes.H264_AVC1,
                "\0\uD800", "x".repeat(99_999)));
        VALUES.put(byte[].class, values(null, new byte[0], noise(1), noise(18), noise(4096), noise(70_001)));
        VALUES.put(ByteBuffer.class, values(null, ByteBuffer.allocate(0), ByteBuffer.wrap(noise(4096)),
                ByteBuffer.wrap(noise(4096)).asReadOnlyBuffer(), ByteBuffer.allocateDirect(4097).position(3)));
        VALUES.put(Path.class, values(null, Path.of(""), directory.resolve("pipe"), directory,
                directory.resolve("missing/x"), directory.resolve("noise"), directory.resolve("out"),
                Files.write(directory.resolve("victim.mp4"), filmBytes)));
        VALUES.put(Duration.class, values(null, Duration.ZERO, Duration.ofMillis(-1), Duration.ofMillis(500),
                Duration.ofSeconds(Long.MAX_VALUE, 999_999_999), Duration.ofSeconds(Long.MIN_VALUE)));
        VALUES.put(Throwable.class, values(null, new IOException(HOSTILE)));
        VALUES.put(List.class, values(null, List.of(), Arrays.asList((Object) null), List.of(packet(noise(99), 0))));
        VALUES.put(Object.class, values(null, "x", 1L));
        VALUES.put(java.nio.channels.SeekableByteChannel.class, new ArrayList<>());
    }

    /** Objects in order and closed ones for the next calls; channels serve once. */
    private static void refill(Class<?> type) throws IOException {
        List<Object> channels = values((Object) null);
        for (HostileChannel.Way way : HostileChannel.Way.values()) {
            channels.add(new HostileChannel(filmBytes, way, RANDOM.nextInt(50)));
        }
        VALUES.put(java.nio.channels.SeekableByteChannel.class, channels);
        // Some raw formats have so weak a mark that it turns up in noise.
        Files.write(film.resolveSibling("noise"), noise(50_000));
        ((List<?>) VALUES.get(ByteBuffer.class)).stream().filter(ByteBuffer.class::isInstance)
                .forEach(buffer -> ((ByteBuffer) buffer).clear());
        MediaReader reader = MediaReader.open(film);
        MediaReader closed = MediaReader.open(film);
        closed.close();
        VideoDecoder pictures = VideoDecoder.open(reader.firstVideo().orElseThrow());
        AudioDecoder sound = AudioDecoder.open(reader.firstAudio().orElseThrow());
        AudioCodec codec = AudioCodec.values()[RANDOM.nextInt(AudioCodec.values().length)];
        int rate = codec.accepts(44_100, 1) ? 44_100 : 8000;
        for (Object object : values(reader, closed, pictures, sound, AudioEncoder.open(codec, rate, 1), new Rational(1, 25),
                reader.firstVideo().orElseThrow(), reader.firstAudio().orElseThrow(), closed.firstVideo().orElseThrow(),
                packet(noise(500), 0), packet(noise(0), 1), packet(noise(50), 1), new MediaStateException(HOSTILE),
                new c_multimediaapi_ffmpeg(), PixelFormat.named("yuv420p"), PixelFormat.named("pal8"))) {
            keep(object);
        }
        for (Packet packet; (packet = reader.read()) != null && VALUES.getOrDefault(Picture.class, List.of()).size() < 9;) {
            keep(packet);
            (pictures.accepts(packet) ? pictures.decode(packet) : sound.decode(packet)).forEach(Misuse::keep);
        }
        if (type.isEnum()) {
            Arrays.stream(type.getEnumConstants()).forEach(Misuse::keep);
        }
    }

    /** A bounded number of each type, the older ones making way. */
    private static void keep(Object object) {
        Class<?> type = object instanceof Enum<?> constant ? constant.getDeclaringClass() : object.getClass();
        if (type.getName().startsWith("kiv.") && Modifier.isPublic(type.getModifiers())) {
            List<Object> known = VALUES.computeIfAbsent(type, unknown -> values((Object) null));
            if (known.size() > 16) {
                known.remove(1 + RANDOM.nextInt(known.size() - 1));
            }
            known.add(object);
        }
    }

    private static void attempt(Executable member, int round) throws Exception {
        Object[] arguments = Arrays.stream(member.getParameterTypes()).map(type -> choose(type, RANDOM)).toArray();
        if (arguments.length > 0 && round == 0) {
            int victim = RANDOM.nextInt(arguments.length);
            arguments[victim] = member.getParameterTypes()[victim].isPrimitive() ? arguments[victim] : null;
        }
        boolean needsReceiver = member instanceof Method && !Modifier.isStatic(member.getModifiers());
        Object receiver = needsReceiver ? choose(member.getDeclaringClass(), RANDOM) : null;
        if (needsReceiver && receiver == null) {
            return;
        }
        String call = receiver + "." + member + " " + Arrays.deepToString(arguments).lines().findFirst().orElse("");
        Object result = within(call, () -> invoke(member, receiver, arguments));
        if (result instanceof Collection<?> several) {
            several.stream().limit(3).filter(java.util.Objects::nonNull).forEach(Misuse::keep);
        } else if (result != null) {
            keep(result);
        }
    }

    private static Object choose(Class<?> type, Random random) {
        List<Object> values = VALUES.getOrDefault(type, List.of());
        return values.isEmpty() ? null : values.get(random.nextInt(values.size()));
    }

    private static Object invoke(Executable member, Object receiver, Object[] arguments) throws Throwable {
        try {
            Object result = member instanceof Constructor<?> constructor ? constructor.newInstance(arguments)
                    : ((Method) member).invoke(receiver, arguments);
            if (result instanceof BaseStream<?, ?> stream) {
                for (Iterator<?> items = stream.iterator(); items.hasNext();) {
                    keep(items.next());
                }
                return null;
            }
            return result;
        } catch (InvocationTargetException e) {
            throw e.getCause();
        }
    }

    private interface Work {
        Object run() throws Throwable;
    }

    /** Runs a call on a thread of its own and judges what came of it. */
    private static Object within(String call, Work work) throws Exception {
        try {
            return THREADS.submit(() -> judged(call, work)).get(2, TimeUnit.MINUTES);
        } catch (TimeoutException e) {
            throw new AssertionError("hangs: " + call, e);
        } catch (ExecutionException e) {
            throw new AssertionError(call, e.getCause());
        }
    }

    private static Object judged(String call, Work work) {
        try {
            Object result = work.run();
            OUTCOMES.merge("a result", 1, Integer::sum);
            return result;
        } catch (Throwable e) {
            OUTCOMES.merge(e.getClass().getSimpleName(), 1, Integer::sum);
            boolean own = e instanceof MediaException || e instanceof IOException || e instanceof UncheckedIOException
                    || e instanceof NullPointerException || e instanceof IllegalArgumentException
                    || e instanceof UnsupportedOperationException || e instanceof ArithmeticException;
            // Places in the library's source are not for users.
            boolean told = e.getMessage() != null && !e.getMessage().isBlank() && !e.getMessage().contains(" in line ")
                    || e instanceof java.nio.channels.ClosedChannelException;
            if (!HOSTILE.equals(e.getMessage()) && !(own && told)) {
                throw new AssertionError(call, e);
            }
            return null;
        }
    }

    // Calls while others run.

    private static void races(Path directory, List<Integer> expected) throws Exception {
        seed(directory);
        refill(MediaReader.class);
        for (int round = 0; round < 12; round++) {
            MediaReader reader = MediaReader.open(film);
            VideoDecoder pictures = VideoDecoder.open(reader.firstVideo().orElseThrow());
            AudioDecoder sound = AudioDecoder.open(reader.firstAudio().orElseThrow());
            AudioEncoder encoder = AudioEncoder.open(AudioCodec.MP3, 44_100, 2);
            Picture picture = pictures.pictures(reader).findFirst().orElseThrow();
            List<Object> victims = List.of(reader, pictures, sound, encoder, picture);
            List<Packet> packets = reader.packets().toList();
            var attackers = new ArrayList<java.util.concurrent.Future<?>>();
            for (int attacker = 0; attacker < 3; attacker++) {
                Random random = new Random(round * 3L + attacker);
                attackers.add(THREADS.submit(() -> {
                    for (int i = 0; i < 400; i++) {
                        Object victim = victims.get(random.nextInt(victims.size()));
                        List<Executable> members = members(victim.getClass());
                        Executable member = members.get(random.nextInt(members.size()));
                        if (member instanceof Method && !Modifier.isStatic(member.getModifiers())
                                && !(member.getName().equals("close") && i < 390)) {
                            Object[] arguments = Arrays.stream(member.getParameterTypes()).map(type ->
                                    type == Packet.class ? packets.get(random.nextInt(packets.size()))
                                            : type == MediaReader.class ? reader : choose(type, random)).toArray();
                            judged(victim + "." + member, () -> invoke(member, victim, arguments));
                        }
                    }
                }));
            }
            // Decoders side by side in other threads are nobody's victims, however new the newest one is.
            check(decoded().equals(expected), "races disturb others");
            for (var attacker : attackers) {
                attacker.get(2, TimeUnit.MINUTES);
            }
            for (Object victim : victims) {
                ((AutoCloseable) victim).close();
            }
        }
        check(OUTCOMES.getOrDefault("MediaStateException", 0) > 0, "nobody met anybody: " + OUTCOMES);
    }

    // Callbacks that call back in.

    private static void callbacks(List<Integer> expected) throws Exception {
        HostileChannel channel = new HostileChannel(filmBytes);
        MediaReader reader = MediaReader.open(channel);
        int[] refused = new int[1];
        boolean[] nested = new boolean[1];
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
            if (!nested[0]) {
                nested[0] = true;
                // Others may be used, in the middle of a native call.
                check(decoded().equals(expected), "nested use");
            }
        };
        check(decoded(reader).equals(expected), "lost by callbacks");
        check(refused[0] > 0 && refused[0] % 4 == 0 && nested[0], "not all calls out of callbacks are refused");
        channel.hook = null;
        reader.close();
        consumers();
    }

    /** Consumers of streams that throw, stop early, take from the same stream, or close what it comes from. */
    private static void consumers() throws Exception {
        try (MediaReader reader = MediaReader.open(film);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
            int[] count = new int[1];
            for (int before = -1; before < count[0];) {
                before = count[0];
                judged("a consumer throws", () -> {
                    decoder.pictures(reader).limit(4).forEach(picture -> {
                        count[0] += 1 + (int) decoder.pictures(reader).limit(2).count();
                        if (count[0] % 2 == 0) {
                            throw new IllegalStateException(HOSTILE);
                        }
                    });
                    return null;
                });
            }
            check(count[0] == PICTURES, count[0] + " pictures");
        }
        for (boolean reads : new boolean[] {true, false}) {
            MediaReader reader = MediaReader.open(film);
            VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
            judged("a consumer closes", () -> {
                decoder.pictures(reader).forEach(picture -> judged("close", () -> {
                    (reads ? reader : decoder).close();
                    return null;
                }));
                throw new AssertionError("nothing told of the closing");
            });
            check(OUTCOMES.get("MediaStateException") > 0, "closing");
            reader.close();
            decoder.close();
        }
    }

    // Objects that nobody closes.

    private static void garbage() throws Exception {
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
        List<AutoCloseable> objects = forgotten();
        int most = holdersNow(holders);
        check(most >= before + objects.size(), "not all were counted: " + before + " to " + most);
        Reference.reachabilityFence(objects);
        // Otherwise this call would hold them until its end.
        objects = null;
        // One converter stays ready for the next picture.
        for (int attempt = 0; attempt < 200 && holdersNow(holders) > before + 1; attempt++) {
            System.gc();
            Thread.sleep(20);
        }
        check(holdersNow(holders) <= before + 1, "never deleted: " + (holdersNow(holders) - before));
    }

    /** Each of the objects has something native. */
    private static List<AutoCloseable> forgotten() throws IOException {
        List<AutoCloseable> objects = new ArrayList<>();
        for (int i = 0; i < 20; i++) {
            HostileChannel channel = new HostileChannel(filmBytes);
            MediaReader reader = MediaReader.open(channel);
            // The channel knows its reader, as one that shows progress would.
            channel.hook = reader::formatName;
            VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
            decoder.pictures(reader).limit(3).forEach(Picture::toBufferedImage);
            AudioEncoder encoder = AudioEncoder.open(AudioCodec.MP3, 44_100, 2);
            encoder.encode(noise(40_000));
            objects.addAll(List.of(reader, decoder, AudioDecoder.open(reader.firstAudio().orElseThrow()), encoder));
        }
        return objects;
    }

    private static int holdersNow(int[] holders) throws IOException {
        MediaReader.open(film).close();
        return holders[0];
    }

    // The log.

    private static void logs(Level level) throws Exception {
        Logger logger = Logger.getLogger("kiv.media.ffmpeg");
        logger.setLevel(level);
        Map<Level, Integer> lines = new java.util.concurrent.ConcurrentHashMap<>();
        boolean[] hostile = new boolean[1];
        logger.setFilter(line -> {
            int count = lines.merge(line.getLevel(), 1, Integer::sum);
            if (hostile[0] && count % 14 == 0) {
                throw new IllegalStateException(HOSTILE);
            }
            // Whoever is told may use what tells.
            judged("nested", () -> hostile[0] && count % 14 == 7 ? decoded() : null);
            return false;
        });
        List<Integer> expected = decoded();
        hostile[0] = true;
        check(decoded().equals(expected), "the log disturbs");
        try (MediaReader reader = MediaReader.open(film);
                VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow());
                AudioEncoder encoder = AudioEncoder.open(AudioCodec.MP3, 44_100, 2)) {
            encoder.encode(noise(80_000));
            judged("noise", () -> decoder.decode(packet(noise(500), 0)));
        }
        if (level == Level.INFO) {
            check(lines.isEmpty(), "lines without anybody who asked for them: " + lines);
        } else {
            check(lines.keySet().containsAll(List.of(Level.SEVERE, Level.FINE, Level.FINER)), "only " + lines);
        }
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
