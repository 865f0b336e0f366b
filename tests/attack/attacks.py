#!/usr/bin/env python3
"""Sets hostile inputs on the media tools: each input is listed, identified, made a picture of and
transcoded. Each call must end in time, with status 0 or with one clear line; no byte of another
owner's file may show, no connection may come, nothing may be left over.

usage: attacks.py TOOLS [--short] [NAME...]     TOOLS is the folder of the built tools
"""
import argparse
import concurrent.futures
import os
import shutil
import sys
import tempfile

import attack_input
import bait
import base_media
import boxes
import calls
import damage
import odd_files
import pictures
import playlists

# In the short form every input is listed, and every so many of them are put through the rest.
SHORT_STEP = 6

# Every so many of them are transcoded in segments, and all those that are made of long media.
SEGMENT_STEP = 10
IN_SEGMENTS = "checkpoint.min_seconds = 1\ncheckpoint.segment_seconds = 2\n"


def all_inputs(folder, canaries, port):
    """The whole set, in the order of its modules."""
    os.mkdir(folder)
    media = base_media.make_all(folder, base_media.RECIPES)
    long_media = base_media.make_all(folder, base_media.LONG_RECIPES)
    attacks = (
        playlists.inputs(canaries.film, port)
        + boxes.inputs(media, canaries.movie, port)
        + pictures.inputs(folder)
        + damage.inputs(media)
        + odd_files.inputs(media, canaries.text)
    )
    for one in attacks[::SEGMENT_STEP]:
        one.in_segments = True
    return attacks + damage.inputs(long_media, in_segments=True)


def lowest_profile(listing):
    """The smallest picture that a listing offers, else any."""
    offered = [line[3:] for line in listing.decode().splitlines() if line.startswith(".. ")]
    heights = [name for name in offered if name.isdigit()]
    return (heights or offered or ["240"])[-1]


class Attack:
    """One input and the calls of the tools on it."""

    def __init__(self, tools, work, attack):
        self.tools = tools
        self.attack = attack
        self.source = os.path.join(work, attack.name)
        self.results = os.path.join(work, attack.name + ".results")
        self.path = os.path.join(self.source, attack.file_name)
        self.settings = os.path.join(work, "in_segments.conf") if attack.in_segments else "/nonexistent"

    def call(self, name, arguments, made="", outcome=None):
        """Calls a tool; `made` is the file in the folder of results that it may leave."""
        limit = self.attack.seconds
        command = [os.path.join(self.tools, arguments[0]), *arguments[1:], "--file", self.path]
        listed = self.attack.outcome == attack_input.LISTED
        if listed and outcome is None:
            outcome = attack_input.ANY if name == "quote" else attack_input.REFUSED
        ended = calls.run(name, command, self.source + ".streams", limit, self.settings)
        calls.judge(ended, self.path, limit, outcome or self.attack.outcome, self.results, made)
        shutil.rmtree(self.results)
        os.mkdir(self.results)
        return ended

    def identify(self):
        """Identification finds a type for whatever is a file, media or not."""
        is_sound = self.attack.outcome == attack_input.MADE
        outcome = attack_input.MADE if is_sound else attack_input.ANY
        arguments = ["qxmi_startitem", "--identify", "--create-meta", "--daemon"]
        ended = self.call("identify", arguments, outcome=outcome)
        folder = os.path.join(self.source, f".{self.attack.file_name}.metadata")
        if os.path.isdir(folder):
            if calls.has_token(folder):
                ended.faults.append("shows bytes of another owner's file")
            described = calls.media_fields(folder)
            if self.attack.outcome == attack_input.REFUSED and described:
                ended.faults.append(f"describes another file: {described}")
            shutil.rmtree(folder)
        return ended

    def run(self, whole):
        """The calls that were made."""
        for folder in (self.source, self.results, self.source + ".streams"):
            os.mkdir(folder)
        self.attack.write(self.path)
        ends = [self.call("quote", ["qxmi_vod_transcode", "--quote"])]
        if whole:
            ends.append(self.identify())
            picture = os.path.join(self.results, "a.jpg")
            ends.append(self.call("grab", ["qxmi_grab", "--jpeg", "-o", picture], "a.jpg"))
            film = os.path.join(self.results, "a.mp4")
            profile = lowest_profile(ends[0].output)
            arguments = ["qxmi_vod_transcode", "--profile", profile, "-o", film]
            ends.append(self.call("encode", arguments, "a.mp4"))
        left = os.listdir(self.source)
        if left != [self.attack.file_name]:
            ends[-1].faults.append(f"left {left} beside the source")
        return ends


def report(attack, ends):
    """Prints the faults of one input and returns their number."""
    count = 0
    for ended in ends:
        for fault in ended.faults:
            print(f"FAIL {attack.name}: {ended.call}: {fault}", flush=True)
            count += 1
    return count


def figures(attacks, ended, arrived, faults):
    """Prints a line for each figure."""
    slowest = max(ended, key=lambda one: one[1].seconds)
    largest = max(ended, key=lambda one: one[1].memory)
    shown = [one for _, one in ended if any("another owner" in fault for fault in one.faults)]
    print(f"inputs {len(attacks)}, of which in segments {sum(one.in_segments for one in attacks)}")
    print(f"calls {len(ended)}")
    print(f"calls that show a canary {len(shown)}")
    print(f"connections {len(arrived)}")
    print(f"slowest {slowest[1].seconds:.1f} s, {slowest[1].call} of {slowest[0].name}")
    print(f"memory {largest[1].memory >> 20} MiB, {largest[1].call} of {largest[0].name}")
    print(f"faults {faults}")


def attack_all(options, work):
    """Runs the set and returns the exit status."""
    # A build may go on meanwhile.
    tools = os.path.join(work, "tools")
    os.mkdir(tools)
    for name in ("qxmi_vod_transcode", "qxmi_startitem", "qxmi_grab"):
        shutil.copy2(os.path.join(options.tools, name), tools)
    with open(os.path.join(work, "in_segments.conf"), "w", encoding="ascii") as settings:
        settings.write(IN_SEGMENTS)
    canaries = bait.Canaries(os.path.join(work, "canaries"))
    listener = bait.Listener()
    attacks = all_inputs(os.path.join(work, "media"), canaries, listener.port)
    unknown = set(options.names) - {one.name for one in attacks}
    if unknown:
        print(f"attacks.py: no such input: {' '.join(sorted(unknown))}", file=sys.stderr)
        return 2
    if options.names:
        attacks = [one for one in attacks if one.name in options.names]
    ended, faults = [], 0
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        running = {}
        for number, one in enumerate(attacks):
            whole = not options.short or number % SHORT_STEP == 0
            running[pool.submit(Attack(tools, work, one).run, whole)] = one
        for future in concurrent.futures.as_completed(running):
            ends = future.result()
            faults += report(running[future], ends)
            ended += [(running[future], end) for end in ends]
    for asked in listener.arrived:
        print(f"FAIL a connection came: {asked!r}")
    faults += len(listener.arrived)
    figures(attacks, ended, listener.arrived, faults)
    return 1 if faults else 0


def main():
    """Reads the command line and works in a folder of its own."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("tools", metavar="TOOLS", help="the folder of the built tools")
    parser.add_argument("--short", action="store_true", help="only a part of the calls")
    parser.add_argument("names", metavar="NAME", nargs="*", help="only these inputs")
    options = parser.parse_args()
    if os.geteuid() != 0:
        sys.exit("attacks.py: needs root, for files of another owner and devices")
    with tempfile.TemporaryDirectory(prefix="qx-attack-") as work:
        return attack_all(options, work)


if __name__ == "__main__":
    sys.exit(main())
