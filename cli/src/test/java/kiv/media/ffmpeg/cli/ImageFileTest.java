package kiv.media.ffmpeg.cli;

import static org.assertj.core.api.Assertions.assertThat;
import static org.assertj.core.api.Assertions.assertThatThrownBy;

import java.awt.image.BufferedImage;
import java.io.ByteArrayInputStream;
import java.io.IOException;
import javax.imageio.ImageIO;
import kiv.media.ffmpeg.FfmpegLibrary;
import kiv.media.ffmpeg.natives.c_pictureconverter_ffmpeg;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class ImageFileTest {

    /** Rows alike and columns alike have different filters. */
    @ParameterizedTest
    @CsvSource({"1, 1, 0, 0", "2, 3, 9, 70", "65, 40, 77, 0", "65, 40, 0, 77", "3, 300, 5, 90"})
    void otherReadersSeeTheSamePixels(int width, int height, int across, int down) throws IOException {
        FfmpegLibrary.loadNatives();
        BufferedImage image = new BufferedImage(width, height, BufferedImage.TYPE_INT_RGB);
        for (int i = 0; i < width * height; i++) {
            image.setRGB(i % width, i / width, (i % width * across + i / width * down) * 0x10203);
        }
        BufferedImage read = ImageIO.read(new ByteArrayInputStream(ImageFile.png(image)));
        assertThat(read.getRGB(0, 0, width, height, null, 0, width)).isEqualTo(image.getRGB(0, 0, width, height, null, 0, width));
        assertThatThrownBy(() -> c_pictureconverter_ffmpeg.n_png_data(new int[width * height], width + 1, height))
                .hasMessageContaining("in line 2977");
    }
}
