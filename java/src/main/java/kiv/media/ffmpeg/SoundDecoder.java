package kiv.media.ffmpeg;

import java.io.ByteArrayOutputStream;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.time.Duration;
import kiv.media.ffmpeg.index.PacketIndex;
import kiv.media.ffmpeg.natives.PacketFields;

/**
 * Gives the samples that decoding all of a stream gives. It decodes everything up to them once. After that it begins shortly
 * before them, and compares what each packet gives with what it gave first. Where that differs, because the decoder depends on
 * what was before, it begins further back, at the worst at the beginning.
 */
final class SoundDecoder implements AutoCloseable {

    private static final int FIRST_PRE_ROLL = 2;
    private static final int PRE_ROLL_GROWTH = 4;
    /** So many packets more are decoded rather than begun anew. */
    private static final int NEAR = 16;
    private static final int NOWHERE = Integer.MAX_VALUE;

    private final MediaReader reader;
    private final MediaStream stream;
    private final SampleFormat samples;
    private final PacketFetcher.Opening opening;
    private PacketIndex index = new PacketIndex();
    private PacketFetcher fetcher;
    private SoundMap map;
    /** Decodes from the beginning, each packet once. */
    private final AudioDecoder whole;
    private boolean ended;
    private final long[] fields = new long[PacketFields.SIZE_WITH_LENGTH];
    /** Decodes parts again; null before it is needed. */
    private AudioDecoder part;
    private int partBegin;
    private int partNext = NOWHERE;
    private int preRoll = FIRST_PRE_ROLL;
    private long decoded;
    /** The last packet whose sound was wanted, and the sound. */
    private int recent = -1;
    private byte[] recentPcm;

    SoundDecoder(MediaReader reader, MediaStream stream, SampleFormat samples, PacketFetcher.Opening opening) {
        this.reader = reader;
        this.stream = stream;
        this.samples = samples;
        this.opening = opening;
        this.fetcher = new PacketFetcher(opening, index, stream);
        this.whole = AudioDecoder.open(stream, samples);
        this.map = newMap();
    }

    private SoundMap newMap() {
        return new SoundMap(stream.sampleRate(), stream.timeBase(), whole.pcmFormat().blockAlign());
    }

    /** Writes what is known of the whole. */
    void save(DataOutputStream out) throws IOException {
        length();
        index.save(out);
        map.save(out);
    }

    /** Reads what is known of the whole, if it is about the same packets. */
    void load(DataInputStream in) throws IOException {
        PacketIndex newIndex = PacketIndex.load(in);
        SoundMap newMap = newMap();
        newMap.load(in, newIndex.size());
        PacketFetcher newFetcher = new PacketFetcher(opening, newIndex, stream);
        try {
            int size = newIndex.size();
            for (int packet : size == 0 ? new int[0] : new int[] {0, size / 2, size - 1}) {
                newFetcher.fetch(packet);
            }
        } catch (MediaFormatException e) {
            newFetcher.close();
            throw new MediaFormatException("the index is that of another sound", e);
        } catch (Throwable e) {
            newFetcher.close();
            throw e;
        }
        fetcher.close();
        index = newIndex;
        fetcher = newFetcher;
        map = newMap;
        ended = true;
        recent = -1;
        partNext = NOWHERE;
    }

    WaveFormat format() {
        return whole.pcmFormat();
    }

    SoundMap map() {
        return map;
    }

    /** {@return how many packets were decoded so far} */
    long decodedPackets() {
        return decoded;
    }

    /** Decodes the next packet, or the end. @return false when there is nothing more */
    private boolean learn() throws IOException {
        if (ended) {
            return false;
        }
        Packet packet;
        try {
            packet = reader.demuxer().readOf(stream, fields);
        } catch (MediaFormatException e) {
            if (index.size() == 0) {
                throw e;
            }
            packet = null; // what is behind the damage is left out
        }
        if (packet == null) {
            ended = true;
        } else {
            index.add(packet.bytes(), packet.size(), fields, PacketIndex.RESTART);
        }
        DecodedSound.Uncut sound = whole.uncut(packet);
        map.add(sound);
        decoded++;
        recent = map.size() - 1;
        recentPcm = sound.pcm();
        if (!ended) {
            whole.goOn(reader);
        }
        return true;
    }

    /** Decodes to the end. @return how many samples there are */
    long length() throws IOException {
        while (learn()) {
            // All of it.
        }
        return map.known();
    }

    /** Makes a sample known. @return whether there is one */
    boolean knows(long number) throws IOException {
        while (map.known() <= number && learn()) {
            // Up to it.
        }
        return number < map.known();
    }

    /** The number of the first sample that is not heard before a time; the length when there is none. */
    long find(Duration time) throws IOException {
        long found = map.find(time);
        while (found == map.known() && learn()) {
            found = map.find(time);
        }
        return found;
    }

    /** Returns samples, fewer where the sound ends. */
    byte[] pcm(long from, long to) throws IOException {
        ByteArrayOutputStream pcm = new ByteArrayOutputStream();
        int size = map.frameSize();
        for (long at = from; at < to && knows(at);) {
            int packet = map.find(at);
            int skip = (int) (at - map.number(packet));
            int count = (int) Math.min(to - at, map.heard(packet) - skip);
            pcm.write(fetch(packet), (map.first(packet) + skip) * size, count * size);
            at += count;
        }
        return pcm.toByteArray();
    }

    /** Returns what a known packet gives. */
    private byte[] fetch(int packet) throws IOException {
        if (packet == recent) {
            return recentPcm;
        }
        if (partNext > packet || packet - partNext > preRoll + NEAR) {
            restart(packet);
        }
        byte[] pcm = decodeTo(packet);
        while (!map.matches(packet, pcm)) {
            if (partBegin == 0) {
                partNext = NOWHERE;
                throw new MediaFormatException("the sound is another one when it is decoded again");
            }
            preRoll = preRoll > map.size() ? preRoll : preRoll * PRE_ROLL_GROWTH;
            restart(packet);
            pcm = decodeTo(packet);
        }
        recent = packet;
        recentPcm = pcm;
        return pcm;
    }

    private void restart(int packet) {
        if (part == null) {
            part = AudioDecoder.open(stream, samples);
        } else {
            part.reset();
        }
        partBegin = Math.max(0, packet - preRoll);
        partNext = partBegin;
    }

    private byte[] decodeTo(int packet) throws IOException {
        byte[] pcm = null;
        while (partNext <= packet) {
            int next = partNext;
            partNext = NOWHERE; // in case of a failure
            pcm = part.uncut(next < index.size() ? fetcher.fetch(next) : null).pcm();
            decoded++;
            partNext = next < index.size() ? next + 1 : NOWHERE;
            if (next == packet) {
                break;
            }
        }
        return pcm;
    }

    @Override
    public void close() {
        whole.close();
        if (part != null) {
            part.close();
        }
        fetcher.close();
        reader.release();
    }
}
