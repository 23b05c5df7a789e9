package kiv.media.ffmpeg;

import java.lang.ref.Cleaner;
import java.lang.ref.Reference;
import java.util.concurrent.atomic.AtomicReference;
import java.util.function.Consumer;

/**
 * Owns a native object, which is its address or what gives orders to its worker. It admits one thread at a time, and none
 * after the close. It deletes the object exactly once: at the close, or after its owner became unreachable. Native code does
 * not check handles, so every call goes through here.
 *
 * @param <N> the address or the giver of orders
 */
final class NativeHandle<N> {

    private static final Cleaner CLEANER = Cleaner.create();

    /** A native call of the object. */
    @FunctionalInterface
    interface Call<N, T, X extends Exception> {
        T on(N object) throws X;
    }

    /** The cleaner's action, which must not refer to the owner. */
    private static final class Target<N> implements Runnable {
        private final Consumer<N> deleter;
        private N object;

        Target(N object, Consumer<N> deleter) {
            this.object = object;
            this.deleter = deleter;
        }

        @Override
        public void run() {
            N dead = object;
            object = null;
            if (dead != null) {
                deleter.accept(dead);
            }
        }
    }

    private final String what;
    private final Object owner;
    private final Target<N> target;
    private final Cleaner.Cleanable cleanable;
    private final AtomicReference<Thread> caller = new AtomicReference<>();

    /**
     * Becomes the owner of a native object.
     *
     * @param what its name in messages
     * @param owner the Java object that represents it
     * @param object its address, never 0, or what calls it
     * @param deleter deletes it on any thread; must not refer to the owner
     */
    NativeHandle(String what, Object owner, N object, Consumer<N> deleter) {
        this.what = what;
        this.owner = owner;
        this.target = new Target<>(object, deleter);
        this.cleanable = CLEANER.register(owner, target);
    }

    /**
     * Makes a native call.
     *
     * @throws MediaStateException when the object is closed or another call is running
     */
    <T, X extends Exception> T call(Call<N, T, X> call) throws X {
        enter();
        try {
            if (target.object == null) {
                throw new MediaStateException("the " + what + " is closed; open another one");
            }
            return call.on(target.object);
        } finally {
            leave();
        }
    }

    /**
     * Puts another object in the place of the present one. Only inside of a call.
     *
     * @param other the object of later calls
     * @return the former object, to be deleted by the caller
     */
    N replace(N other) {
        N former = target.object;
        target.object = other;
        return former;
    }

    /**
     * Deletes the object. A second call does nothing.
     *
     * @throws MediaStateException when another call is running
     */
    void close() {
        enter();
        try {
            cleanable.clean();
        } finally {
            leave();
        }
    }

    private void enter() {
        Thread current = Thread.currentThread();
        Thread other = caller.compareAndExchange(null, current);
        if (other == current) {
            throw new MediaStateException("the " + what + " is called out of its own callback;"
                    + " let the call in progress return first");
        }
        if (other != null) {
            throw new MediaStateException("the " + what + " is in use by the thread \"" + other.getName()
                    + "\"; let one thread at a time call it");
        }
    }

    private void leave() {
        caller.set(null);
        // The cleaner must not delete the object during a native call.
        Reference.reachabilityFence(owner);
    }
}
