"""Runs tests with mutations switched on, where what they break can do no harm."""
import dataclasses
import functools
import hashlib
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import time
import typing

# All but the test's own folder, which /tmp is too, is read-only: a mutated program may write and delete anything.
_CONFINE = ('mount --bind "$0" "$0" && mount -o remount,bind,ro / && cd "$0" && '
            'case $0 in /tmp/*) ;; *) mount --bind "$0" /tmp ;; esac && exec "$@"')
_TEST = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\(\s*(\w+)", re.MULTILINE)
LONGEST = 600  # seconds that a test may take without a mutation


@dataclasses.dataclass
class Test:
    program: "Program"
    name: str
    source: str  # of its suite, relative to the tree
    seconds: float = 0
    skipped: int = 0     # 1 if it does not find what it needs without a mutation
    reached: tuple = ()  # numbers of mutations


@dataclasses.dataclass(frozen=True)
class Program:
    name: str
    library: str  # the folder of what it tests, such as Libraries/libkernel


class Result(typing.NamedTuple):
    failed: str      # the first test that failed; empty if none did
    seconds: float
    skipped: int     # tests that did not find what they need
    reached: tuple   # numbers of mutations


def find_programs(folder):
    """The test programs of a tree, in the order of its libraries."""
    order = re.findall(r"add_subdirectory\((\S+)\)", (folder / "CMakeLists.txt").read_text())
    programs = []
    for library in order:
        for lists in sorted((folder / library).rglob("CMakeLists.txt")):
            for kind, name in re.findall(r"^\s*orvantis_test(s|_program)\((\w+)", lists.read_text(), re.MULTILINE):
                programs.append(Program(name + ("Tests" if kind == "s" else ""), library))
    return programs


class Runner:
    def __init__(self, tree, preset, scratch):
        self._tree = tree
        self._scratch = scratch
        self._is_sanitized = preset not in ("dev", "release")
        presets = json.loads((tree.folder / "CMakePresets.json").read_text())["testPresets"]
        environment = next(p for p in presets if p["name"] == preset).get("environment", {})
        self._environment = {name: value.replace("${sourceDir}", str(tree.folder))
                             for name, value in environment.items()}
        shutil.rmtree(scratch, ignore_errors=True)
        scratch.mkdir(parents=True)

    def run(self, program, names, number, limit):
        """Runs tests until one fails, with a mutation: 0 for none, -1 to note which ones are reached."""
        home = pathlib.Path(tempfile.mkdtemp(dir=self._scratch))
        try:
            return self._run_in(home, program, names, number, limit)
        finally:
            shutil.rmtree(home, ignore_errors=True)

    def _run_in(self, home, program, names, number, limit):
        (home / "flags").write_text("--gtest_filter=" + ":".join(names) + "\n--gtest_fail_fast\n")
        environment = {**os.environ, **self._environment, "ORVANTIS_MUTANT": str(number),
                       "ORVANTIS_MUTANT_NOTES": str(home / "notes"), "HOME": str(home),
                       **dict.fromkeys(("TMPDIR", "TEST_TMPDIR"), str(home))}
        environment.pop("XDG_CACHE_HOME", None)
        unshare = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])
        command = [*unshare, "sh", "-c", _CONFINE, home, self._find(program, home), f"--gtest_flagfile={home}/flags"]
        start = time.monotonic()
        with (home / "output").open("w") as output:
            process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=self._limit)
        try:
            is_passed = process.wait(limit) == 0
        except subprocess.TimeoutExpired:
            is_passed = False
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)  # with what it started
            except ProcessLookupError:
                pass
            process.wait()
        seconds = time.monotonic() - start
        output = (home / "output").read_text(errors="replace")
        failed = "" if is_passed else _find_failure(output) or program.name
        skipped = len(re.findall(r"^\[  SKIPPED \] .* \(", output, re.MULTILINE))
        notes = home / "notes"
        reached = {int(line) for line in notes.read_text().split()} if notes.exists() else set()
        return Result(failed, seconds, skipped, tuple(sorted(reached)))

    def _find(self, program, home):
        """The program; or, if it has a folder of its own, which its tests change, a copy of that."""
        path = self._path(program)
        if path.parent == self._tree.build_folder / "bin":
            return path
        return shutil.copytree(path.parent, home / "bin", symlinks=True) / path.name

    @functools.cache
    def _path(self, program):
        return next(path for path in self._tree.build_folder.rglob(program.name) if path.is_file())

    def _limit(self):
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (2 << 30, 2 << 30))
        if not self._is_sanitized:  # sanitizers reserve terabytes
            resource.setrlimit(resource.RLIMIT_AS, (16 << 30, 16 << 30))

    def list_tests(self, program):
        sources = {}
        for path in sorted((self._tree.folder / program.library).rglob("tests/**/*.cpp")):
            for suite in _TEST.findall(path.read_text()):
                sources.setdefault(suite, str(path.relative_to(self._tree.folder)))
        command = [self._path(program), "--gtest_list_tests"]
        output = subprocess.run(command, check=True, capture_output=True, text=True)
        tests, suite = [], ""
        for line in output.stdout.splitlines():
            name = line.split("#")[0].rstrip()
            if line.startswith("  "):
                parts = set(suite.rstrip(".").split("/"))
                source = next((source for known, source in sources.items() if known in parts), "")
                tests.append(Test(program, suite + name.strip(), source))
            elif name.endswith("."):
                suite = name.strip()
        return tests

    def fingerprint(self, program):
        """Changes when the program or a library does."""
        digest = hashlib.sha256()
        for path in [self._path(program), *sorted((self._tree.build_folder / "lib").glob("lib*.so"))]:
            digest.update(path.read_bytes())
        return digest.hexdigest()


def _find_failure(output):
    """The first test that failed, or the one that was cut short."""
    failed = re.search(r"^\[  FAILED  \] ([^\s,]+)", output, re.MULTILINE)
    started = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    return failed[1] if failed else started[-1] if started else ""


def rank(test, mutation):
    """How far a test lies from a mutation: 0 for its file's, 1 for its folder's, 2 for its library's."""
    if test.program.library != mutation.library:
        return 3
    path, source = pathlib.PurePath(mutation.path), pathlib.PurePath(test.source)
    if source.stem == path.stem + "Test":
        return 0
    folder = path.relative_to(mutation.library).parent
    return 1 if folder.parts and source.parent == pathlib.PurePath(mutation.library, "tests", folder) else 2


def make_batch(tests):
    """What Runner.run() needs to run tests of one program together."""
    return tests[0].program, [test.name for test in tests], 3 * sum(test.seconds for test in tests) + 10
