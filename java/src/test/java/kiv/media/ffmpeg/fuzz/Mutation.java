package kiv.media.ffmpeg.fuzz;

import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.Random;
import java.util.stream.Stream;
import kiv.media.ffmpeg.fuzz.Units.Unit;

/** Damages files as somebody would who knows what they consist of. */
final class Mutation {

    private static final long[] EXTREMES = {0, 1, 2, 0x7F, 0x80, 0xFF, 0x7FFF, 0xFFFF, 0x10000, 0x7FFF_FFFFL,
        0x8000_0000L, 0xFFFF_FFFFL, 0xFFFF_FFF0L, 1_000_000, 80_000_000, Long.MAX_VALUE, Long.MIN_VALUE, -1};
    /** The end of a packet into which FFmpeg merged a note on how many samples to skip. */
    private static final byte[] NOTE = HexFormat.of().parseHex("00000000000000000000" + "0000000ac6" + "8c4d9d108e25e9fe");
    /** What files name that lead elsewhere in FFmpeg: subtitles, sound that it sorts, markers of ASF and notes of AVI. */
    private static final byte[][] NAMES = Stream.of("535f445642535542", "415f5245414c2f32385f38", "535f544558542f55544638",
            "74783367", "6d703473", "6e636474", "4c495354080000006e636474", "0606590400000001",
            "01cd87f451a9cf118ee600c00c205365").map(HexFormat.of()::parseHex).toArray(byte[][]::new);
    private static final int HEAD = 48;
    private static final int MOST_COPIES = 64;

    private final Random random;

    Mutation(Random random) {
        this.random = random;
    }

    /** A file with a few changes; some take units of the other file. */
    byte[] of(byte[] file, byte[] other) {
        byte[] changed = file.clone();
        for (int count = 1 + random.nextInt(4); count > 0 && changed.length > HEAD; count--) {
            changed = once(changed, other);
        }
        return changed;
    }

    private byte[] once(byte[] file, byte[] other) {
        List<Unit> units = Units.of(file);
        Unit unit = any(units);
        return switch (random.nextInt(10)) {
            case 0 -> {
                unit.setSize(file, random.nextBoolean() ? extreme() : unit.size(file) + random.nextInt(-8, 9));
                yield file;
            }
            case 1 -> replace(file, unit, new byte[0]);
            case 2 -> replace(file, unit, copies(bytes(file, unit)));
            case 3 -> replace(file, unit, bytes(other, any(Units.of(other))));
            case 4 -> replace(file, unit, bytes(file, any(units)));
            case 5 -> {
                // The tags of FLV, the only sizes of three bytes, end with a number of their own.
                int end = unit.end() - (unit.width() == 3 ? 4 : 0);
                yield replace(file, new Unit(unit, end, end, 0, 0, 0), withNote(new byte[0]));
            }
            case 8 -> name(file, unit);
            case 6 -> random.nextInt(4) > 0 ? noise(file, unit) : Arrays.copyOf(file, unit.start() + random.nextInt(HEAD));
            case 7 -> noise(file, unit);
            default -> number(file, unit);
        };
    }

    private static byte[] bytes(byte[] file, Unit unit) {
        return Arrays.copyOfRange(file, unit.start(), unit.end());
    }

    private byte[] copies(byte[] bytes) {
        int count = Math.max(1, Math.min(1 + random.nextInt(MOST_COPIES), (1 << 17) / bytes.length));
        byte[] all = new byte[bytes.length * count];
        for (int i = 0; i < all.length; i++) {
            all[i] = bytes[i % bytes.length];
        }
        return all;
    }

    /** A number within the unit's first bytes becomes an extreme one. */
    private byte[] number(byte[] file, Unit unit) {
        int width = 1 << random.nextInt(4);
        int at = unit.start() + random.nextInt(Math.min(HEAD, unit.end() - unit.start()));
        if (at + width <= file.length) {
            new Unit(null, 0, 0, at, width, random.nextInt(2)).setSize(file, extreme());
        }
        return file;
    }

    /** A name replaces what is in a unit, or the start of its head. */
    private byte[] name(byte[] file, Unit unit) {
        byte[] name = NAMES[random.nextInt(NAMES.length)];
        int data = unit.sizeAt() + unit.width();
        if (data > unit.start() && data < unit.end() && random.nextBoolean()) {
            return replace(file, new Unit(unit, data, unit.end(), 0, 0, 0), name);
        }
        int at = Math.min(unit.start() + 4 * random.nextInt(4), unit.end());
        System.arraycopy(name, 0, file, at, Math.min(name.length, file.length - at));
        return file;
    }

    private byte[] noise(byte[] file, Unit unit) {
        for (int count = 1 << random.nextInt(5); count > 0; count--) {
            file[random.nextInt(unit.start(), unit.end())] ^= (byte) (1 << random.nextInt(8));
        }
        return file;
    }

    /** Mostly the units around it keep their sizes right. */
    private byte[] replace(byte[] file, Unit unit, byte[] bytes) {
        int added = bytes.length - (unit.end() - unit.start());
        for (Unit above = unit.parent(); above != null && random.nextInt(8) > 0; above = above.parent()) {
            above.setSize(file, above.size(file) + added);
        }
        byte[] changed = Arrays.copyOf(file, file.length + added);
        System.arraycopy(bytes, 0, changed, unit.start(), bytes.length);
        System.arraycopy(file, unit.end(), changed, unit.end() + added, file.length - unit.end());
        return changed;
    }

    byte[] withNote(byte[] bytes) {
        byte[] marked = Arrays.copyOf(bytes, bytes.length + NOTE.length);
        System.arraycopy(NOTE, 0, marked, bytes.length, NOTE.length);
        new Unit(null, 0, 0, bytes.length + 4 * random.nextInt(2), 4, Units.LITTLE).setSize(marked, extreme());
        return marked;
    }

    private long extreme() {
        return random.nextInt(4) == 0 ? random.nextLong() >> random.nextInt(64) : EXTREMES[random.nextInt(EXTREMES.length)];
    }

    /** Heads lie at the start of a file, and there are few of them. */
    private Unit any(List<Unit> units) {
        return units.get(random.nextInt(random.nextBoolean() ? units.size() : Math.min(24, units.size())));
    }
}
