"""Containers put together by hand: references to other files, nesting, lying counts and lengths."""
import re
import struct

from attack_input import LISTED, AttackInput, content


def box(kind, *parts):
    """An atom of an MP4 or QuickTime file."""
    body = b"".join(parts)
    return struct.pack(">I4s", 8 + len(body), kind) + body


def patched(data, kind, offset, form, *values):
    """`data` with a field overwritten, `offset` bytes into the first box of that kind."""
    at = data.index(kind) + 4 + offset
    changed = bytearray(data)
    struct.pack_into(form, changed, at, *values)
    return bytes(changed)


def with_reference(data, kind, reference):
    """A QuickTime film of one track that keeps its data at `reference`; here there are zeros instead."""
    entry = struct.pack(">II", 0, 1) + box(kind, b"\0\0\0\0", reference)
    old = re.search(rb"\0\0\0\x1cdref.{20}", data, re.DOTALL).group()
    longer = len(entry) + 8 - len(old)
    begin, end = data.index(b"mdat") + 4, data.index(b"moov") - 4
    changed = data[:begin] + b"\0" * (end - begin) + data[end:]
    changed = changed.replace(old, box(b"dref", entry))
    # The boxes around the reference grow with it.
    for outer in (b"dinf", b"minf", b"mdia", b"trak", b"moov"):
        at = changed.index(outer) - 4
        size = struct.unpack_from(">I", changed, at)[0] + longer
        changed = changed[:at] + struct.pack(">I", size) + changed[at + 4 :]
    return changed


def alias(path):
    """The body of an alias record that names a file by its absolute path."""
    name = path.rsplit("/", 1)[-1].encode()[:27]
    record = struct.pack(">II", 0, 0)[:6] + b"\0" * 4 + bytes([4]) + b"disk".ljust(27, b"\0")
    record += b"\0" * 12 + bytes([len(name)]) + name.ljust(63, b"\0") + b"\0" * 16
    record += struct.pack(">hh", 0, 0) + b"\0" * 16
    whole = path.encode()
    return record + struct.pack(">hh", 2, len(whole)) + whole + b"\xff\xff\0\0"


def nested(kind, depth):
    """Boxes in boxes."""
    return b"".join(struct.pack(">I4s", 8 * (depth - i), kind) for i in range(depth))


def many_tracks(count):
    """An index with so many empty tracks."""
    header = struct.pack(">I", 0) + struct.pack(">IIII", 0, 0, 1000, 1000) + b"\0" * 80
    track = box(b"trak", box(b"tkhd", struct.pack(">IIIIII", 7, 0, 0, 1, 0, 1000), b"\0" * 60))
    return box(b"ftyp", b"isom\0\0\2\0isom") + box(b"moov", box(b"mvhd", header), track * count)


def transport_packet(pid, section):
    """One packet with a whole section of program information."""
    head = struct.pack(">BHB", 0x47, 0x4000 | pid, 0x10) + b"\0"
    return (head + section).ljust(188, b"\xff")


def checksum(data):
    """CRC-32 as in MPEG."""
    value = 0xFFFFFFFF
    for byte in data:
        value ^= byte << 24
        for _ in range(8):
            value = (value << 1) ^ (0x04C11DB7 if value & 0x80000000 else 0)
            value &= 0xFFFFFFFF
    return struct.pack(">I", value)


def section(table, number, body):
    """A section of a table, with its checksum."""
    head = struct.pack(">BHHBBB", table, 0xB000 | (len(body) + 9), number, 0xC1, 0, 0)
    return head + body + checksum(head + body)


def many_programs(count):
    """A transport stream with `count` programs of 30 streams each."""
    packets = []
    for first in range(0, count, 40):
        numbers = range(first, min(first + 40, count))
        body = b"".join(struct.pack(">HH", n + 1, 0xE000 | (32 + n)) for n in numbers)
        packets.append(transport_packet(0, section(0, 1, body)))
    for n in range(count):
        streams = b"".join(
            struct.pack(">BHH", 2, 0xE000 | ((n * 30 + i) % 8000 + 100), 0xF000) for i in range(30)
        )
        body = struct.pack(">HH", 0xE100, 0xF000) + streams
        packets.append(transport_packet(32 + n, section(2, n + 1, body)))
    return b"".join(packets) * 20


def matroska_master(element, depth):
    """Elements of unknown length in elements."""
    return bytes.fromhex("1a45dfa3a3428682") + b"matroska" + element * depth


def inputs(media, canary, port):
    """Everything of this kind; `media` holds sound files by name."""
    fast, silent, wave = media["fast.mp4"], media["silent.mov"], media["tone.wav"]
    days = 23 * 86400
    web = f"http://127.0.0.1:{port}/reference.mov".encode()
    kinds = [
        ("dref_file", with_reference(silent, b"url ", b"file://" + canary.encode() + b"\0")),
        ("dref_path", with_reference(silent, b"url ", canary.encode() + b"\0")),
        ("dref_loopback", with_reference(silent, b"url ", web + b"\0")),
        ("dref_alias", with_reference(silent, b"alis", alias(canary))),
    ]
    lies = [
        ("box_nesting", "film.mp4", fast[:32] + nested(b"moov", 100000)),
        ("box_nesting_meta", "film.mp4", fast[:32] + nested(b"udta", 100000)),
        ("box_size_0", "film.mp4", patched(fast, b"moov", -8, ">I", 0)),
        ("box_size_4g", "film.mp4", patched(fast, b"moov", -8, ">I", 0xFFFFFFFF)),
        ("many_tracks", "film.mp4", many_tracks(5000)),
        ("many_samples", "film.mp4", patched(fast, b"stsz", 4, ">II", 1, 0x7FFFFFFF)),
        ("many_times", "film.mp4", patched(fast, b"stts", 8, ">II", 0x7FFFFFFF, 1)),
        ("many_chunks", "film.mp4", patched(fast, b"stco", 4, ">I", 0x3FFFFFFF)),
        ("days_of_one_picture", "film.mp4", patched(patched(fast, b"mdhd", 12, ">I", 1), b"stts", 8, ">II", 1, days)),
        ("days_in_header", "film.mp4", patched(fast, b"mvhd", 12, ">II", 1, days)),
        ("clock_of_0", "film.mp4", patched(fast, b"mdhd", 12, ">I", 0)),
        ("clock_of_4g", "film.mp4", patched(fast, b"mdhd", 12, ">I", 0xFFFFFFFF)),
        ("huge_track", "film.mp4", patched(fast, b"avc1", 24, ">HH", 16384, 16384)),
        ("huge_sides", "film.mp4", patched(fast, b"avc1", 24, ">HH", 65535, 65535)),
        ("wave_4g", "tone.wav", patched(wave, b"data", 0, "<I", 0xFFFFFFF0)),
        ("wave_65535_channels", "tone.wav", patched(wave, b"fmt ", 6, "<H", 65535)),
        ("wave_rate_0", "tone.wav", patched(wave, b"fmt ", 8, "<I", 0)),
        ("wave_rate_4g", "tone.wav", patched(wave, b"fmt ", 8, "<I", 0xFFFFFFFF)),
        ("many_programs", "film.ts", many_programs(1500)),
        ("clusters", "film.mkv", matroska_master(bytes.fromhex("18538067ffffffffffffffff"), 50000)),
        ("tags", "film.mkv", matroska_master(bytes.fromhex("1254c367ffffffffffffffff"), 50000)),
        ("flac_picture", "tone.flac", b"fLaC\x06\xff\xff\xff" + media["tone.flac"][4:]),
        ("id3_256m", "tone.mp3", b"ID3\x04\0\0\x7f\x7f\x7f\x7f" + media["tone.mp3"]),
        ("flv_objects", "film.flv",
         b"FLV\1\5\0\0\0\x09\0\0\0\0\x12\xff\xff\xf0\0\0\0\0\0\0\0\2\0\x0aonMetaData"
         + b"\x03\0\1a" * 200000),
    ]
    made = [AttackInput(name, "film.mov", content(data), LISTED) for name, data in kinds]
    made += [AttackInput(name, file, content(data)) for name, file, data in lies]
    for one in made:
        one.seconds = 20 if one.name == "days_of_one_picture" else one.seconds
    return made
