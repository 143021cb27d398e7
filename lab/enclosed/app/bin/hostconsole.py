"""The host's console, as programs use it: a line, an answer. What they hold there ends with them."""
import socket
import time

PATH = "/run/mc/console"


class Console:
    """A connection to the host that runs now. OSError where none does, or it has ended."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(10)
        self.socket.connect(PATH)
        self.stream = self.socket.makefile("rb")

    def tell(self, *words):
        """The first word of the answer to a partner command, and the others."""
        self.socket.sendall(("partner " + " ".join(words) + "\n").encode())
        header = self.stream.readline().split()
        if len(header) != 2:
            raise ConnectionError("the host is gone")
        kind, _, rest = self.stream.read(int(header[1])).decode().strip().partition(" ")
        return kind, rest

    def until_told(self, seconds, *words):
        """The same, for as long as the answer is "wait"."""
        end = time.monotonic() + seconds
        while True:
            kind, rest = self.tell(*words)
            if kind != "wait" or time.monotonic() > end:
                return kind, rest
            time.sleep(0.2)
