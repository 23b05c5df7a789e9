/**
 * Decodes the pictures and the sound of media files, and encodes sound, with FFmpeg's codecs.
 *
 * <p>Welcome. A {@link kiv.media.ffmpeg.MediaReader} reads the packets of a file. A
 * {@link kiv.media.ffmpeg.Film} gives any picture of a film by number or time, and
 * {@link kiv.media.ffmpeg.Sound} the sound between any two times. A
 * {@link kiv.media.ffmpeg.VideoDecoder} decodes the packets of a video stream into {@link kiv.media.ffmpeg.Picture}s,
 * an {@link kiv.media.ffmpeg.AudioDecoder} those of an audio stream into {@link kiv.media.ffmpeg.AudioBlock}s. An
 * {@link kiv.media.ffmpeg.AudioEncoder} and an {@link kiv.media.ffmpeg.AudioFileWriter} produce audio files. Close
 * every object that you open. The libraries need no set-up: they are loaded on first use, and
 * {@link kiv.media.ffmpeg.FfmpegLibrary} describes from where.
 *
 * <p>Failures are unchecked {@link kiv.media.ffmpeg.MediaException}s that state the reason, or an
 * {@link java.io.IOException} where bytes cannot be read. No misuse crashes the virtual machine. A file that was made to
 * do harm may, unless it is opened with {@link kiv.media.ffmpeg.Isolation#wall()}; {@code SECURITY.md} says more. One thread at a
 * time uses an object, and different objects work in parallel. Times for people are {@link java.time.Duration}s. Exact
 * times are whole numbers in the unit of their stream,
 * {@link kiv.media.ffmpeg.MediaStream#timeBase()}.
 *
 * <h2>Recipes</h2>
 *
 * <p>Thumbnails at equal distances in a film. Only what they need is decoded:
 *
 * <pre>{@code
 * static void thumbnails(Path film, Path directory, int count) throws IOException {
 *     try (Film pictures = Film.open(film)) {
 *         int number = 0;
 *         for (Picture picture : pictures.spread(count)) {
 *             try (picture) {
 *                 ImageIO.write(picture.toShownImage(160), "png", directory.resolve(number++ + ".png").toFile());
 *             }
 *         }
 *     }
 * }
 * }</pre>
 *
 * <p>The same of a film that a stranger has sent: it is decoded in a process that has no rights, and may take a minute. What it
 * does to that process is an exception, and nothing else:
 *
 * <pre>{@code
 * static boolean thumbnail(Path upload, Path png) throws IOException {
 *     Isolation wall = Isolation.wall().withMemoryLimit(1L << 30).withProcessorTime(Duration.ofMinutes(1));
 *     try (Film film = Film.open(upload, wall); Picture picture = film.pictureAt(Duration.ofSeconds(10))) {
 *         return ImageIO.write(picture.toShownImage(160), "png", png.toFile());
 *     } catch (MediaException e) {
 *         return false;
 *     }
 * }
 * }</pre>
 *
 * <p>What is this file? Containers tell only some of it, so most answers may be empty:
 *
 * <pre>{@code
 * static String whatIs(Path medium) throws IOException {
 *     try (MediaReader reader = MediaReader.open(medium)) {
 *         StringBuilder text = new StringBuilder(reader.tags().title().orElse("untitled"));
 *         reader.tags().artist().ifPresent(artist -> text.append(", ").append(artist));
 *         reader.duration().ifPresent(length -> text.append(", ").append(length.toSeconds()).append(" s"));
 *         for (Chapter chapter : reader.chapters()) {
 *             text.append("\n  ").append(chapter.title().orElse("chapter"));
 *         }
 *         for (MediaStream stream : reader.streams()) {
 *             text.append("\n  ").append(stream.kind()).append(' ').append(stream.codecName()).append(' ')
 *                     .append(stream.channelLayout().or(stream::sampleFormatName).orElse("")).append(' ')
 *                     .append(stream.language().orElse(""));
 *         }
 *         return text.toString();
 *     }
 * }
 * }</pre>
 *
 * <p>The sound of any medium as a WAV file. The file gets its name when it is complete:
 *
 * <pre>{@code
 * static void soundToWav(Path medium, Path wav) throws IOException {
 *     try (MediaReader reader = MediaReader.open(medium);
 *             AudioDecoder decoder = AudioDecoder.open(reader);
 *             AudioFileWriter file = AudioFileWriter.create(wav, decoder.pcmFormat(), AudioContainer.WAV)) {
 *         for (AudioBlock block : decoder.each(reader)) {
 *             file.write(block);
 *         }
 *         file.finish();
 *     }
 * }
 * }</pre>
 *
 * <p>Raw H.264 with start codes, such as that of a camera, out of a socket. Without a container, the program names the codec.
 * A decoder with one thread delivers pictures at once. Closing a picture releases its memory for the next one:
 *
 * <pre>{@code
 * static void rawH264(InputStream camera, Consumer<BufferedImage> screen) throws IOException {
 *     try (PacketSplitter splitter = PacketSplitter.open("h264");
 *             VideoDecoder decoder = VideoDecoder.open(splitter.stream(), 1)) {
 *         decoder.pictures(splitter.packets(camera)).forEach(picture -> show(picture, screen));
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
 * <p>Playing an MP3, or the sound of any other medium, on a line of
 * {@link javax.sound.sampled.AudioSystem#getSourceDataLine(javax.sound.sampled.AudioFormat)}:
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
 * <p>Many files in many threads. Each file has its own reader and decoder, which share no state:
 *
 * <pre>{@code
 * static Map<Path, Duration> lengths(List<Path> files) {
 *     return files.parallelStream().collect(Collectors.toConcurrentMap(file -> file, file -> {
 *         try (MediaReader reader = MediaReader.open(file);
 *                 AudioDecoder decoder = AudioDecoder.open(reader)) {
 *             return decoder.blocks(reader).map(AudioBlock::duration).reduce(Duration.ZERO, Duration::plus);
 *         } catch (IOException e) {
 *             throw new UncheckedIOException(e);
 *         }
 *     }));
 * }
 * }</pre>
 *
 * <p>Programs that read sound through JavaSound do not need this package: see {@link kiv.media.ffmpeg.javasound}.
 */
package kiv.media.ffmpeg;
