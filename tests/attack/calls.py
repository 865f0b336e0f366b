"""Runs one tool on one input and judges what it did."""
import dataclasses
import os
import signal
import subprocess
import threading
import time

import attack_input
import bait

# Bytes. The sandbox leaves an engine 4 GiB of addresses and more for its threads, of which none of
# the inputs makes it touch much.
MOST_MEMORY = 3 << 29

# What identification writes about a file only if it has understood its media.
MEDIA_FIELDS = ("duration", "video codec", "audio codec")

PATIENCE = 15  # seconds after the time limit, until the tool is killed


@dataclasses.dataclass
class Ended:
    """How a call ended."""

    call: str
    status: int  # negative for a signal
    seconds: float
    memory: int  # bytes, of the tool or of its largest engine
    output: bytes
    errors: bytes
    alone: bool  # no process of its group is left
    faults: list


def run(name, command, folder, limit, settings):
    """Runs a command to its end, at most PATIENCE longer than its limit."""
    files = [open(os.path.join(folder, stream), "w+b") for stream in ("output", "errors")]
    environment = {**os.environ, "QX_MEDIA_CONF": settings}
    begin = time.monotonic()
    child = subprocess.Popen(
        command, stdin=subprocess.DEVNULL, stdout=files[0], stderr=files[1],
        start_new_session=True, env=environment,
    )
    killer = threading.Timer(limit + PATIENCE, os.killpg, (child.pid, signal.SIGKILL))
    killer.start()
    _, status, usage = os.wait4(child.pid, 0)
    killer.cancel()
    child.returncode = os.waitstatus_to_exitcode(status)
    passed = time.monotonic() - begin
    texts = []
    for file in files:
        file.seek(0)
        texts.append(file.read())
        file.close()
        os.unlink(file.name)
    memory = usage.ru_maxrss * 1024
    return Ended(name, child.returncode, passed, memory, *texts, is_gone(child.pid), [])


def is_gone(group):
    """Whether no process of the group is left; an engine may take a moment to be reaped."""
    for _ in range(50):
        try:
            os.killpg(group, 0)
        except ProcessLookupError:
            return True
        time.sleep(0.1)
    return False


def shown(path):
    """A file's name as the tools print it, on one line."""
    return os.path.basename(path).replace("\n", "\\n").encode()


def has_token(folder):
    """Whether a file below the folder holds bytes of a canary."""
    for place, _, names in os.walk(folder):
        for name in names:
            with open(os.path.join(place, name), "rb") as file:
                if bait.TOKEN in file.read():
                    return True
    return False


def media_fields(folder):
    """The lines of the metadata in the folder that describe media."""
    lines = []
    for name in os.listdir(folder):
        with open(os.path.join(folder, name), encoding="utf-8", errors="replace") as file:
            lines += file.read().splitlines()
    fields = [line.partition("=") for line in lines]
    return [f"{name}={value}" for name, _, value in fields if name in MEDIA_FIELDS and value]


def judge(ended, path, limit, outcome, results, made):
    """Adds the faults of a call. `results` is its folder, `made` the file that it may leave there."""
    lines = ended.errors.splitlines()
    if ended.status not in (0, 1):
        ended.faults.append(f"ended with status {ended.status}")
    if ended.status == 1 and (len(lines) != 1 or shown(path) not in lines[0]):
        ended.faults.append(f"has not one clear line: {lines[:3]}")
    if ended.status == 0 and lines:
        ended.faults.append(f"succeeded with a complaint: {lines[:3]}")
    if ended.seconds > limit:
        ended.faults.append(f"took {ended.seconds:.1f} s of {limit} s")
    if ended.memory > MOST_MEMORY:
        ended.faults.append(f"took {ended.memory >> 20} MiB")
    if not ended.alone:
        ended.faults.append("left a process")
    if bait.TOKEN in ended.output + ended.errors or has_token(results):
        ended.faults.append("shows bytes of another owner's file")
    if outcome == attack_input.REFUSED and ended.status == 0:
        ended.faults.append("made something out of nothing")
    if outcome == attack_input.MADE and ended.status != 0:
        ended.faults.append(f"refused a sound film: {lines[:3]}")
    expected = [made] if made and ended.status == 0 else []
    left = sorted(os.listdir(results))
    if left != expected:
        ended.faults.append(f"left {left} and should have left {expected}")
