package kiv.media.ffmpeg.cli;

import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.stream.IntStream;
import kiv.media.ffmpeg.AudioCodec;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.AudioEncoder;
import kiv.media.ffmpeg.FourCharacterCode;
import kiv.media.ffmpeg.MediaSubtypes;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.VideoFormat;
import kiv.media.ffmpeg.WaveFormat;
import kiv.media.ffmpeg.WaveFormatTags;

/** Names the rows of the library's tables for people, and finds out what the loaded FFmpeg can open of each. */
final class KnownFormats {

    private static final int WIDTH = 352;
    private static final int HEIGHT = 288;
    private static final int BITS = 24;
    private static final int GUID_DATA = 8;
    private static final int HEXADECIMAL = 16;
    private static final int FULL_RATE = 44_100;
    private static final int SPEECH_RATE = 8000;
    private static final int WIDE_SPEECH_RATE = 16_000;
    private static final int BYTES_PER_SECOND = 8000;

    /** The end of a subtype that is made of a four-character code. */
    private static final String CODE_SUFFIX = MediaSubtypes.of(0).substring(GUID_DATA);

    private static final Map<String, String> VIDEO_NAMES = Map.ofEntries(
            Map.entry("e06d8026-db46-11cf-b4d1-00805f6cbbea", "MPEG-2"),
            Map.entry("e436eb81-524f-11ce-9f53-0020af0ba770", "MPEG-1 payload"),
            Map.entry("e436eb80-524f-11ce-9f53-0020af0ba770", "MPEG-1 packet"),
            Map.entry("68323633-767a-494d-b478-f29d25dc9037", "H.263"),
            Map.entry("H264", "H.264, Annex B"), Map.entry("avc1", "H.264, lengths"),
            Map.entry("VSSH", "H.264, Annex B"),
            Map.entry("MP43", "MS-MPEG-4 v3"), Map.entry("MP42", "MS-MPEG-4 v2"), Map.entry("MP4V", "MPEG-4"),
            Map.entry("M4S2", "MPEG-4"), Map.entry("DX50", "MPEG-4"), Map.entry("H263", "H.263"),
            Map.entry("WMV1", "WMV 7"), Map.entry("WMV2", "WMV 8"), Map.entry("WMV3", "WMV 9"), Map.entry("dvsd", "DV"),
            Map.entry("0x00000001", "MS run-length"), Map.entry("MPG1", "MPEG-1"), Map.entry("cvid", "Cinepak"),
            Map.entry("IV32", "Indeo 3"));

    /** The sequence header without which the decoder of WMV 9 does not open. */
    private static final byte[] WMV3_HEADER = HexFormat.of().parseHex("4ed11a01");

    /** A tag's name, and a format of sound for which its decoder opens. */
    private record Sound(int tag, String name, int channels, int sampleRate, int blockAlign, int bits, String header) {

        static Sound of(int tag, String name) {
            return of(tag, name, 0, 0);
        }

        static Sound of(int tag, String name, int blockAlign, int bits) {
            return of(tag, name, blockAlign, bits, "");
        }

        static Sound of(int tag, String name, int blockAlign, int bits, String header) {
            return new Sound(tag, name, 1, FULL_RATE, blockAlign, bits, header);
        }

        static Sound speech(int tag, String name, int blockAlign) {
            return new Sound(tag, name, 1, SPEECH_RATE, blockAlign, 0, "");
        }

        WaveFormat format() {
            return WaveFormat.of(tag, channels, sampleRate, BYTES_PER_SECOND, blockAlign, bits,
                    HexFormat.of().parseHex(header));
        }
    }

    private static final String WMA_PRO_HEADER = "100004000000" + "00".repeat(12);
    private static final List<Sound> SOUNDS = List.of(
            Sound.of(WaveFormatTags.PCM, "PCM, 16 bits", 2, 16),
            Sound.of(WaveFormatTags.ADPCM_MS, "MS ADPCM", 1024, 4),
            Sound.of(WaveFormatTags.FLOAT, "PCM, 32-bit float", 4, 32),
            Sound.of(WaveFormatTags.ALAW, "A-law", 1, 8),
            Sound.of(WaveFormatTags.MULAW, "mu-law", 1, 8),
            Sound.of(0x0008, "DTS"),
            Sound.of(WaveFormatTags.ADPCM_IMA, "IMA ADPCM", 1024, 4),
            Sound.of(WaveFormatTags.ADPCM_YAMAHA, "Yamaha ADPCM", 1024, 4),
            Sound.speech(0x0022, "TrueSpeech", 32),
            Sound.speech(0x0031, "GSM 6.10", 65),
            Sound.speech(WaveFormatTags.AMR_NB, "AMR-NB", 0),
            Sound.of(WaveFormatTags.MPEG, "MPEG layer 1, 2"),
            Sound.of(WaveFormatTags.MP3, "MP3"),
            Sound.of(0x0061, "Duck DK4 ADPCM", 1024, 4),
            Sound.of(0x0062, "Duck DK3 ADPCM", 1024, 4),
            Sound.of(0x0065, "G.722"),
            Sound.of(0x0069, "IMA ADPCM", 1024, 4),
            Sound.of(0x0075, "VoxWare"),
            Sound.of(WaveFormatTags.AAC, "AAC"),
            Sound.speech(0x0130, "Sipro ACELP", 20),
            Sound.of(WaveFormatTags.WMA1, "WMA 1", 1024, 16, "00000000"),
            Sound.of(WaveFormatTags.WMA2, "WMA 2", 1024, 16, "000000000000"),
            Sound.of(0x0162, "WMA Pro", 1024, 16, WMA_PRO_HEADER),
            Sound.of(0x0163, "WMA Lossless", 1024, 16, WMA_PRO_HEADER),
            Sound.of(0x0200, "Creative ADPCM", 1024, 4),
            new Sound(0x0270, "ATRAC3", 2, FULL_RATE, 384, 0, "0100001000000000000001000000"),
            Sound.of(WaveFormatTags.G722, "G.722"),
            Sound.speech(0x1500, "GSM 6.10", 65),
            Sound.of(WaveFormatTags.AAC_ADTS, "AAC in ADTS"),
            Sound.of(0x1602, "AAC"),
            Sound.of(0x1610, "AAC"),
            Sound.of(WaveFormatTags.AC3, "AC-3"),
            Sound.of(WaveFormatTags.DTS, "DTS"),
            Sound.of(0x6C75, "mu-law", 1, 8));

    /**
     * A row of the table of subtypes.
     *
     * @param fourcc 0 when the subtype is not made of a four-character code
     * @param subtype the GUID
     */
    record Video(String codec, int fourcc, String subtype) {

        String code() {
            return fourcc == 0 ? "" : FourCharacterCode.toText(fourcc);
        }

        boolean isDecodable() {
            byte[] extradata = code().equals("WMV3") ? WMV3_HEADER : new byte[0];
            try {
                VideoDecoder.open(VideoFormat.of(subtype, WIDTH, HEIGHT, BITS, extradata, new Rational(1, 25))).close();
                return true;
            } catch (UnsupportedCodecException e) {
                return false;
            }
        }
    }

    /**
     * A row of the table of format tags.
     *
     * @param encoder the codec that encodes into the format
     */
    record Audio(int tag, Optional<AudioCodec> encoder) {

        String codec() {
            return sound().name();
        }

        boolean isDecodable() {
            try {
                AudioDecoder.open(sound().format()).close();
                return true;
            } catch (UnsupportedCodecException e) {
                return false;
            }
        }

        private Sound sound() {
            return SOUNDS.stream().filter(sound -> sound.tag() == tag).findFirst()
                    .orElseGet(() -> Sound.of(tag, "unnamed"));
        }

        boolean isEncodable() {
            return encoder.isPresent() && opens(encoder.get());
        }
    }

    /** Returns whether the loaded FFmpeg encodes into the format. */
    static boolean opens(AudioCodec codec) {
        // FFmpeg's own encoder of Vorbis takes stereo only.
        int channels = codec == AudioCodec.VORBIS ? 2 : 1;
        int rate = IntStream.of(codec == AudioCodec.G722 ? WIDE_SPEECH_RATE : FULL_RATE, SPEECH_RATE, WIDE_SPEECH_RATE)
                .filter(sampleRate -> codec.accepts(sampleRate, channels)).findFirst().orElseThrow();
        try {
            AudioEncoder.open(codec, rate, channels).close();
            return true;
        } catch (UnsupportedCodecException e) {
            return false;
        }
    }

    private KnownFormats() {
    }

    static List<Video> video() {
        return MediaSubtypes.all().stream().map(subtype -> {
            int fourcc = subtype.endsWith(CODE_SUFFIX)
                    ? Integer.parseUnsignedInt(subtype.substring(0, GUID_DATA), HEXADECIMAL) : 0;
            String key = fourcc == 0 ? subtype : FourCharacterCode.toText(fourcc);
            return new Video(VIDEO_NAMES.getOrDefault(key, "unnamed"), fourcc, subtype);
        }).toList();
    }

    static List<Audio> audio() {
        return WaveFormatTags.all().stream().map(tag -> new Audio(tag,
                Arrays.stream(AudioCodec.values()).filter(codec -> codec.formatTag() == tag).findFirst())).toList();
    }
}
