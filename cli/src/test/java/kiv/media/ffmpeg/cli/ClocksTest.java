package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;

import java.util.stream.IntStream;
import kiv.media.ffmpeg.Packet;
import kiv.media.ffmpeg.Rational;
import org.junit.jupiter.api.Test;

/** Times of samples, and lengths, by numbers alone. */
class ClocksTest {

    @Test
    void samplesAreCountedThroughRoundedTimes() {
        assertThat(begins(1000, 0, 1152, 26, 1152, 52, 1152, 78, 1152, Packet.NO_TIME, 1152, 500, 1152))
                .containsExactly(0, 1152, 2304, 3456, 4608, 22_050);
        // A block that does not fit begins at the first or the last sample that its time allows, rounded down.
        assertThat(begins(1000, 0, 1100, 26, 1)).containsExactly(0, 1124);
        assertThat(begins(1000, 0, 1200, 26, 1)).containsExactly(0, 1169);
        assertThat(begins(1000, -52, 1100, -26, 1)).containsExactly(-2293, -1169);
        // In finer units each time is rounded to the nearest sample.
        assertThat(begins(90_000, 1, 1, 2, 1, -2, 1)).containsExactly(0, 1, -1);
    }

    /** When blocks begin, each given by its time in fractions of a second and its length. */
    private static long[] begins(int unitsPerSecond, long... timesAndLengths) {
        SampleClock clock = new SampleClock(new Rational(1, unitsPerSecond), 44_100);
        return IntStream.range(0, timesAndLengths.length / 2)
                .mapToLong(i -> clock.next(timesAndLengths[2 * i], (int) timesAndLengths[2 * i + 1])).toArray();
    }

    @Test
    void aWaveFileHoldsFourGibibytesWithItsHeader() {
        long frames = (1L << 30) - 32;
        assertThat(SoundWriter.holds(frames, 4)).isTrue();
        assertThat(SoundWriter.holds(frames + 1, 4)).isFalse();
        assertThat(SoundWriter.holds(2 * frames + 1, 2)).isFalse();
    }
}
