"""One hostile input, and what it may and may not do."""
import dataclasses
import typing

# What a tool may make of an input.
ANY = "any"  # a result, or a failure with a clear line
REFUSED = "refused"  # a failure: a result could only come from another file than the input
LISTED = "listed"  # a list of profiles from the index, but nothing that needs its data
MADE = "made"  # a result: the input is a sound film with an odd name


@dataclasses.dataclass
class AttackInput:
    """`write` makes the input at the path it is given, in a folder of its own."""

    name: str  # unique, part of file names
    file_name: str
    write: typing.Callable[[str], None]
    outcome: str = ANY
    seconds: int = 90  # in which each tool must have ended
    in_segments: bool = False  # it is transcoded in segments, however short it is


def content(data):
    """A `write` that creates a file with these bytes."""

    def write(path):
        with open(path, "wb") as file:
            file.write(data if isinstance(data, bytes) else data.encode())

    return write
