package kiv.media.examples;

import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;
import kiv.media.ffmpeg.PacketSplitter;
import kiv.media.ffmpeg.Picture;
import kiv.media.ffmpeg.VideoDecoder;

/**
 * Waits for a camera that sends raw H.264, and prints the size of each picture as soon as it is there:
 * {@code CameraReceiver PORT}. With port 0 the system chooses one; the first line states the port.
 */
public final class CameraReceiver {

    private CameraReceiver() {
    }

    public static void main(String[] args) throws IOException {
        try (ServerSocket server = new ServerSocket(Integer.parseInt(args[0]), 1, InetAddress.getLoopbackAddress())) {
            System.out.println(server.getLocalPort());
            try (Socket camera = server.accept();
                    PacketSplitter splitter = PacketSplitter.open("h264");
                    // Further threads would hold back pictures.
                    VideoDecoder decoder = VideoDecoder.open(splitter.stream(), 1)) {
                decoder.pictures(splitter.packets(camera.getInputStream())).forEach(CameraReceiver::show);
            }
        }
    }

    private static void show(Picture picture) {
        try (picture) {
            System.out.println(picture.width() + " x " + picture.height());
        }
    }
}
