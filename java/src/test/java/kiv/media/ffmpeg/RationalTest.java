package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.time.Duration;
import org.junit.jupiter.api.Test;

class RationalTest {

    @Test
    void productsAreExactAndRoundedDown() {
        assertThat(new Rational(1, 3).times(3_000_000_000_000L)).isEqualTo(Duration.ofSeconds(1_000_000_000_000L));
        assertThat(new Rational(1001, 30000).times(-1)).isEqualTo(Duration.ofNanos(-33_366_667));
        assertThat(new Rational(1001, -30000).times(1)).isEqualTo(Duration.ofNanos(-33_366_667));
        assertThat(new Rational(1, 1_000_000_000).times(Long.MAX_VALUE)).isEqualTo(Duration.ofNanos(Long.MAX_VALUE));
        assertThat(new Rational(30000, 1001).toDouble()).isEqualTo(30000 / 1001.0);
    }

    @Test
    void whatIsUnknownOrTooLongIsNoTime() {
        assertThat(new Rational(1, 0).toDouble()).isZero();
        assertThatThrownBy(() -> new Rational(1, 0).times(1)).isInstanceOf(ArithmeticException.class);
        assertThatThrownBy(() -> new Rational(Long.MAX_VALUE, 1).times(2)).isInstanceOf(ArithmeticException.class);
        assertThat(new Rational(0, 1).time(1)).isEmpty();
        assertThat(new Rational(Long.MAX_VALUE, 1).time(2)).isEmpty();
        assertThat(new Rational(Long.MAX_VALUE, 1).time(1)).contains(Duration.ofSeconds(Long.MAX_VALUE));
        assertThat(new Rational(1, 1).time(Packet.NO_TIME)).isEmpty();
    }
}
