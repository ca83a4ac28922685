"""A copy of the tree in which all mutations are compiled behind a switch."""
import re
import shutil
import subprocess

from . import plan

# Warnings are off: what is planted is meant to look wrong. Narrowing would be an error.
_FLAGS = "-w -Wno-narrowing -include {switch}"
_OPTIMISED = "-O1 -g0"  # quick to build and to run; assertions stay


class Tree:
    def __init__(self, root, folder, preset):
        self._root = root
        self.folder = folder
        self._preset = preset
        self.build_folder = folder / "build" / preset

    def write(self, mutations):
        """Brings the copy up to date. Files that stay as they are keep their times, and need no compiling."""
        by_path = {}
        for mutation in mutations:
            by_path.setdefault(mutation.path, []).append(mutation)
        files = plan.list_files(self._root)
        for path in files:
            data = (self._root / path).read_bytes()
            if path in by_path:
                data = plan.plant(data.decode(), by_path[path]).encode()
            target = self.folder / path
            if not target.is_file() or target.read_bytes() != data:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(data)
                shutil.copymode(self._root / path, target)
        for gone in set(self._list_copies()) - set(files):
            (self.folder / gone).unlink()
        external = self.folder / "external"
        if not external.exists():
            external.symlink_to((self._root / "external").resolve())

    def _list_copies(self):
        for path in self.folder.rglob("*"):
            name = str(path.relative_to(self.folder))
            if path.is_file() and not name.startswith(("build/", "external")):
                yield name

    def configure(self):
        flags = _FLAGS.format(switch=self.folder / "tools/mutation/switch.h")
        subprocess.run(["cmake", "--preset", self._preset, "-D", "CMAKE_COMPILE_WARNING_AS_ERROR=OFF",
                        "-D", f"CMAKE_CXX_FLAGS={flags}", "-D", f"CMAKE_CXX_FLAGS_RELWITHDEBINFO={_OPTIMISED}",
                        "-D", f"CMAKE_CXX_FLAGS_DEBUG={_OPTIMISED}"],
                       cwd=self.folder, check=True, stdout=subprocess.DEVNULL)

    def build(self, programs, mutations):
        """Builds test programs and returns the mutations that had to be left out for it."""
        dropped = []
        while True:
            self.write([mutation for mutation in mutations if mutation not in dropped])
            command = ["cmake", "--build", self.build_folder, "--target", *programs, "--", "-k", "0"]
            build = subprocess.run(command, cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   text=True, errors="replace")
            if build.returncode == 0:
                return dropped
            left = sorted((m for m in mutations if m not in dropped), key=lambda m: m.first_line)
            culprits = _find_culprits(build.stdout, left)
            if not culprits:
                raise SystemExit(build.stdout[-4000:] + "\nmutate: the copy does not build, whatever is planted")
            print(f"{len(culprits)} do not compile behind the switch", flush=True)
            dropped += culprits


def _find_culprits(output, mutations):
    """The mutations at which the compiler finds errors; or those that it mentions around an error elsewhere, or
    the last one above it."""
    at_line = {(mutation.path, line): mutation for mutation in mutations
               for line in range(mutation.first_line, mutation.last_line + 1)}
    places = [(match[1], int(match[2]), match[3]) for match in re.finditer(
        r"((?:Libraries|Applications)/[^:\s]+):(\d+)(.*: (?:fatal )?error: )?", output)]
    errors = [index for index, place in enumerate(places) if place[2]]
    culprits = {}
    for before, index, after in zip([-1, *errors], errors, [*errors[1:], len(places)]):
        path, line, _ = places[index]
        around = [at_line[place[:2]] for place in places[before + 1:after] if place[:2] in at_line]
        above = [mutation for mutation in mutations if mutation.path == path and mutation.first_line <= line]
        found = [at_line[path, line]] if (path, line) in at_line else around or above[-1:]
        culprits.update((mutation.number, mutation) for mutation in found)
    return list(culprits.values())
