package kiv.media.ffmpeg;

import static kiv.media.ffmpeg.Refusals.refused;
import static org.assertj.core.api.Assertions.assertThat;

import java.time.Duration;
import org.junit.jupiter.api.Test;

/** Times of packets, of sound by its samples, and in units of any length. */
class TimesTest {

    private final PacketTimes times = new PacketTimes();

    private static Packet packet(long presentation, long decoding) {
        return Packet.of(new byte[1], 0, presentation, decoding, presentation == 0);
    }

    /** Rows of what a packet says about presentation and decoding, and of the time that its picture gets. */
    private void expect(long[]... rows) {
        for (long[] row : rows) {
            int key = times.remember(packet(row[0], row[1]));
            assertThat(times.of(key, key).timestamp()).isEqualTo(row[2]);
        }
    }

    @Test
    void aClockThatStepsBackOrIsMissingGivesWayToTheOtherOne() {
        expect(new long[][] {{7, 0, 7}, {7, 1, 1}, {7, 2, 2}});
        times.forget();
        expect(new long[][] {{10, Packet.NO_TIME, 10}, {20, 5, 20}, {15, 6, 15}, {14, 7, 7}, {Packet.NO_TIME, 30, 30},
            {25, 31, 31}});
        times.forget();
        expect(new long[] {3, 1, 3});
    }

    @Test
    void aForeignOrForgottenKeyHasNoPacket() {
        int fed = times.remember(packet(Packet.NO_TIME, 3));
        assertThat(times.of(fed + 1L, fed).timestamp()).as("the pace of decoding").isEqualTo(3);
        int key = times.remember(packet(4, Packet.NO_TIME));
        assertThat(times.of(Long.MIN_VALUE, key).timestamp()).isEqualTo(Packet.NO_TIME);
        assertThat(times.of(key + 1024L, key).timestamp()).isEqualTo(Packet.NO_TIME);
        assertThat(times.of(key, key).timestamp()).isEqualTo(4);
        times.forget();
        assertThat(times.of(key, key).timestamp()).isEqualTo(Packet.NO_TIME);
    }

    @Test
    void picturesWithoutTimesFollowEachOther() {
        long none = Packet.NO_TIME;
        long[][] rows = {{none, 0, 0, 42}, {none, 0, 42, 42}, {100, 30, 100, 30}, {none, 0, 130, 42},
            {Long.MAX_VALUE, 0, Long.MAX_VALUE, 42}, {none, 0, none, 42}};
        PictureClock clock = new PictureClock(new Rational(24_000, 1001), new Rational(1, 1000));
        for (int stream = 0; stream < 2; stream++) {
            for (long[] row : rows) {
                assertThat(clock.complete(new PacketTimes.Times(row[0], row[1])))
                        .isEqualTo(new PacketTimes.Times(row[2], row[3]));
            }
            clock.begin();
        }
        clock.forget();
        assertThat(clock.complete(new PacketTimes.Times(none, 0)).timestamp()).isEqualTo(none);
        PictureClock rateless = new PictureClock(new Rational(0, 0), new Rational(1, 1000));
        rateless.complete(new PacketTimes.Times(7, 0));
        assertThat(rateless.complete(new PacketTimes.Times(none, 0))).isEqualTo(new PacketTimes.Times(8, 0));
    }

    @Test
    void timesCountOnFromTheLastPacketWithATimeAndAreRoundedDown() {
        AudioClock clock = new AudioClock(new Rational(1, 1000), 44100, Packet.NO_TIME, false);
        clock.advance(7);
        assertThat(clock.time()).isEqualTo(Packet.NO_TIME);
        clock.at(-5);
        clock.advance(44099);
        clock.at(Packet.NO_TIME);
        assertThat(clock.time()).isEqualTo(994);
        clock.advance(1);
        assertThat(clock.time()).isEqualTo(995);
        clock.at(Long.MAX_VALUE - 1);
        clock.advance(44100);
        assertThat(clock.time()).isEqualTo(Long.MAX_VALUE);
        clock.reset();
        assertThat(clock.time()).isEqualTo(Packet.NO_TIME);
    }

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
        refused(ArithmeticException.class, "", () -> new Rational(1, 0).times(1),
                () -> new Rational(Long.MAX_VALUE, 1).times(2));
        assertThat(new Rational(0, 1).time(1)).isEmpty();
        assertThat(new Rational(Long.MAX_VALUE, 1).time(2)).isEmpty();
        assertThat(new Rational(Long.MAX_VALUE, 1).time(1)).contains(Duration.ofSeconds(Long.MAX_VALUE));
        assertThat(new Rational(1, 1).time(Packet.NO_TIME)).isEmpty();
    }
}
