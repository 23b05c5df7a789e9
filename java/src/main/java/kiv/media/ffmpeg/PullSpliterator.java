package kiv.media.ffmpeg;

import java.util.Spliterator;
import java.util.Spliterators;
import java.util.function.Consumer;
import java.util.stream.Stream;
import java.util.stream.StreamSupport;

/**
 * The source of a stream that fetches each element only when the stream asks for it. A split would fetch a thousand
 * elements ahead, so it never splits: a parallel stream reads one element at a time too, and leaves the rest unread.
 */
abstract class PullSpliterator<T> extends Spliterators.AbstractSpliterator<T> {

    PullSpliterator() {
        super(Long.MAX_VALUE, Spliterator.ORDERED | Spliterator.NONNULL);
    }

    /** @return the next element, or null at the end */
    abstract T next();

    final Stream<T> stream() {
        return StreamSupport.stream(this, false);
    }

    @Override
    public final boolean tryAdvance(Consumer<? super T> action) {
        T element = next();
        if (element != null) {
            action.accept(element);
        }
        return element != null;
    }

    @Override
    public final Spliterator<T> trySplit() {
        return null;
    }
}
