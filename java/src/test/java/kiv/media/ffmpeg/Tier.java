package kiv.media.ffmpeg;

import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.function.Function;
import java.util.stream.IntStream;
import java.util.stream.Stream;

/** Which cases of a large product a run takes: all with {@code -Dkiv.test.tier=full}, otherwise those that differ. */
public final class Tier {

    private static final boolean FULL = "full".equals(System.getProperty("kiv.test.tier"));

    private Tier() {
    }

    /** Every case of the first item of each kind and one of each other item, where neighbours have different ones. */
    public static <T, C> Stream<C> of(List<T> items, Function<T, ?> kind, Function<T, List<C>> cases) {
        Set<T> first = new HashSet<>(firstOfEach(items, kind));
        return IntStream.range(0, items.size()).boxed().flatMap(i -> {
            List<C> all = cases.apply(items.get(i));
            return FULL || first.contains(items.get(i)) ? all.stream() : Stream.of(all.get(i % all.size()));
        });
    }

    /** The first item of each kind. */
    public static <T> List<T> of(List<T> items, Function<T, ?> kind) {
        return FULL ? items : firstOfEach(items, kind);
    }

    private static <T> List<T> firstOfEach(List<T> items, Function<T, ?> kind) {
        Set<Object> kinds = new HashSet<>();
        return items.stream().filter(item -> kinds.add(kind.apply(item))).toList();
    }
}
