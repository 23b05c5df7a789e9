package kiv.media.bench;

import java.util.Map;

/** The participants by name. */
final class Participants {

    /** Makes the work of a participant for a task. */
    @FunctionalInterface
    private interface Maker {
        Work make(Task task) throws Exception;
    }

    private static final Map<String, Maker> MAKERS = Map.of(
            "api", ApiWork::of,
            "api-pool", ApiWork::pooled,
            "entries", EntryWork::of,
            "javacv", JavacvWork::of,
            "presets", PresetsWork::of,
            "humble", HumbleWork::of,
            "jcodec", JcodecWork::of,
            "jaffree", JaffreeWork::of);

    private Participants() {
    }

    static Work make(String name, Task task) throws Exception {
        Maker maker = MAKERS.get(name);
        if (maker == null) {
            throw new IllegalArgumentException("no participant " + name);
        }
        return maker.make(task);
    }
}
