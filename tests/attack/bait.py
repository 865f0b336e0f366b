"""What the inputs try to reach: files of another owner, and a listener on the loopback interface."""
import os
import socket
import threading

import base_media

# In the text of the canaries and in the tags of the films among them.
TOKEN = b"qxcanary7f3a"
OTHER_OWNER = 65534


class Canaries:
    """A film and a text that belong to another account and that only it may read."""

    def __init__(self, folder):
        os.mkdir(folder)
        tags = f"-metadata title={TOKEN.decode()} -metadata service_name={TOKEN.decode()}"
        film = f"-f lavfi -i color=c=magenta:s=96x64:r=25:d=2 {tags} {base_media.MPEG}"
        self.film = base_media.make(folder, "canary.ts", film)
        self.movie = base_media.make(
            folder, "canary.mov", f"-f lavfi -i color=c=magenta:s=96x64:r=10:d=2 {tags}"
        )
        self.text = os.path.join(folder, "canary.txt")
        with open(self.text, "wb") as file:
            file.write((TOKEN + b"\n") * 100)
        for path in (self.film, self.movie, self.text):
            os.chmod(path, 0o600)
            os.chown(path, OTHER_OWNER, OTHER_OWNER)


class Listener:
    """Counts what arrives on a port of the loopback interface, by TCP and by UDP."""

    def __init__(self):
        self.arrived = []
        self.tcp = socket.create_server(("127.0.0.1", 0))
        self.port = self.tcp.getsockname()[1]
        self.udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.udp.bind(("127.0.0.1", self.port))
        for serve in (self.accept, self.receive):
            threading.Thread(target=serve, daemon=True).start()

    def accept(self):
        """Takes connections, and what they ask for."""
        while True:
            connection, _ = self.tcp.accept()
            connection.settimeout(1)
            try:
                asked = connection.recv(200)
            except OSError:
                asked = b""
            self.arrived.append(asked or b"a connection")
            connection.close()

    def receive(self):
        """Takes datagrams."""
        while True:
            self.arrived.append(self.udp.recv(200) or b"a datagram")
