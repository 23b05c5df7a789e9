package kiv.media.ffmpeg;

import java.util.Arrays;
import java.util.Set;

/**
 * Reads the heads of compressed pictures, in the order of their packets: where decoding can start, and which packet gives
 * a picture when. It believes no container. What it is not sure of it says not to know.
 */
abstract class PacketExaminer {

    /** In which order the pictures of a group are shown. */
    enum Order {
        /** As they are stored. */
        STORED,
        /** A picture that others refer to waits for the next one that others refer to. */
        BY_KIND,
        /** By {@link CodedPicture#order}. */
        NUMBERED
    }

    /** Codecs each picture of which is coded alone. */
    private static final Set<String> ALONE = Set.of("dvvideo", "prores", "dnxhd", "huffyuv", "ffvhuff", "utvideo", "png",
            "jpeg2000", "v210", "webp");

    private boolean headersChanged;
    private boolean sequenceBegins;

    /** Examines the next packet. */
    final void examine(byte[] bytes, CodedPicture picture) {
        picture.clear();
        try {
            read(bytes, picture);
        } catch (IndexOutOfBoundsException e) {
            // Only damaged packets end within their heads.
            picture.clear();
        }
    }

    /** Reads a packet, and may run beyond its end. */
    abstract void read(byte[] bytes, CodedPicture picture);

    Order order() {
        return Order.STORED;
    }

    /** Whether each picture is coded alone, so that decoding can start everywhere. */
    boolean isAlone() {
        return false;
    }

    /** The most pictures that the decoder knows to hold back for their order; -1 when it does not know. */
    int knownDelay() {
        return Integer.MAX_VALUE;
    }

    /** Whether headers that stand for the whole stream have changed, so that a decoder may have those of another part. */
    final boolean headersChanged() {
        return headersChanged;
    }

    final void changeHeaders() {
        headersChanged = true;
    }

    /** A decoder may begin anew, and lose what it holds back. */
    final void changeSequence() {
        changeHeaders();
        sequenceBegins = true;
    }

    /** Whether the last packet changed what decoders begin anew for. */
    final boolean takeSequenceBegins() {
        boolean begins = sequenceBegins;
        sequenceBegins = false;
        return begins;
    }

    /** Returns the examiner of a stream; null for a codec whose pictures this class does not know. */
    static PacketExaminer of(MediaStream stream) {
        String codec = stream.codecName();
        return switch (codec) {
            case "h264" -> new H264Examiner(stream.extradata());
            case "hevc" -> new HevcExaminer(stream.extradata());
            case "mpeg1video", "mpeg2video" -> new MpegVideoExaminer(stream.extradata());
            case "mpeg4" -> new Mpeg4Examiner(stream.extradata());
            case "mjpeg" -> new MjpegExaminer();
            case "rawvideo" -> stream.bitsPerCodedSample() > Byte.SIZE ? new AloneExaminer() : null;
            case "h263", "flv1", "msmpeg4v1", "msmpeg4v2", "msmpeg4v3", "msmpeg4", "wmv1", "wmv2", "theora", "vp8" ->
                new SimpleExaminer(codec, stream.width() * stream.height());
            case "vp9" -> new Vp9Examiner();
            case "av1" -> new Av1Examiner();
            default -> ALONE.contains(codec) ? new AloneExaminer() : null;
        };
    }

    /** Pictures each of which is coded alone. */
    private static final class AloneExaminer extends PacketExaminer {
        @Override
        boolean isAlone() {
            return true;
        }

        @Override
        void read(byte[] bytes, CodedPicture picture) {
            picture.restart = bytes.length > 0;
            picture.pictures = bytes.length > 0 ? 1 : CodedPicture.UNKNOWN;
        }
    }

    /** JPEG pictures may use the tables of those before them. */
    private static final class MjpegExaminer extends PacketExaminer {
        private boolean sawCodes;

        @Override
        void read(byte[] bytes, CodedPicture picture) {
            boolean codes = false;
            boolean quantizers = false;
            boolean scan = false;
            int at = 2;
            while (!scan && bytes[at] == -1) {
                int marker = bytes[at + 1] & 0xFF;
                codes |= marker == 0xC4;
                quantizers |= marker == 0xDB;
                scan = marker == 0xDA;
                at += 2 + ((bytes[at + 2] & 0xFF) << 8 | bytes[at + 3] & 0xFF);
            }
            picture.pictures = scan && bytes[0] == -1 && (bytes[1] & 0xFF) == 0xD8 ? 1 : CodedPicture.UNKNOWN;
            picture.restart = scan && quantizers && (codes || !sawCodes);
            sawCodes |= codes;
        }
    }

    /** Codecs that say in their first bits whether a picture refers to the one before it. */
    private static final class SimpleExaminer extends PacketExaminer {
        private static final int BLOCK = 256;
        private final String codec;
        private final int smallest;

        SimpleExaminer(String codec, int pixels) {
            this.codec = codec;
            // A smaller packet may say that nothing has changed, for which some decoders give no picture.
            this.smallest = 32 + pixels / BLOCK / Byte.SIZE;
        }

        @Override
        void read(byte[] bytes, CodedPicture picture) {
            BitReader bits = new BitReader(bytes, 0, bytes.length);
            boolean alone = false;
            boolean sound = bytes.length >= (codec.equals("vp8") ? 3 : codec.equals("theora") ? 1 : smallest);
            int pictures = 1;
            switch (codec) {
                case "h263" -> {
                    sound &= bits.bits(22) == 0x20;
                    bits.skip(8);
                    sound &= bits.bits(2) == 2;
                    bits.skip(3);
                    alone = bits.bits(3) != 7 && bits.bit() == 0;
                }
                case "flv1" -> {
                    sound &= bits.bits(17) == 1;
                    bits.skip(13);
                    int size = bits.bits(3);
                    bits.skip(size == 0 ? 16 : size == 1 ? 32 : 0);
                    alone = bits.bits(2) == 0;
                }
                case "msmpeg4v1" -> {
                    sound &= bits.bits(32) == 0x100;
                    bits.skip(5);
                    alone = bits.bits(2) == 0;
                }
                case "wmv2" -> alone = bits.bit() == 0;
                case "vp8" -> {
                    alone = (bytes[0] & 1) == 0;
                    pictures = bytes[0] >> 4 & 1;
                }
                case "theora" -> {
                    sound &= bits.bit() == 0;
                    alone = bits.bit() == 0;
                }
                default -> {
                    int kind = bits.bits(2);
                    sound &= kind <= 1;
                    alone = kind == 0;
                }
            }
            picture.pictures = sound ? pictures : CodedPicture.UNKNOWN;
            picture.restart = sound && alone && pictures == 1;
        }
    }

    /** A packet may have pictures that are not shown, with the sizes of all at its end. */
    private static final class Vp9Examiner extends PacketExaminer {
        @Override
        void read(byte[] bytes, CodedPicture picture) {
            int last = bytes[bytes.length - 1] & 0xFF;
            int frames = 1;
            int[] sizes = {bytes.length};
            if ((last & 0xE0) == 0xC0) {
                int width = (last >> 3 & 3) + 1;
                frames = (last & 7) + 1;
                int at = bytes.length - 2 - width * frames;
                if (at >= 0 && (bytes[at] & 0xFF) == last) {
                    sizes = new int[frames];
                    for (int i = 0; i < width * frames; i++) {
                        sizes[i / width] |= (bytes[at + 1 + i] & 0xFF) << 8 * (i % width);
                    }
                } else {
                    frames = 1;
                }
            }
            int shown = 0;
            boolean restart = false;
            int at = 0;
            for (int i = 0; i < frames; i++) {
                BitReader bits = new BitReader(bytes, at, bytes.length);
                if (bits.bits(2) != 2) {
                    return;
                }
                int profile = bits.bit() | bits.bit() << 1;
                bits.skip(profile == 3 ? 1 : 0);
                boolean again = bits.flag();
                boolean inter = !again && bits.flag();
                boolean visible = again || bits.flag();
                restart |= i == 0 && !again && !inter;
                shown += visible ? 1 : 0;
                at += sizes[i];
            }
            picture.restart = restart && shown == 1;
            picture.pictures = shown <= 1 ? shown : CodedPicture.UNKNOWN;
        }
    }

    /** A packet is what is shown at one time. */
    private static final class Av1Examiner extends PacketExaminer {
        private int headers;

        @Override
        void read(byte[] bytes, CodedPicture picture) {
            boolean sequence = false;
            boolean first = true;
            int shown = 0;
            for (int at = 0; at < bytes.length;) {
                int head = bytes[at++] & 0xFF;
                int kind = head >> 3 & 15;
                at += head >> 2 & 1;
                int size = bytes.length - at;
                if ((head & 2) != 0) {
                    size = 0;
                    for (int shift = 0, more = 0x80; (more & 0x80) != 0; shift += 7) {
                        more = bytes[at++] & 0xFF;
                        size |= (more & 0x7F) << shift;
                    }
                }
                if (kind == 1) {
                    int hash = Arrays.hashCode(Arrays.copyOfRange(bytes, at, at + size));
                    if (headers != 0 && headers != hash) {
                        changeSequence();
                    }
                    headers = hash;
                    // A still picture or fewer bits in its heads are left to decoding.
                    sequence = (bytes[at] & 0x18) == 0;
                } else if (kind == 3 || kind == 6) {
                    BitReader bits = new BitReader(bytes, at, bytes.length);
                    boolean again = bits.flag();
                    int type = again ? 1 : bits.bits(2);
                    boolean visible = again || bits.flag();
                    picture.restart |= first && sequence && type == 0 && visible;
                    shown += visible ? 1 : 0;
                    first = false;
                }
                at += size;
            }
            picture.pictures = shown == 1 ? 1 : CodedPicture.UNKNOWN;
            picture.restart &= shown == 1;
        }
    }

    /** Finds the next start code. @return the place of the byte behind 0, 0, 1, or the end */
    static int nextStartCode(byte[] bytes, int from, int end) {
        int at = from + 2;
        while (at < end) {
            int value = bytes[at];
            if (value == 1 && bytes[at - 1] == 0 && bytes[at - 2] == 0) {
                return at + 1;
            }
            at += value == 0 || value == 1 ? 1 : 3;
        }
        return end;
    }

    /** MPEG-1 and MPEG-2: the kind of a picture says its order. */
    private static final class MpegVideoExaminer extends PacketExaminer {
        private static final int FRAME = 3;
        private int sequence;
        private int openField;

        MpegVideoExaminer(byte[] extradata) {
            noteSequence(extradata);
        }

        @Override
        Order order() {
            return Order.BY_KIND;
        }

        private boolean noteSequence(byte[] bytes) {
            int hash = 0;
            int end = bytes.length;
            for (int at = nextStartCode(bytes, 0, end); at < end;) {
                int code = bytes[at] & 0xFF;
                int next = nextStartCode(bytes, at, end);
                int extension = code == 0xB5 && at + 1 < end ? bytes[at + 1] >> 4 & 15 : 0;
                if (code == 0 || code >= 1 && code < 0xB0) {
                    break;
                }
                if (code == 0xB3 || extension == 1) {
                    int to = next == end ? end : next - 3;
                    hash = 31 * hash + Arrays.hashCode(Arrays.copyOfRange(bytes, at, Math.min(to, at + (code == 0xB3
                            ? 140 : 7))));
                }
                at = next;
            }
            if (hash != 0) {
                if (sequence != 0 && sequence != hash) {
                    changeSequence();
                }
                sequence = hash;
            }
            return hash != 0;
        }

        @Override
        void read(byte[] bytes, CodedPicture picture) {
            boolean headed = noteSequence(bytes);
            int pictures = 0;
            int firstKind = 0;
            int firstStructure = FRAME;
            int structure = 0;
            boolean sliced = false;
            for (int at = nextStartCode(bytes, 0, bytes.length); at < bytes.length;
                    at = nextStartCode(bytes, at, bytes.length)) {
                int code = bytes[at] & 0xFF;
                if (code == 0) {
                    int kind = bytes[at + 2] >> 3 & 7;
                    pictures++;
                    structure = FRAME;
                    firstKind = pictures == 1 ? kind : firstKind;
                    if (kind < 1 || kind > 3) {
                        return;
                    }
                } else if (code == 0xB5 && (bytes[at + 1] >> 4 & 15) == 8) {
                    structure = bytes[at + 3] & 3;
                    firstStructure = pictures == 1 ? structure : firstStructure;
                } else if (code == 0xB5 && (bytes[at + 1] >> 4 & 15) == 3) {
                    changeHeaders(); // other quantizers, until the next sequence header
                } else if (code >= 1 && code < 0xB0) {
                    sliced = true;
                }
            }
            boolean whole = pictures == 1 && firstStructure == FRAME
                    || pictures == 2 && firstStructure != FRAME && firstStructure + structure == FRAME;
            if (!sliced || !whole && pictures != 1) {
                openField = 0;
                return;
            }
            picture.bidirectional = firstKind == 3;
            if (whole) {
                openField = 0;
                picture.pictures = 1;
            } else if (openField + firstStructure == FRAME) {
                openField = 0;
                picture.pictures = 0;
                return;
            } else {
                openField = firstStructure;
                picture.pictures = 1;
            }
            picture.restart = firstKind == 1 && (headed || !headersChanged() && sequence != 0);
        }
    }

    /** MPEG-4 part 2: the kind of a picture says its order. */
    private static final class Mpeg4Examiner extends PacketExaminer {
        /** A picture that is not coded is nothing but its head. */
        private static final int LONGEST_HEAD = 16;
        private int layer;
        private boolean sawPrevious;

        Mpeg4Examiner(byte[] extradata) {
            noteLayer(extradata);
        }

        @Override
        Order order() {
            return Order.BY_KIND;
        }

        /** A decoder guesses at first whether it has to hold pictures back. */
        @Override
        int knownDelay() {
            return 0;
        }

        private void noteLayer(byte[] bytes) {
            int end = bytes.length;
            for (int at = nextStartCode(bytes, 0, end); at < end;) {
                int next = nextStartCode(bytes, at, end);
                if ((bytes[at] & 0xF0) == 0x20) {
                    int hash = Arrays.hashCode(Arrays.copyOfRange(bytes, at, next == end ? end : next - 3));
                    if (layer != 0 && layer != hash) {
                        changeSequence();
                    }
                    layer = hash;
                }
                at = (bytes[at] & 0xFF) == 0xB6 ? end : next;
            }
        }

        @Override
        void read(byte[] bytes, CodedPicture picture) {
            noteLayer(bytes);
            int pictures = 0;
            int kind = 0;
            int length = 0;
            boolean layered = false;
            int end = bytes.length;
            for (int at = nextStartCode(bytes, 0, end); at < end;) {
                int next = nextStartCode(bytes, at, end);
                layered |= (bytes[at] & 0xF0) == 0x20;
                if ((bytes[at] & 0xFF) == 0xB6) {
                    pictures++;
                    kind = bytes[at + 1] >> 6 & 3;
                    length = next - at;
                }
                at = next;
            }
            if (pictures != 1 || length <= LONGEST_HEAD || kind == 3) {
                sawPrevious = true;
                return;
            }
            picture.pictures = 1;
            picture.bidirectional = kind == 2;
            // Half of a packet with two pictures waits in the decoder for the next packet.
            picture.restart = kind == 0 && layer != 0 && (layered || !headersChanged()) && !sawPrevious;
            sawPrevious &= kind == 2;
        }
    }
}
