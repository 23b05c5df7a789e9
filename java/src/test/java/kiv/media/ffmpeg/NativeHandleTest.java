package kiv.media.ffmpeg;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.Test;

class NativeHandleTest {

    private final AtomicInteger deletions = new AtomicInteger();
    private final Object owner = new Object();
    private final NativeHandle handle = new NativeHandle("thing", owner, 42, address -> deletions.incrementAndGet());

    @Test
    void isDeletedOnceAndNotUsedAfterwards() {
        assertThat(handle.<Long, RuntimeException>call(address -> address)).isEqualTo(42);
        handle.close();
        handle.close();
        assertThat(deletions).hasValue(1);
        assertThatThrownBy(() -> handle.call(address -> address)).isInstanceOf(MediaStateException.class)
                .hasMessageContaining("the thing is closed");
    }

    @Test
    void aCallFromWithinACallIsRefused() {
        handle.<Void, RuntimeException>call(address -> {
            assertThatThrownBy(() -> handle.call(inner -> inner)).isInstanceOf(MediaStateException.class)
                    .hasMessageContaining("callback");
            assertThatThrownBy(handle::close).isInstanceOf(MediaStateException.class);
            return null;
        });
        assertThat(deletions).hasValue(0);
    }

    @Test
    void aSecondThreadIsRefusedWhileACallRuns() throws InterruptedException {
        CountDownLatch inside = new CountDownLatch(1);
        CountDownLatch leave = new CountDownLatch(1);
        Thread worker = new Thread(() -> handle.<Void, RuntimeException>call(address -> {
            inside.countDown();
            awaitQuietly(leave);
            return null;
        }), "worker");
        worker.start();
        inside.await();
        assertThatThrownBy(() -> handle.call(address -> address)).isInstanceOf(MediaStateException.class)
                .hasMessageContaining("\"worker\"");
        assertThatThrownBy(handle::close).isInstanceOf(MediaStateException.class);
        leave.countDown();
        worker.join();
        handle.close();
        assertThat(deletions).hasValue(1);
    }

    @Test
    void aForgottenObjectIsDeletedByTheCollector() throws InterruptedException {
        AtomicInteger forgotten = new AtomicInteger();
        makeGarbage(forgotten);
        for (int i = 0; i < 100 && forgotten.get() == 0; i++) {
            System.gc();
            Thread.sleep(20);
        }
        assertThat(forgotten).hasValue(1);
    }

    private static void awaitQuietly(CountDownLatch latch) {
        try {
            latch.await(1, TimeUnit.MINUTES);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
    }

    private static void makeGarbage(AtomicInteger counter) {
        new NativeHandle("thing", new Object(), 7, address -> counter.incrementAndGet());
    }
}
