package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThatThrownBy;

import org.assertj.core.api.ThrowableAssert.ThrowingCallable;

/** What cannot be done is refused. */
public final class Refusals {

    private Refusals() {
    }

    /** Each of the calls throws an exception of exactly the type, whose message contains the text. */
    public static void refused(Class<? extends Throwable> type, String text, ThrowingCallable... calls) {
        for (ThrowingCallable call : calls) {
            assertThatThrownBy(call).isExactlyInstanceOf(type).hasMessageContaining(text);
        }
    }
}
