"""Things that are no regular files, files of holes, and sound films with odd names."""
import os
import socket
import stat

from attack_input import MADE, REFUSED, AttackInput, content

NAMES = (
    "%d.mp4",
    "film%03d.mp4",
    "%s%n%x.mp4",
    "-i.mp4",
    "--help",
    "-",
    "a b'c\"d.mp4",
    "new\nline.mp4",
    "file:film.mp4",
    "concat:a|b.mp4",
    "http:127.0.0.1.mp4",
    "pipe:0",
    "*?[a].mp4",
    "$(id)`id`;.mp4",
    "\u00fcml\u00e4ut \u65e5\u672c.mp4",
    "x" * 200 + ".mp4",
)


def make_socket(path):
    """A socket that nobody accepts on. Its path may be too long for bind()."""
    folder, name = os.path.split(path)
    here = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    with socket.socket(socket.AF_UNIX) as one:
        one.bind(f"/proc/self/fd/{here}/{name}")
    os.close(here)


def holes(size, data=b"", at_end=b""):
    """A `write` of a file of holes with a little data at its ends."""

    def write(path):
        with open(path, "wb") as file:
            file.write(data)
            file.truncate(size)
            file.seek(0, os.SEEK_END)
            file.write(at_end)

    return write


def inputs(media, canary):
    """Everything of this kind; `media` holds sound files by name."""
    terabyte = 1 << 40
    film, late = media["film.ts"], media["late.mov"]
    kinds = [
        ("fifo", lambda path: os.mkfifo(path)),
        ("directory", lambda path: os.mkdir(path)),
        ("socket", make_socket),
        ("device_zero", lambda path: os.mknod(path, 0o644 | stat.S_IFCHR, os.makedev(1, 5))),
        ("device_tty", lambda path: os.mknod(path, 0o644 | stat.S_IFCHR, os.makedev(5, 0))),
        ("link_to_device", lambda path: os.symlink("/dev/zero", path)),
        ("link_to_itself", lambda path: os.symlink(path, path)),
        ("link_to_nothing", lambda path: os.symlink("nothing", path)),
        ("link_to_standard_input", lambda path: os.symlink("/proc/self/fd/0", path)),
        ("link_to_memory", lambda path: os.symlink("/proc/self/mem", path)),
        ("empty", content(b"")),
        ("one_byte", content(b"\0")),
        ("text", content(b"not media\n" * 1000)),
        ("zeros", content(b"\0" * 1000000)),
        ("script", content(f"#!/bin/sh\ncat {canary}\n")),
        ("terabyte", holes(terabyte)),
        ("terabyte_film", holes(terabyte, film)),
        ("terabyte_of_index", holes(terabyte, late[:64], late[-2000:])),
    ]
    made = [AttackInput(name, "film.mp4", write, REFUSED) for name, write in kinds]
    for one in made:
        one.seconds = 20 if one.name.startswith("terabyte") else one.seconds
    for number, name in enumerate(NAMES):
        made.append(AttackInput(f"name_{number}", name, content(media["fast.mp4"]), MADE))
    return made
