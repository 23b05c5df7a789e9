package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;

import org.junit.jupiter.api.Test;

class AudioClockTest {

    @Test
    void timesCountOnFromTheLastPacketWithATimeAndAreRoundedDown() {
        AudioClock clock = new AudioClock(new Rational(1, 1000), 44100, Packet.NO_TIME);
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
}
