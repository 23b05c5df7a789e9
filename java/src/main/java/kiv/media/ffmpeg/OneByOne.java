package kiv.media.ffmpeg;

import java.util.Spliterator;
import java.util.Spliterators;
import java.util.function.Consumer;
import java.util.stream.Stream;
import java.util.stream.StreamSupport;

/**
 * What a stream takes its elements from, each when it is asked for. It is never split, since that would take a thousand
 * elements ahead: made parallel, the stream keeps to one thread at a time, and what it does not take stays where it is.
 */
abstract class OneByOne<T> extends Spliterators.AbstractSpliterator<T> {

    OneByOne() {
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
