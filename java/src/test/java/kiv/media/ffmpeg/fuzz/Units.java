package kiv.media.ffmpeg.fuzz;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;

/** The units of a container: chunks, boxes, elements, objects, tags, pages, packets. One may lie in another. */
final class Units {

    static final int LITTLE = 0;
    static final int BIG = 1;
    /** Big-endian, with a bit in front that marks the width. */
    static final int MARKED = 2;

    /** A unit and the place of its size, whose width is 0 when there is none. */
    record Unit(Unit parent, int start, int end, int sizeAt, int width, int order) {

        long size(byte[] file) {
            long size = 0;
            for (int i = 0; i < width; i++) {
                size |= (file[sizeAt + (order == LITTLE ? i : width - 1 - i)] & 0xFFL) << 8 * i;
            }
            return order == MARKED ? size & (1L << 7 * width) - 1 : size;
        }

        void setSize(byte[] file, long size) {
            long marked = order == MARKED ? size & (1L << 7 * width) - 1 | 1L << 7 * width : size;
            for (int i = 0; i < width; i++) {
                file[sizeAt + (order == LITTLE ? i : width - 1 - i)] = (byte) (marked >> 8 * i);
            }
        }
    }

    /** Where identifier and size are, bytes outside of the size, and where units begin in those that hold others. */
    private record Layout(int id, int idWidth, int size, int width, int order, int outside, Map<Long, Integer> nested) {
    }

    private static final Layout RIFF = new Layout(0, 4, 4, 4, LITTLE, 8, Map.of(0x52494646L, 12, 0x4C495354L, 12));
    private static final Layout MP4 = new Layout(4, 4, 0, 4, BIG, 0, Map.of(0x6D6F6F76L, 8, 0x7472616BL, 8, 0x6D646961L, 8,
            0x6D696E66L, 8, 0x7374626CL, 8, 0x65647473L, 8, 0x64696E66L, 8));
    private static final Layout ASF = new Layout(0, 4, 16, 8, LITTLE, 0, Map.of(0x3026B275L, 30,
            0xB503BF5FL, 46, 0x3626B275L, 50));
    private static final Layout FLV = new Layout(0, 1, 1, 3, BIG, 15, Map.of());
    private static final Layout MATROSKA = new Layout(0, 0, 0, 0, MARKED, 0, Map.of(0x18538067L, 0, 0x1654AE6BL, 0,
            0x1F43B675L, 0, 0x1C53BB6BL, 0, 0x114D9B74L, 0, 0xAEL, 0, 0xBBL, 0, 0xB7L, 0, 0x4DBBL, 0, 0xA0L, 0));
    private static final int TS_PACKET = 188;
    private static final int BLOCK = 128;

    private final byte[] file;
    private final List<Unit> units = new ArrayList<>();

    private Units(byte[] file) {
        this.file = file;
    }

    /** The units of a file, outer ones before those in them; there is at least one. */
    static List<Unit> of(byte[] file) {
        Units found = new Units(file);
        int magic = (int) found.number(0, 4, BIG);
        switch (magic) {
            case 0x52494646 -> found.walk(RIFF, null, 0, file.length);
            case 0x3026B275 -> found.walk(ASF, null, 0, file.length);
            case 0x464C5601 -> found.walk(FLV, null, 13, file.length);
            case 0x1A45DFA3 -> found.walk(MATROSKA, null, 0, file.length);
            case 0x4F676753 -> found.split(magic, 4);
            default -> {
                if (found.number(4, 4, BIG) == 0x66747970) {
                    found.walk(MP4, null, 0, file.length);
                } else if (magic >>> 8 <= 1) {
                    found.split(1, 3);
                } else {
                    int length = magic >>> 24 == 0x47 ? TS_PACKET : BLOCK;
                    for (int at = 0; at < file.length; at += length) {
                        found.add(null, at, at + length, 0, 0, BIG);
                    }
                }
            }
        }
        return found.units;
    }

    private Unit add(Unit parent, int start, long end, int sizeAt, int width, int order) {
        long last = Math.max(start + 1L, Math.min(end, parent == null ? file.length : parent.end));
        units.add(new Unit(parent, start, (int) last, sizeAt, sizeAt + width > file.length ? 0 : width, order));
        return units.get(units.size() - 1);
    }

    private void walk(Layout layout, Unit parent, int start, int end) {
        for (int at = start; at < end;) {
            boolean marked = layout.order == MARKED;
            int idWidth = marked ? widthAt(at, 4) : layout.idWidth;
            int width = marked ? widthAt(at + idWidth, 8) : layout.width;
            int sizeAt = at + (marked ? idWidth : layout.size);
            long size = number(sizeAt, width, layout.order);
            Unit unit = add(parent, at, at + size + (marked ? idWidth + width : layout.outside), sizeAt, width, layout.order);
            Integer inner = layout.nested.get(number(at + layout.id, idWidth, BIG));
            if (inner != null) {
                walk(layout, unit, at + inner + (marked ? idWidth + width : 0), unit.end);
            }
            at = unit.end;
        }
    }

    private int widthAt(int at, int most) {
        return Math.min(most, Integer.numberOfLeadingZeros((int) number(at, 1, BIG)) - 23);
    }

    /** Units between marks. */
    private void split(long mark, int width) {
        int start = 0;
        for (int at = 1; at <= file.length; at++) {
            // The first byte goes first, because this is the longest of all loops.
            if (at == file.length || file[at] == (byte) (mark >> 8 * (width - 1)) && number(at, width, BIG) == mark) {
                add(null, start, at, start + 4, at - start > 6 ? 2 : 0, BIG);
                start = at;
            }
        }
    }

    private long number(int at, int width, int order) {
        return at + width > file.length ? 0 : new Unit(null, 0, 0, at, width, order).size(file);
    }
}
