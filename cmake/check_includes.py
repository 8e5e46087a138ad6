#!/usr/bin/python3
"""Checks that every room of the tree includes only what the plan of the house allows it.

Usage: check_includes.py ROOT. Prints one line for each include that goes the wrong way, and exits
with status 1 when there is one.
"""

import pathlib
import re
import sys

# Room: the other rooms of korvani/ that it may include, and the libraries beside the standard one.
ROOMS = {
    "korvani/platform": ([], None),
    "korvani/sdk": (["platform"], None),
    "korvani/beacons": (["sdk", "platform"], None),
    "korvani/net": (["sdk", "platform"], None),
    "korvani/notifications": (["sdk", "platform"], None),
    "korvani/ui": (["sdk", "platform"], None),
    "korvani/location": (["platform"], None),
    "korvani/codec": (["platform"], r"nlohmann/|png\.h$"),
    "korvani/simulator": (["platform", "location", "codec"], None),
    "korvani/qt": (["platform", "location", "codec"], r"Q|qt|curl/|sys/|[a-z]+\.h$"),
    "demo": (["sdk", "platform", "qt", "simulator"], r"Q|qt|[a-z]+\.h$"),
    "examples": (["sdk", "qt"], r"Q"),
    "tools/beacons": (["sdk", "platform", "location", "codec", "qt"], r"Q|CLI/|[a-z_]+\.h$"),
    "tools/fleet": (["sdk", "platform", "simulator"], r"nlohmann/|CLI/|sys/|[a-z_]+\.h$"),
    "tools/replay": (["sdk", "platform", "codec", "simulator"], r"CLI/|[a-z_]+\.h$"),
    "tools/service": (["sdk"], r"nlohmann/|httplib\.h$|CLI/|sys/|arpa/|[a-z_]+\.h$"),
}

STANDARD = set(
    """algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
    condition_variable coroutine deque exception execution filesystem forward_list fstream functional
    future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map
    memory memory_resource mutex new numbers numeric optional ostream queue random ratio regex
    scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token
    streambuf string string_view syncstream system_error thread tuple type_traits typeindex typeinfo
    unordered_map unordered_set utility valarray variant vector version cassert cctype cerrno cfenv
    cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib
    cstring ctime cuchar cwchar cwctype""".split()
)

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def allowed(room, quote, header, own_header):
    """Whether a file of this room may include this header."""
    rooms, libraries = ROOMS[room]
    if quote == '"':  # only for what stands beside the source: never inside the kit
        return own_header or header.endswith(".moc")
    if header.startswith("korvani/"):
        return header.split("/")[1] in rooms + [room.split("/")[-1]]
    return header in STANDARD or bool(libraries and re.match(libraries, header))


def main():
    root = pathlib.Path(sys.argv[1])
    checked, wrong = 0, []
    for room in ROOMS:
        for path in sorted((root / room).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                checked += 1
                quote, header = match.groups()
                beside = not room.startswith("korvani/") and (path.parent / header).exists()
                if not allowed(room, quote, header, beside):
                    wrong.append(f"{path.relative_to(root)}:{number}: {room} may not include {header}")
    print("\n".join(wrong) or f"{checked} includes, all as they should be")
    return 1 if wrong or not checked else 0


if __name__ == "__main__":
    sys.exit(main())
