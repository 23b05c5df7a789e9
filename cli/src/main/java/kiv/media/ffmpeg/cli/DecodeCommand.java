package kiv.media.ffmpeg.cli;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Optional;
import java.util.concurrent.Callable;
import kiv.media.ffmpeg.AudioDecoder;
import kiv.media.ffmpeg.Film;
import kiv.media.ffmpeg.MediaFormatException;
import kiv.media.ffmpeg.MediaKind;
import kiv.media.ffmpeg.MediaReader;
import kiv.media.ffmpeg.MediaStream;
import kiv.media.ffmpeg.PixelFormat;
import kiv.media.ffmpeg.Rational;
import kiv.media.ffmpeg.UnsupportedCodecException;
import kiv.media.ffmpeg.VideoDecoder;
import kiv.media.ffmpeg.cli.report.DecodeReport;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/** Decodes a file's pictures and its sound into files. */
@Command(name = "decode", mixinStandardHelpOptions = true, versionProvider = Version.class, sortOptions = false,
        header = "Decodes a file's pictures and its sound.",
        description = {"", "Pictures become PNG files, raw YUV or Y4M, and the sound a WAV file. In a directory,"
            + " index.html shows it all.", "", "Pictures and sound begin together: silence is put before sound that begins"
            + " later than the first picture, and sound before it is left out.", ""},
        footer = {"", "Examples:",
            "  kivjniffmpeg decode film.mp4 --every 25 --size 320x-1",
            "  kivjniffmpeg decode film.mp4 --from 1:30 --to 1:35.5 -o part.y4m",
            "  kivjniffmpeg decode film.mp4 --from 1:30 -o picture.jpg",
            "  kivjniffmpeg decode *.mp4 --every 100 --out films",
            "  kivjniffmpeg decode film.mp4 --format y4m -o - | ffplay -",
            "  kivjniffmpeg decode film.mp4 --no-pictures --out sounds"})
final class DecodeCommand implements Callable<Integer> {

    /** Most pictures have half of the samples of RGB in 4:2:0, and about half of its bytes as PNG. */
    private static final double BYTES_A_PIXEL = 1.5;

    /** What pictures are written as. */
    enum Format {
        PNG, YUV, Y4M
    }

    @Mixin
    private MediaInputs inputs;

    @Option(names = "--out", paramLabel = "DIR", description = "Where pictures and sound go (default: out), those of"
            + " several files into a directory each; made when it does not exist.")
    private Path out;

    @Option(names = {"-o", "--output"}, paramLabel = "FILE", description = "Write this file only: pictures when its"
            + " name ends in .y4m or .yuv, the first picture when it ends in .png or .jpg, sound when it ends in .wav;"
            + " - writes the pictures to standard output.")
    private Path file;

    @Option(names = "--format", paramLabel = "FORMAT", description = "What pictures become: png, a file each (the"
            + " default); y4m, one file that tells size and rate; yuv, one file of nothing but the planes.")
    private Format format;

    @Option(names = "--pixel-format", paramLabel = "NAME", description = "FFmpeg's name of the pixels in y4m and yuv,"
            + " such as yuv420p or rgb24; the decoder's own by default.")
    private String pixelFormat;

    @Option(names = "--size", paramLabel = "WxH", converter = PictureSize.Converter.class,
            description = "Scale the pictures to this size; -1 for a side that keeps the shape, as in 320x-1.")
    private PictureSize size;

    @Option(names = "--as-stored", description = "Write the pixels as the file stores them. Otherwise pictures are turned"
            + " as the file asks for, and in png and jpg stretched until their pixels are square.")
    private boolean asStored;

    @Option(names = "--from", paramLabel = "TIME", converter = TimeRange.Converter.class,
            description = "Begin with the first picture and sample at or after this time from the file's beginning, in"
                + " seconds or as h:mm:ss.mmm. Decodes on one thread.")
    private Duration from;

    @Option(names = "--to", paramLabel = "TIME", converter = TimeRange.Converter.class,
            description = "Stop before this time.")
    private Duration to;

    @Option(names = "--every", paramLabel = "N",
            description = "Write only every Nth picture, beginning with the first.")
    private Long every;

    @Option(names = "--limit", paramLabel = "N",
            description = "Stop after writing N pictures; the sound stops there too.")
    private Long limit;

    @Option(names = {"--no-pictures", "--no-video"}, description = "Leave the pictures out.")
    private boolean noPictures;

    @Option(names = {"--no-sound", "--no-audio"}, description = "Leave the sound out.")
    private boolean noSound;

    @Option(names = "--sound-stream", paramLabel = "N", description = "Take the stream of sound that 'info' shows as N,"
            + " such as another language; the first one by default.")
    private Integer soundStream;

    @Option(names = "--no-align", description = "Write the sound from its own first sample on, wherever the pictures"
            + " begin.")
    private boolean unaligned;

    @Mixin
    private DecodingThreads threads;

    @Option(names = {"-q", "--quiet"}, description = "Show neither progress nor summary.")
    private boolean quiet;

    @Spec
    private CommandSpec spec;

    /** The file at work, where its outputs go, and what was said of it. */
    private MediaInput input;
    private Path directory;
    private boolean onePicture;
    private final List<String> warnings = new ArrayList<>();
    /** The outermost directory that this command made for the outputs, or null. */
    private Path madeDirectory;

    @Override
    public Integer call() throws IOException {
        input = inputs.first();
        checkOptions();
        return inputs.each(spec.commandLine(), this::decode);
    }

    private int decode(MediaInput file, String name) throws IOException {
        input = file;
        directory = inputs.areSeveral() ? out.resolve(name) : out;
        warnings.clear();
        madeDirectory = null;
        boolean done = false;
        try {
            int status = decode();
            done = true;
            return status;
        } finally {
            if (!done && madeDirectory != null) {
                removeEmptyDirectories();
            }
        }
    }

    private void removeEmptyDirectories() {
        try {
            Path last = madeDirectory.toAbsolutePath();
            for (Path made = directory.toAbsolutePath(); made.startsWith(last); made = made.getParent()) {
                Files.deleteIfExists(made);
            }
        } catch (IOException e) {
            // A directory that is not empty stays, and the failure before this one is what the user must know.
            madeDirectory = null;
        }
    }

    private int decode() throws IOException {
        long start = System.nanoTime();
        // Standard input is read once, from its beginning, when there is sound.
        boolean seeks = !noPictures && (noSound || !input.isStandardInput());
        boolean inFilm = seeks && from != null;
        try (MediaReader reader = inFilm ? input.open() : input.openForward()) {
            MediaStream video = noPictures ? null : reader.firstVideo().orElse(null);
            MediaStream audio = noSound ? null : chooseSound(reader);
            if (video == null && (audio == null || file != null && !noPictures)) {
                throw new MediaFormatException(input.about("no "
                        + (noPictures ? "audio stream" : noSound ? "video stream" : "video and no audio stream")));
            }
            TimeRange range = new TimeRange(from, to);
            try (Decoders decoders = openDecoders(video, audio)) {
                MediaStream pictureStream = decoders.pictures == null ? null : video;
                MediaStream soundStream = decoders.sound == null ? null : audio;
                DecodeObserver observer = openPage(reader, pictureStream, soundStream);
                try (SoundWriter sound = soundStream == null ? null
                        : new SoundWriter(audio, inFilm && video != null ? input.openSound(audio) : null,
                                decoders.sound, soundFile(), range, TimeRange.beginning(reader), observer, this::warn);
                        Film film = inFilm && pictureStream != null ? input.openFilm() : null;
                        PictureOutput pictures = pictureStream == null ? null : openPictures(video);
                        Progress progress = startProgress(reader, pictureStream, audio, range)) {
                    announceSize(reader, pictureStream, range);
                    DecodeJob job = new DecodeJob(input, range, every, limit, !unaligned, observer, this::warn);
                    job.run(reader, pictureStream, decoders.pictures, film, pictures, sound, progress);
                    progress.finish();
                    DecodeObserver.Summary summary = job.summary(reader, pictureStream, pictures, sound,
                            (System.nanoTime() - start) / 1e9);
                    observer.finished(summary);
                    if (!quiet) {
                        print(summary, pictures, sound);
                    }
                    return job.status();
                }
            }
        }
    }

    private MediaStream chooseSound(MediaReader reader) {
        if (soundStream == null) {
            return reader.firstAudio().orElse(null);
        }
        List<MediaStream> streams = reader.streams();
        require(soundStream >= 0 && soundStream < streams.size(), "--sound-stream: the file has the streams 0 to "
                + (streams.size() - 1));
        require(streams.get(soundStream).kind() == MediaKind.AUDIO, "--sound-stream: " + soundStream + " is no sound");
        return streams.get(soundStream);
    }

    /** The decoders of what is wanted and can be decoded. An absent one is null. */
    private record Decoders(VideoDecoder pictures, AudioDecoder sound) implements AutoCloseable {
        @Override
        public void close() {
            try (pictures; sound) {
                return;
            }
        }
    }

    /** Opens what can be decoded; fails when that is nothing, or when a single file would stay empty. */
    private Decoders openDecoders(MediaStream video, MediaStream audio) {
        VideoDecoder pictures = null;
        RuntimeException failure = null;
        try {
            pictures = video == null ? null : input.openVideoDecoder(video, threads);
        } catch (UnsupportedCodecException | MediaFormatException e) {
            if (audio == null) {
                throw e;
            }
            failure = e;
        }
        AudioDecoder sound = null;
        try {
            sound = audio == null ? null : input.openAudioDecoder(audio);
        } catch (UnsupportedCodecException | MediaFormatException e) {
            if (pictures == null) {
                throw failure == null ? e : failure;
            }
            warn("the sound is left out: " + e.getMessage());
        }
        if (failure != null) {
            warn("the pictures are left out: " + failure.getMessage());
        }
        return new Decoders(pictures, sound);
    }

    /** Checks the options together, and fills those in that follow from others. */
    private void checkOptions() throws IOException {
        require((every == null || every >= 1) && (limit == null || limit >= 1),
                "--every and --limit take a number from 1");
        require(from == null || to == null || from.compareTo(to) < 0, "--from is not before --to");
        if (file != null) {
            require(out == null, "--out and -o exclude each other");
            require(!inputs.areSeveral(), "-o takes the pictures or the sound of one file; name a directory with --out");
            checkFile();
        }
        require(!noPictures || !noSound, "--no-pictures and --no-sound leave nothing to decode");
        require(!noPictures || every == null && limit == null && size == null && !asStored && format == null
                && pixelFormat == null,
                "--every, --limit, --size, --as-stored, --format and --pixel-format are for pictures, and none are"
                    + " wanted");
        require(!noSound || soundStream == null, "--sound-stream is for sound, and none is wanted");
        out = out == null ? Path.of("out") : out;
        every = every == null ? 1 : every;
        format = format == null ? Format.PNG : format;
        require(pixelFormat == null || format != Format.PNG, "--pixel-format is for --format y4m and yuv");
    }

    private void checkFile() throws IOException {
        String name = file.toString().toLowerCase(Locale.ROOT);
        Format named = name.endsWith(".y4m") ? Format.Y4M
                : name.endsWith(".yuv") || name.endsWith(".raw") ? Format.YUV : null;
        boolean wave = name.endsWith(".wav");
        onePicture = ImageFile.isNamed(name);
        require(!input.isInput(file), file + " is the input itself");
        require(!wave || format == null && !noSound, "-o with a name in .wav writes the sound only");
        if (wave) {
            noPictures = true;
            return;
        }
        if (onePicture) {
            require(format == null && every == null && (limit == null || limit == 1), "-o with a name in .png or .jpg"
                    + " writes one picture, which --from chooses");
            limit = 1L;
        }
        format = format == null && !onePicture ? named : format;
        require(format != null || onePicture, "-o " + file + ": the name does not tell what to write; end it in .png,"
                + " .jpg, .y4m, .yuv or .wav, or add --format");
        require(format != Format.PNG, "-o takes one file, and png makes many; name their directory with --out");
        require(!noPictures, "--no-pictures leaves nothing for " + file);
        noSound = true;
    }

    private void require(boolean fulfilled, String message) {
        if (!fulfilled) {
            throw new ParameterException(spec.commandLine(), message);
        }
    }

    private boolean isStandardOutput() {
        return file != null && file.toString().equals(OutputFile.STANDARD_OUTPUT);
    }

    private PictureOutput openPictures(MediaStream video) throws IOException {
        PictureView view = new PictureView(size, asStored);
        if (onePicture) {
            return new OnePicture(file, view);
        }
        if (format == Format.PNG) {
            makeDirectory();
            return new PngPictures(directory, input.baseName(), view);
        }
        Path target = file != null ? file
                : directory.resolve(input.baseName() + "." + format.name().toLowerCase(Locale.ROOT));
        require(!input.isInput(target), target + " is the input itself; name another directory with --out");
        if (file == null) {
            makeDirectory();
        }
        Rational rate = video.frameRate();
        Y4mHeader.Stream stream = new Y4mHeader.Stream(video.codecName(),
                new Rational(rate.numerator(), rate.denominator() * Math.min(every, Integer.MAX_VALUE)));
        return new RawPictures(isStandardOutput() ? OutputFile::standardOutput : () -> OutputFile.create(target),
                isStandardOutput() ? "standard output" : target.toString(), format == Format.Y4M,
                pixels(video.codecName()), view, stream, this::warn);
    }

    private PixelFormat pixels(String codec) {
        if (pixelFormat == null) {
            return null;
        }
        PixelFormat pixels;
        try {
            pixels = PixelFormat.named(pixelFormat);
        } catch (IllegalArgumentException e) {
            throw new ParameterException(spec.commandLine(), "--pixel-format: " + e.getMessage(), e);
        }
        require(format != Format.Y4M || Y4mHeader.colourSpace(pixels, codec).isPresent(),
                "--pixel-format: Y4M does not hold " + pixels + "; it holds gray, yuv411p, and yuv420p, yuv422p,"
                    + " yuv444p also with 9 to 16 bits");
        return pixels;
    }

    private Path soundFile() throws IOException {
        Path target = file != null ? file : directory.resolve(input.baseName() + ".wav");
        require(!input.isInput(target), target + " is the input itself; name another directory with --out");
        if (file == null) {
            makeDirectory();
        }
        return target;
    }

    /** Returns what writes the page of a directory; a single file has none. */
    private DecodeObserver openPage(MediaReader reader, MediaStream video, MediaStream audio) throws IOException {
        if (file != null) {
            return DecodeObserver.NONE;
        }
        DecodeReport report = new DecodeReport(input.title(), reader, video, audio);
        report.players(input.file().flatMap(source -> DecodePage.link(directory, source)).orElse(null),
                audio == null ? null : input.baseName() + ".wav");
        return new DecodePage(report, directory, format == Format.PNG ? input.baseName() : null, warnings);
    }

    private void makeDirectory() throws OutputException {
        try {
            for (Path missing = directory.toAbsolutePath(); !Files.exists(missing); missing = missing.getParent()) {
                madeDirectory = missing;
            }
            if (!Files.isDirectory(directory)) { // a symbolic link to one would be refused
                Files.createDirectories(directory);
            }
        } catch (IOException e) {
            throw OutputException.of(directory, e);
        }
    }

    private void warn(String message) {
        warnings.add(message);
        FailureReport.warn(spec.commandLine(), inputs.areSeveral() ? input.about(message) : message);
    }

    private Progress startProgress(MediaReader reader, MediaStream video, MediaStream audio, TimeRange range) {
        if (quiet) {
            return Progress.NONE;
        }
        return video != null
                ? Progress.start("decoding", "pictures", DecodeJob.expected(reader, video, range, every, limit))
                : Progress.start("decoding", "seconds", (long) DecodeJob.seconds(reader, audio, range));
    }

    /** Shows how much the pictures will take, when that is much and goes into a directory or a regular file. */
    private void announceSize(MediaReader reader, MediaStream video, TimeRange range) throws IOException {
        Path where = file == null ? directory : file.toAbsolutePath().getParent();
        if (video == null || file != null && (isStandardOutput() || Files.exists(file) && !Files.isRegularFile(file))) {
            return;
        }
        PictureView view = new PictureView(size, asStored);
        int width = asStored ? video.width() : video.shownWidth();
        int height = asStored ? video.height() : video.shownHeight();
        double pixels = (double) view.width(width, height) * view.height(width, height);
        double pictures = Math.ceil((double) DecodeJob.expected(reader, video, range, every, limit) / every);
        Optional<String> line = DiskSpace.announcement(pictures * pixels * BYTES_A_PIXEL, where);
        line.ifPresent(announcement -> FailureReport.warn(spec.commandLine(), announcement));
    }

    private void print(DecodeObserver.Summary summary, PictureOutput pictures, SoundWriter sound) throws IOException {
        PrintWriter out = isStandardOutput() ? spec.commandLine().getErr() : spec.commandLine().getOut();
        Table table = new Table();
        table.row("file", summary.input());
        table.row("container", summary.container());
        if (from != null || to != null) {
            table.row("part", summary.range().toString());
        }
        summary.video().ifPresent(video -> {
            table.row("codec", ConsoleText.codec(video));
            table.row("size", ConsoleText.size(video));
            table.row("pictures", summary.pictures() + " decoded, " + summary.writtenPictures() + " written to "
                    + summary.pictureTarget() + ConsoleText.damaged(summary.damagedPictures()));
            if (pictures instanceof PngPictures files && files.removed() > 0) {
                table.row("removed", files.removed() + " pictures of an earlier run");
            }
        });
        if (sound != null && sound.files() > 0) {
            table.row("sound", sound.summary());
        }
        long files = (pictures == null ? 0 : pictures.files()) + (sound == null ? 0 : sound.files());
        table.row("written", (files == 1 ? "" : files + " files, ") + ConsoleText.size((pictures == null ? 0
                : pictures.bytes()) + (sound == null ? 0 : sound.bytes())));
        if (file == null) {
            table.row("page", directory.resolve(DecodePage.NAME).toString());
        }
        table.row("time", String.format(Locale.ROOT, "%.1f s, ", summary.seconds()) + (summary.video().isPresent()
                ? String.format(Locale.ROOT, "%.0f pictures/s", summary.pictures() / summary.seconds())
                : String.format(Locale.ROOT, "%.0f times as fast as it plays", sound.seconds() / summary.seconds())));
        table.print(out);
        out.flush();
    }
}
