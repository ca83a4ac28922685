#!/usr/bin/python3
"""Checks which way includes point. The folders of a library are its rooms, listed lowest first by
orvantis_room() in its CMakeLists.txt, and the root CMakeLists.txt lists libraries lowest first. A file
may include files of its own room, of rooms before it and public headers of libraries before its own.
Tests may include anything of the library that they test, public headers of it and of libraries before it,
and tests/support/; what they share has a name that no other test header has. Every include names one file.
Usage: tools/check_rooms.py [--table]
  --table   prints which room includes which, instead of checking
"""
import collections
import os.path
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


class Rooms:
    """The order of rooms over all libraries and programs, and where each include leads."""

    def __init__(self):
        self.order = []  # (library, room), lowest first
        self.room_of = {}  # path of a file -> (library, room)
        self.public = {}  # "Kernel/String.h" -> path
        self.problems = []
        listing = (ROOT / "CMakeLists.txt").read_text()
        for folder in re.findall(r"add_subdirectory\(((?:Libraries|Applications)/[\w-]+)\)", listing):
            self.read_library(folder)

    def read_library(self, folder):
        text = (ROOT / folder / "CMakeLists.txt").read_text()
        for room, arguments in re.findall(r"orvantis_room\(([\w/-]+)([^)]*)\)", text):
            self.order.append((folder, room))
            kind = None
            for word in arguments.split():
                if word in ("HEADERS", "SOURCES", "SIMD", "LINUX", "POSIX", "WINDOWS"):
                    kind = word
                elif kind == "HEADERS":
                    self.add_public(folder, room, word)
                else:
                    self.add(f"{folder}/{room}/{word}", folder, room)
        self.order.append((folder, "."))  # what lies in no room may use all of them

    def add_public(self, folder, room, name):
        for path in (ROOT / folder / "include").glob(f"*/{name}"):
            relative = str(path.relative_to(ROOT))
            self.public["/".join(path.parts[-2:])] = relative
            self.add(relative, folder, room)

    def add(self, path, folder, room):
        if path in self.room_of:
            self.problems.append(f"{path}: listed twice")
        self.room_of[path] = (folder, room)

    def get_room(self, path):
        """The room of a product's file; files beside the rooms belong to the library as a whole."""
        return self.room_of.get(path) or ("/".join(path.split("/")[:2]), ".")

    def find(self, path, name):
        """The files that `name` may mean in `path`: public ones, of the library, or beside the file."""
        library = "/".join(path.split("/")[:2])
        candidates = [self.public.get(name), f"{library}/{name}", f"{pathlib.PurePath(path).parent}/{name}"]
        candidates += [f"{library}/tests/{name}", f"tests/{name}"]
        return {os.path.normpath(c) for c in candidates if c and (ROOT / c).is_file()}


def is_test(path):
    return bool(re.search(r"(^|/)tests/", path))


def is_product(path):
    return not is_test(path) and not re.search("/(benchmarks|fuzzers)/", path)


def check_test_header_names(paths):
    """Yields a problem for each name that two headers of tests share."""
    by_name = collections.defaultdict(list)
    for path in paths:
        if is_test(path) and path.endswith(".h"):
            by_name[pathlib.PurePath(path).name].append(path)
    for same in by_name.values():
        if len(same) > 1:
            yield f"{', '.join(same)}: test headers have names of their own"


def may_test_include(here, there, path, libraries):
    """Whether a test of the library `here` may include the file `path`, which belongs to `there`."""
    if there == here or path.startswith("tests/support/"):
        return True
    is_public = "/include/" in path
    return is_public and (here not in libraries or libraries.index(there) < libraries.index(here))


def main():
    rooms = Rooms()
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "Libraries", "Applications",
                             "tests/support"], cwd=ROOT, check=True, capture_output=True, text=True).stdout.split()
    uses = collections.Counter()
    rank = {room: index for index, room in enumerate(rooms.order)}
    libraries = list(dict.fromkeys(library for library, room in rooms.order))
    listed = [p for p in listed if p.endswith((".h", ".cpp")) and (ROOT / p).is_file()]
    rooms.problems += check_test_header_names(listed)
    for path in listed:
        if path.startswith("Libraries/") and is_product(path) and path not in rooms.room_of:
            rooms.problems.append(f"{path}: no orvantis_room() lists it")
        here = rooms.get_room(path)
        for name in INCLUDE.findall((ROOT / path).read_text()):
            found = rooms.find(path, name)
            if len(found) != 1:
                if is_product(path) or is_test(path) or found:
                    rooms.problems.append(f'{path}: "{name}" names {len(found)} files {sorted(found)}')
                continue
            target = found.pop()
            there = rooms.get_room(target)
            if is_test(path) and not may_test_include(here[0], there[0], target, libraries):
                rooms.problems.append(f'{path}: "{name}" is {target}, which these tests have no part in')
            if is_product(path) and is_test(target):
                rooms.problems.append(f'{path}: "{name}" is a header of tests')
            if not is_product(path) or here == there:
                continue
            uses[here, there] += 1
            if there not in rank or here not in rank or rank[there] > rank[here]:
                rooms.problems.append(f'{path}: "{name}" lies in {"/".join(there)}, above {"/".join(here)}')
    if "--table" in sys.argv[1:]:
        for (here, there), count in sorted(uses.items(), key=lambda use: [rank.get(room, -1) for room in use[0]]):
            print(f'{"/".join(here):40} {"/".join(there):40} {count}')
        return 0
    print("\n".join(rooms.problems) or "Includes point one way.")
    return 1 if rooms.problems else 0


if __name__ == "__main__":
    sys.exit(main())
