package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import kiv.media.ffmpeg.natives.StreamFields;
import org.junit.jupiter.api.Test;

class PacketFilterTest {

    @Test
    void packetsOfOtherStreamsAreRefused() {
        PacketFilter filter = new PacketFilter(new MediaStream(1, new long[StreamFields.SIZE], "none", new byte[0]));
        for (int index = 0; index < 3; index++) {
            Packet packet = Packet.of(new byte[0], index, 0, 0, true);
            assertThat(filter.accepts(packet)).isEqualTo(index == 1);
            new PacketFilter(null).check(packet);
        }
        assertThatThrownBy(() -> filter.check(Packet.of(new byte[0], 2, 0, 0, true)))
                .isInstanceOf(IllegalArgumentException.class).hasMessageEndingWith("is not of the decoder's stream 1");
    }
}
