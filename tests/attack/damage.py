"""Sound media of each container, cut off or with bits turned over."""
import random

from attack_input import AttackInput, content

# Where files are cut, in thousandths of their length.
CUTS = (5, 120, 500, 950)

# How many files with damaged beginnings are made of each, and how far the beginning reaches.
DAMAGED = 2
REACH = 2048
FLIPS = 24


def damaged(data, seed):
    """`data` with bits of its beginning turned over, the same ones for the same seed."""
    chance = random.Random(seed)
    changed = bytearray(data)
    for _ in range(FLIPS):
        changed[chance.randrange(min(len(changed), REACH))] ^= 1 << chance.randrange(8)
    return bytes(changed)


def scattered(data, seed):
    """`data` with bits turned over everywhere behind its beginning."""
    chance = random.Random(seed)
    changed = bytearray(data)
    for _ in range(len(data) // REACH):
        changed[chance.randrange(REACH, len(changed))] ^= 1 << chance.randrange(8)
    return bytes(changed)


def inputs(media, in_segments=False):
    """Everything of this kind; `media` holds sound files by name."""
    made = []
    for name, data in media.items():
        stem = name.replace(".", "_")
        variants = {f"cut_{cut}": data[: max(1, len(data) * cut // 1000)] for cut in CUTS}
        for number in range(DAMAGED):
            variants[f"flipped_{number}"] = damaged(data, f"{name} {number}")
        if in_segments:
            variants["scattered"] = scattered(data, name)
        for variant, changed in variants.items():
            attack = AttackInput(f"{stem}_{variant}", name, content(changed))
            attack.in_segments = in_segments
            made.append(attack)
    return made
