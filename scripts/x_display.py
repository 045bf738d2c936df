"""An X server without a screen for applications, and pictures of what its windows show."""
import contextlib
import os
import pathlib
import socket
import struct
import subprocess
import tempfile
import time
import zlib


# Left to itself, the server's heap may give the memory of each large picture back to the kernel and fetch it anew:
# applications that send pictures are then several times slower, from one run of the server to the next.
steady_heap = {"MALLOC_MMAP_THRESHOLD_": "1000000000", "MALLOC_TRIM_THRESHOLD_": "1000000000"}


class XDisplay:
    """Xvfb on a free display number; a context manager. `name` is what DISPLAY wants."""

    def __init__(self, width, height):
        self.width, self.height = width, height
        self.stack = contextlib.ExitStack()
        self.name = ""
        self.glass = None

    def __enter__(self):
        folder = self.stack.enter_context(tempfile.TemporaryDirectory(prefix="zelvar-x-"))
        self.screen = pathlib.Path(folder) / "Xvfb_screen0"
        number, ready = os.pipe()
        command = ["Xvfb", "-displayfd", str(ready), "-screen", "0", f"{self.width}x{self.height}x24",
                   "-fbdir", folder, "-nolisten", "tcp"]
        server = subprocess.Popen(command, pass_fds=[ready], stderr=subprocess.DEVNULL,
                                  env={**os.environ, **steady_heap})
        self.stack.callback(server.wait)
        self.stack.callback(server.terminate)
        os.close(ready)
        with os.fdopen(number) as answer:
            self.name = ":" + answer.readline().strip()
        if self.name == ":":
            self.stack.close()
            raise RuntimeError("Xvfb doesn't start")
        self.glass = PaneOfGlass(self.name[1:], self.width, self.height)
        self.stack.callback(self.glass.close)
        return self

    def __exit__(self, *_):
        self.stack.close()

    def wait_for_the_last_pictures(self):
        """Of applications that have ended: what they had sent by then may still lie unread at the server. Their windows
        go after it."""
        limit = time.monotonic() + 60
        while self.glass.windows() > 1:
            if time.monotonic() > limit:
                raise RuntimeError("windows of applications that have ended stay")
            time.sleep(0.01)

    def grab(self, path, left=0, top=0):
        """Writes what the screen shows, to the right of and below a place, as a PNG file of 8-bit RGB."""
        dump = self.screen.read_bytes()
        # An XWD file: a header of big-endian words, a colour map of 12 bytes an entry, rows of B, G, R and a spare byte.
        header = struct.unpack(">25I", dump[:100])
        header_size, width, height, row_bytes, colours = (header[i] for i in (0, 4, 5, 12, 19))
        pixels = dump[header_size + colours * 12:]
        rows = bytearray()
        for y in range(top, height):
            row = pixels[y * row_bytes + left * 4:y * row_bytes + width * 4]
            rgb = bytearray((width - left) * 3)
            rgb[0::3], rgb[1::3], rgb[2::3] = row[2::4], row[1::4], row[0::4]
            rows += b"\0" + rgb
        path.write_bytes(png(width - left, height - top, bytes(rows)))


class PaneOfGlass:
    """A window without a background over the whole screen, below those of applications: nothing is painted where one
    of theirs goes, so that the screen keeps what it showed last. Lives as long as its connection."""

    def __init__(self, number, width, height):
        self.server = socket.socket(socket.AF_UNIX)
        self.server.connect(f"/tmp/.X11-unix/X{number}")
        self.answers = self.server.makefile("rb")
        self.server.sendall(struct.pack("<cx5H", b"l", 11, 0, 0, 0, 0))
        accepted, words = struct.unpack("<B5xH", self.answers.read(8))
        if not accepted:
            raise RuntimeError("the X server takes no clients")
        about = self.answers.read(4 * words)
        window, = struct.unpack_from("<I", about, 4)
        vendor_length, formats = struct.unpack_from("<H3xB", about, 16)
        self.root, = struct.unpack_from("<I", about, 32 + (vendor_length + 3) // 4 * 4 + 8 * formats)
        input_output, map_window = 1, 8
        self.server.sendall(struct.pack("<BxH2I2h4H2I", 1, 8, window, self.root, 0, 0, width, height, 0, input_output,
                                        0, 0) + struct.pack("<BxHI", map_window, 2, window))
        self.windows()  # its answer comes last: the window is there

    def windows(self):
        """How many windows the screen has, this one among them."""
        query_tree = 15
        self.server.sendall(struct.pack("<BxHI", query_tree, 2, self.root))
        kind = 0
        while kind != 1:  # an event, for every client
            kind, words, count = struct.unpack("<B3xI8xH14x", self.answers.read(32))
        self.answers.read(4 * words)
        return count

    def close(self):
        self.answers.close()
        self.server.close()


def png(width, height, filtered_rows):
    """A file of RGB rows, each behind a byte of 0."""

    def chunk(kind, content):
        check = zlib.crc32(kind + content)
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", check)

    size = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size) + chunk(b"IDAT", zlib.compress(filtered_rows, 1)) +
            chunk(b"IEND", b""))
