/**
 * Pictures and sound out of media files, and sound into them, with FFmpeg's codecs.
 *
 * <p>Welcome. Four classes do most of the work: a {@link kiv.media.ffmpeg.MediaReader} takes a file apart into
 * packets, a {@link kiv.media.ffmpeg.VideoDecoder} or an {@link kiv.media.ffmpeg.AudioDecoder} turns the packets of
 * one stream into {@link kiv.media.ffmpeg.Picture}s or {@link kiv.media.ffmpeg.AudioBlock}s. The other way,
 * {@link kiv.media.ffmpeg.AudioEncoder} and {@link kiv.media.ffmpeg.AudioFileWriter} make files of sound. Everything
 * that can be opened is to be closed, and nothing has to be set up before: the libraries load themselves
 * ({@link kiv.media.ffmpeg.FfmpegLibrary} says from where).
 *
 * <p>What cannot be done is an unchecked {@link kiv.media.ffmpeg.MediaException} that says why, and what cannot be
 * read an {@link java.io.IOException}; no input and no misuse harms the virtual machine. Each object is used by one
 * thread at a time, and different ones work side by side. Times are {@link java.time.Duration}s where people read
 * them, and whole numbers of a stream's unit ({@link kiv.media.ffmpeg.MediaStream#timeBase()}) where they have to be
 * exact.
 *
 * <h2>Recipes</h2>
 *
 * <p>Thumbnails, spread evenly over a film. Seeking goes to the last place before a time where decoding can start, and
 * the decoder is to forget what came before it:
 *
 * <pre>{@code
 * static void thumbnails(Path film, Path directory, int count) throws IOException {
 *     try (MediaReader reader = MediaReader.open(film);
 *             VideoDecoder decoder = VideoDecoder.open(reader.firstVideo().orElseThrow())) {
 *         Duration step = reader.duration().orElseThrow().dividedBy(count);
 *         for (int i = 0; i < count; i++) {
 *             reader.seek(step.multipliedBy(i));
 *             decoder.reset();
 *             try (Picture picture = decoder.pictures(reader).findFirst().orElseThrow()) {
 *                 ImageIO.write(picture.toBufferedImage(160, 120), "png", directory.resolve(i + ".png").toFile());
 *             }
 *         }
 *     }
 * }
 * }</pre>
 *
 * <p>The sound of any medium as a WAV file. The file appears under its name when it is whole:
 *
 * <pre>{@code
 * static void soundToWav(Path medium, Path wav) throws IOException {
 *     try (MediaReader reader = MediaReader.open(medium);
 *             AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow());
 *             AudioFileWriter file = AudioFileWriter.create(wav, decoder.pcmFormat(), AudioContainer.WAV)) {
 *         for (AudioBlock block : (Iterable<AudioBlock>) decoder.blocks(reader)::iterator) {
 *             file.write(block);
 *         }
 *         file.finish();
 *     }
 * }
 * }</pre>
 *
 * <p>Raw H.264 with start codes, as a camera sends it: no container, so the program says what a container would have
 * said. Closing a picture lets the next one have its memory:
 *
 * <pre>{@code
 * static void rawH264(Iterable<byte[]> units, Consumer<BufferedImage> screen) {
 *     VideoFormat format = VideoFormat.of(MediaSubtypes.H264_ANNEX_B, 320, 240, 0, new byte[0], new Rational(1, 25));
 *     try (VideoDecoder decoder = VideoDecoder.open(format)) {
 *         for (byte[] unit : units) {
 *             Packet packet = Packet.of(unit, 0, Packet.NO_TIME, Packet.NO_TIME, false);
 *             decoder.decode(packet).forEach(picture -> show(picture, screen));
 *         }
 *         decoder.finish().forEach(picture -> show(picture, screen));
 *     }
 * }
 *
 * static void show(Picture picture, Consumer<BufferedImage> screen) {
 *     try (picture) {
 *         screen.accept(picture.toBufferedImage());
 *     }
 * }
 * }</pre>
 *
 * <p>Playing an MP3, or the sound of any other medium, on the line that
 * {@link javax.sound.sampled.AudioSystem#getSourceDataLine(javax.sound.sampled.AudioFormat)} gives:
 *
 * <pre>{@code
 * static void play(Path song, SourceDataLine line) throws IOException, LineUnavailableException {
 *     try (line; AudioInputStream sound = MediaAudio.open(song)) {
 *         line.open(sound.getFormat());
 *         line.start();
 *         byte[] piece = new byte[1 << 16];
 *         for (int size = sound.read(piece); size > 0; size = sound.read(piece)) {
 *             line.write(piece, 0, size);
 *         }
 *         line.drain();
 *     }
 * }
 * }</pre>
 *
 * <p>Many files in many threads. Readers and decoders share nothing, so each file has its own:
 *
 * <pre>{@code
 * static Map<Path, Duration> lengths(List<Path> files) {
 *     return files.parallelStream().collect(Collectors.toConcurrentMap(file -> file, file -> {
 *         try (MediaReader reader = MediaReader.open(file);
 *                 AudioDecoder decoder = AudioDecoder.open(reader.firstAudio().orElseThrow())) {
 *             return decoder.blocks(reader).map(AudioBlock::duration).reduce(Duration.ZERO, Duration::plus);
 *         } catch (IOException e) {
 *             throw new UncheckedIOException(e);
 *         }
 *     }));
 * }
 * }</pre>
 *
 * <p>Programs that want sound from JavaSound alone need nothing of this package: see
 * {@link kiv.media.ffmpeg.javasound}.
 */
package kiv.media.ffmpeg;
