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


def inputs(media):
    """Everything of this kind; `media` holds sound files by name."""
    made = []
    for name, data in media.items():
        stem = name.replace(".", "_")
        for cut in CUTS:
            part = data[: max(1, len(data) * cut // 1000)]
            made.append(AttackInput(f"{stem}_cut_{cut}", name, content(part)))
        for number in range(DAMAGED):
            flipped = damaged(data, f"{name} {number}")
            made.append(AttackInput(f"{stem}_flipped_{number}", name, content(flipped)))
    return made
