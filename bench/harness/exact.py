"""What images should show: exact arithmetic on the decoded pictures."""

import os
import subprocess

import numpy

COLUMNS = 16
ROWS = 9
EVERY = 5  # one of so many images is compared


def to_rgb(luma, blue, red):
    """BT.601 of limited range, in steps of 255 that are not rounded. All three have one value for each pixel."""
    luma, blue, red = (luma - 16) * (255 / 219), (blue - 128) * (255 / 224), (red - 128) * (255 / 224)
    rgb = numpy.stack([luma + 1.402 * red, luma - 0.344136286 * blue - 0.714136286 * red, luma + 1.772 * blue])
    return rgb.clip(0, 255, out=rgb)


def _shares(pixels, cells, size):
    """How much of each cell's mean each pixel is. An image of that size begins its cells at whole pixels of its own."""
    edges = numpy.arange(cells + 1) * size // cells * (pixels / size)
    numbers = numpy.arange(pixels)
    shares = numpy.minimum(numbers + 1, edges[1:, None]) - numpy.maximum(numbers, edges[:-1, None])
    return shares.clip(0) / (edges[1:] - edges[:-1])[:, None]


def means(path, width, height, image_width, image_height, ffmpeg, environment):
    """The means of red, green and blue in each cell of every fifth image of a film of 4:2:0 pictures, however many pixels an
    image has: a mean of areas is the same whatever the filter was."""
    luma_bytes, chroma = width * height, ((height + 1) // 2, (width + 1) // 2)
    size = luma_bytes + 2 * chroma[0] * chroma[1]
    across, down = _shares(width, COLUMNS, image_width), _shares(height, ROWS, image_height)
    found = []
    command = [ffmpeg, "-v", "error", "-nostdin", "-i", path, "-an", "-fps_mode", "passthrough", "-vf",
               f"select=not(mod(n\\,{EVERY}))", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"]
    with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE) as process:
        while len(raw := process.stdout.read(size)) == size:
            samples = numpy.frombuffer(raw, numpy.uint8)
            planes = [samples[:luma_bytes].reshape(height, width).astype(numpy.float32)]
            for plane in samples[luma_bytes:].reshape(2, *chroma):
                planes.append(plane.repeat(2, 0).repeat(2, 1)[:height, :width].astype(numpy.float32))
            found.append((down @ to_rgb(*planes) @ across.T).transpose(1, 2, 0).ravel())
    if process.returncode != 0 or not found:
        raise RuntimeError("no pictures of " + path)
    return numpy.concatenate(found).tolist()


def kept_means(place, path, width, height, image_width, image_height):
    """The same, which is worked out once for a film and a size."""
    kept = f"{path}.{image_width}x{image_height}.npy"
    if not os.path.exists(kept) or os.path.getmtime(kept) < os.path.getmtime(path):
        values = means(path, width, height, image_width, image_height, os.path.join(place.usual, "ffmpeg"),
                       dict(os.environ, LD_LIBRARY_PATH=place.usual))
        numpy.save(kept, numpy.array(values))
    return numpy.load(kept).tolist()
