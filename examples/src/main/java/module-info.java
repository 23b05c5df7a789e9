/** Small programs that use kivjniffmpeg. */
module kiv.media.examples {
    requires kiv.media.ffmpeg;
}
