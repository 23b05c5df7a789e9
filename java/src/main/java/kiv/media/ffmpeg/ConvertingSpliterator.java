package kiv.media.ffmpeg;

import java.util.ArrayDeque;
import java.util.Deque;
import java.util.Objects;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.function.Function;
import java.util.stream.Stream;

/**
 * Converts pictures on other threads while the caller's thread decodes the next ones, and delivers the results in the order of
 * the pictures. It decodes ahead only while the first result is not ready.
 */
final class ConvertingSpliterator<T> extends PullSpliterator<T> {

    private static final int THREADS = Math.max(1, Runtime.getRuntime().availableProcessors() - 1);
    /** Each takes the memory of a picture and of its result. */
    private static final int MOST_AHEAD = Math.min(THREADS + 3, 16);
    /** The threads of all streams. They end when there is nothing to do, and keep no program from ending. */
    private static final ThreadPoolExecutor WORKERS = workers();

    private final PullSpliterator<Picture> pictures;
    private final Function<? super Picture, ? extends T> conversion;
    private final Deque<FutureTask<T>> ahead = new ArrayDeque<>();
    /** What decoding has thrown, which the caller gets after the results of the pictures before. */
    private RuntimeException failure;
    private boolean ended;
    private volatile boolean closed;

    /** @param conversion is called once for each picture, which is closed after it */
    ConvertingSpliterator(PullSpliterator<Picture> pictures, Function<? super Picture, ? extends T> conversion) {
        this.pictures = pictures;
        this.conversion = Objects.requireNonNull(conversion, "conversion");
    }

    private static ThreadPoolExecutor workers() {
        ThreadPoolExecutor workers = new ThreadPoolExecutor(THREADS, THREADS, 1, TimeUnit.SECONDS, new LinkedBlockingQueue<>(),
                work -> {
                    Thread thread = new Thread(work, "converting pictures");
                    thread.setDaemon(true);
                    return thread;
                });
        workers.allowCoreThreadTimeOut(true);
        return workers;
    }

    /** The stream, whose closing drops the pictures that were decoded ahead. */
    Stream<T> closableStream() {
        return stream().onClose(this::close);
    }

    @Override
    T next() {
        while (!ended && failure == null && ahead.size() < MOST_AHEAD && (ahead.isEmpty() || !ahead.peek().isDone())) {
            decodeNext();
        }
        if (!ahead.isEmpty()) {
            return result(ahead.poll());
        }
        RuntimeException thrown = failure;
        failure = null;
        if (thrown != null) {
            throw thrown;
        }
        return null;
    }

    private void decodeNext() {
        Picture picture;
        try {
            picture = pictures.next();
        } catch (RuntimeException e) {
            failure = e;
            return;
        }
        if (picture == null) {
            ended = true;
            return;
        }
        FutureTask<T> task = new FutureTask<>(() -> {
            try (picture) {
                return closed ? null : Objects.requireNonNull(conversion.apply(picture), "the conversion returned null");
            }
        });
        ahead.add(task);
        WORKERS.execute(task);
    }

    /** Waits for a result. A conversion that no thread has begun is done by this one. */
    private static <T> T result(FutureTask<T> task) {
        task.run();
        boolean interrupted = false;
        try {
            while (true) {
                try {
                    return task.get();
                } catch (InterruptedException e) {
                    interrupted = true;
                }
            }
        } catch (ExecutionException e) {
            if (e.getCause() instanceof Error error) {
                throw error;
            }
            throw e.getCause() instanceof RuntimeException known ? known : new IllegalStateException(e.getCause());
        } finally {
            if (interrupted) {
                Thread.currentThread().interrupt();
            }
        }
    }

    /** When it returns, no conversion is running and each picture is closed. */
    private void close() {
        closed = true;
        ended = true;
        failure = null;
        while (!ahead.isEmpty()) {
            try {
                result(ahead.poll());
            } catch (RuntimeException | Error e) {
                // Nobody waits for it any more.
            }
        }
    }
}
