package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class PacketSplitterTest {

    @ParameterizedTest
    @CsvSource({"h264, h264_b_322x242.h264", "h264, h264_sizechange.h264", "hevc, hevc.hevc", "mpeg1video, mpeg1_320x240.m1v",
        "mpeg2video, mpeg2_sizechange.m2v", "h263, h263_176x144.h263", "aac, aac.aac", "mp3, mp2.mp2", "ac3, ac3_5.1.ac3",
        "eac3, eac3_5.1.eac3", "dts, dts_5.1.dts"})
    void packetsAreThoseOfFfmpegsReaderHoweverTheBytesCome(String codec, String file) throws IOException {
        assumeTrue(TestMedia.isNewer() || !"hevc eac3".contains(codec), "2.8 reads no plain files of it");
        byte[] bytes = Files.readAllBytes(TestMedia.stream(file));
        for (int piece : new int[] {1, 7, 4096, bytes.length}) {
            try (PacketSplitter splitter = PacketSplitter.open(codec);
                    MediaReader reader = MediaReader.open(TestMedia.stream(file))) {
                List<Packet> packets = new ArrayList<>();
                for (int at = 0; at < bytes.length; at += piece) {
                    packets.addAll(splitter.push(bytes, at, Math.min(piece, bytes.length - at)));
                }
                MediaStream stream = splitter.stream();
                packets.addAll(splitter.finish());
                assertThat(packets.stream().map(p -> p.isKey() + " " + p.data())).as("pieces of %d", piece)
                        .isEqualTo(reader.packets().map(p -> p.isKey() + " " + p.data()).toList());
                assertThat(packets.stream().map(Packet::data)).isNotEmpty();
                MediaStream expected = reader.streams().get(0);
                assertThat(List.of(stream.codecName(), stream.sampleRate(), stream.channels()))
                        .containsExactly(expected.codecName(), expected.sampleRate(), expected.channels());
            }
        }
    }

    @Test
    void aPictureComesBeforeTheCamerasBytesEnd() throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.stream("h264_320x240.h264"));
        InputStream camera = new ByteArrayInputStream(bytes) {
            @Override
            public int read(byte[] to, int offset, int length) {
                return super.read(to, offset, 1000);
            }
        };
        try (PacketSplitter splitter = PacketSplitter.open("h264");
                VideoDecoder decoder = VideoDecoder.open(splitter.stream(), 1)) {
            assertThat(decoder.pictures(splitter.packets(camera)).limit(3)).hasSize(3);
            assertThat(camera.available()).isGreaterThan(bytes.length / 2);
            assertThat(decoder.pictures(splitter.packets(camera))).as("the rest").hasSize(27);
            InputStream torn = InputStream.nullInputStream();
            torn.close();
            assertThatThrownBy(() -> splitter.packets(torn).count()).isInstanceOf(UncheckedIOException.class);
        }
    }

    @Test
    void aWholeFileAsOnePacketIsRefusedAndItsPacketsAreDecoded() throws IOException {
        byte[] bytes = Files.readAllBytes(TestMedia.stream("h264_320x240.h264"));
        VideoFormat format = VideoFormat.of(MediaSubtypes.H264_ANNEX_B, 320, 240, 0, new byte[0], new Rational(1, 25));
        PacketSplitter splitter = PacketSplitter.open("h264", new Rational(1, 25));
        try (splitter; VideoDecoder decoder = VideoDecoder.open(splitter.stream());
                VideoDecoder own = VideoDecoder.open(format)) {
            refused(IllegalArgumentException.class, "holds 30 pictures; cut the stream with PacketSplitter",
                    () -> own.decode(Packet.of(bytes, 0, 0, 0, true)));
            List<Packet> packets = new ArrayList<>(splitter.push(ByteBuffer.wrap(bytes), 7, Packet.NO_TIME));
            packets.addAll(splitter.finish());
            assertThat(packets.stream().map(Packet::presentationTime).limit(2)).containsExactly(7L, Packet.NO_TIME);
            List<Picture> pictures = new ArrayList<>();
            for (Packet packet : packets) {
                pictures.addAll(decoder.decode(packet));
                byte[] copy = packet.bytes().clone();
                own.decode(Packet.of(copy, 0, Packet.NO_TIME, Packet.NO_TIME, false)).forEach(Picture::close);
            }
            pictures.addAll(decoder.finish());
            assertThat(pictures).hasSize(30).allMatch(picture -> picture.width() == 320 && picture.height() == 240);
            refused(MediaFormatException.class, "no packet of h264 ends",
                    () -> splitter.push(new byte[PacketSplitter.LARGEST_PACKET + (1 << 16)]));
            assertThat(splitter.push(bytes)).as("after that").hasSize(29);
        }
        refused(MediaStateException.class, "closed", splitter::finish);
        refused(UnsupportedCodecException.class, "opus", () -> PacketSplitter.open("opus"));
    }
}
