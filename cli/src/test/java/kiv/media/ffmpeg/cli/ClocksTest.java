package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;
import org.junit.jupiter.api.Test;

/** Times of pictures and samples, and lengths, by numbers alone. */
class ClocksTest {

    @Test
    void samplesAreCountedThroughRoundedTimes() {
        SampleClock clock = new SampleClock(new Rational(1, 1000), 44_100);
        assertThat(new long[] {clock.next(0, 1152), clock.next(26, 1152), clock.next(52, 1152), clock.next(78, 1152),
            clock.next(Packet.NO_TIME, 1152), clock.next(500, 1152)}).containsExactly(0, 1152, 2304, 3456, 4608, 22_050);
        // A block that is too short for the next time begins at the earliest sample which that time allows, rounded down.
        clock = new SampleClock(new Rational(1, 1000), 44_100);
        assertThat(new long[] {clock.next(0, 1100), clock.next(26, 1)}).containsExactly(0, 1124);
        clock = new SampleClock(new Rational(1, 1000), 44_100);
        assertThat(new long[] {clock.next(0, 1200), clock.next(26, 1)}).containsExactly(0, 1169);
        clock = new SampleClock(new Rational(1, 1000), 44_100);
        assertThat(new long[] {clock.next(-52, 1100), clock.next(-26, 1)}).containsExactly(-2293, -1169);
        // In finer units each time is rounded to the nearest sample.
        clock = new SampleClock(new Rational(1, 90_000), 44_100);
        assertThat(new long[] {clock.next(1, 1), clock.next(2, 1), clock.next(-2, 1)}).containsExactly(0, 1, -1);
    }

    @Test
    void picturesWithoutTimesFollowEachOther() {
        PictureClock clock = new PictureClock(new Rational(24_000, 1001), new Rational(1, 1000));
        long[][] toldAndExpected = {{Packet.NO_TIME, 0, 0, 42}, {Packet.NO_TIME, 0, 42, 42}, {100, 30, 100, 30},
            {Packet.NO_TIME, 0, 130, 42}};
        for (long[] row : toldAndExpected) {
            clock.next(row[0], row[1]);
            assertThat(new long[] {clock.timestamp(), clock.duration()}).containsExactly(row[2], row[3]);
        }
    }

    @Test
    void aWaveFileHoldsFourGibibytesWithItsHeader() {
        long frames = (1L << 30) - 32;
        assertThat(SoundWriter.holds(frames, 4)).isTrue();
        assertThat(SoundWriter.holds(frames + 1, 4)).isFalse();
        assertThat(SoundWriter.holds(2 * frames + 1, 2)).isFalse();
    }
}
