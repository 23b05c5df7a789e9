package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.time.Duration;
import org.junit.jupiter.api.Test;

class PacketTimesTest {

    private final PacketTimes times = new PacketTimes();

    private static Packet packet(long presentation, long decoding) {
        return Packet.of(new byte[1], 0, presentation, decoding, presentation == 0);
    }

    @Test
    void aReorderedPictureHasItsOwnPacketsTime() {
        long far = 0x7123_4567_89AB_CDEFL;
        int first = times.remember(packet(far, far - 3));
        int second = times.remember(packet(far + 3, far - 2));
        Packet third = packet(far + 1, far - 1);
        int thirdKey = times.remember(third);
        assertThat(times.of(first, third).timestamp()).isEqualTo(far);
        assertThat(times.of(thirdKey, third).timestamp()).isEqualTo(far + 1);
        assertThat(times.of(second, third).timestamp()).isEqualTo(far + 3);
    }

    @Test
    void withoutPresentationTimesThePaceOfDecodingCounts() {
        for (int i = 0; i < 5; i++) {
            Packet packet = packet(Packet.NO_TIME, i);
            assertThat(times.of(times.remember(packet), packet).timestamp()).isEqualTo(i);
        }
    }

    @Test
    void presentationTimesThatStepBackAreNotBelieved() {
        for (int i = 0; i < 5; i++) {
            Packet packet = packet(7, i);
            assertThat(times.of(times.remember(packet), packet).timestamp()).isEqualTo(i == 0 ? 7 : i);
        }
    }

    @Test
    void aForeignOrForgottenKeyHasNoPacket() {
        Packet packet = packet(4, Packet.NO_TIME);
        int key = times.remember(packet);
        assertThat(times.of(Long.MIN_VALUE, packet).timestamp()).isEqualTo(Packet.NO_TIME);
        assertThat(times.of(key + 1024L, packet).timestamp()).isEqualTo(Packet.NO_TIME);
        assertThat(times.of(key, packet).timestamp()).isEqualTo(4);
        times.forget();
        assertThat(times.of(key, packet).timestamp()).isEqualTo(Packet.NO_TIME);
    }

    @Test
    void durationsAreExactOverTheWholeRange() {
        assertThat(new Rational(1, 3).times(3_000_000_000_000L)).isEqualTo(Duration.ofSeconds(1_000_000_000_000L));
        assertThat(new Rational(1001, 30000).times(-1)).isEqualTo(Duration.ofNanos(-33_366_667));
        assertThat(new Rational(1, 1_000_000_000).times(Long.MAX_VALUE)).isEqualTo(Duration.ofNanos(Long.MAX_VALUE));
        assertThatThrownBy(() -> new Rational(1, 0).times(1)).isInstanceOf(ArithmeticException.class);
        assertThatThrownBy(() -> new Rational(Long.MAX_VALUE, 1).times(Long.MAX_VALUE))
                .isInstanceOf(ArithmeticException.class);
    }
}
