"""Chooses mutations by a seed: the same sources and seed give the same ones."""
import dataclasses
import random
import re
import subprocess

from . import candidates

SPARE = 1.15  # some don't compile behind the switch


@dataclasses.dataclass
class Mutation:
    number: int
    path: str
    first_line: int
    last_line: int
    before: str  # whole lines without their indentation
    after: str
    candidate: candidates.Candidate

    @property
    def kind(self):
        return self.candidate.kind

    @property
    def library(self):
        return "/".join(self.path.split("/")[:2])

    @property
    def key(self):
        return f"{self.path}:{self.first_line}: {self.kind}: {self.before} -> {self.after}"


def list_files(root):
    """What git knows or would add, with changes that are not committed."""
    command = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    names = subprocess.run(command, cwd=root, check=True, capture_output=True, text=True).stdout.split("\0")
    return sorted(name for name in set(names) if name and (root / name).is_file())


def choose(root, seed, count, places):
    """Mutations of product code in `places`, which are parts of its tree; more than `count` of them."""
    sources = {}
    for path in list_files(root):
        is_product = re.match(r"(?:Libraries|Applications)/.*\.(?:cpp|h)$", path) and \
            not re.search(r"/(?:tests|testing|benchmarks)/|[Ww]indows|/Testing\.h$", path)
        is_wanted = not places or any((path + "/").startswith(place.rstrip("/") + "/") for place in places)
        if is_product and is_wanted:
            text = (root / path).read_text()
            found = candidates.find(text)
            if found:
                sources[path] = (text, found)
    chooser = random.Random(seed)
    paths = list(sources)
    weights = [text.count("\n") for text, _ in sources.values()]
    mutations, lines_taken = [], set()
    wanted = int(count * SPARE) + 5
    for _ in range(20 * wanted):
        if not paths or len(mutations) == wanted:
            break
        path = chooser.choices(paths, weights)[0]
        text, found = sources[path]
        # By kind first: locks are rare and constants are not.
        kind = chooser.choice(sorted({candidate.kind for candidate in found}))
        candidate = chooser.choice([candidate for candidate in found if candidate.kind == kind])
        mutation = _describe(len(mutations) + 1, path, text, candidate)
        lines = {(path, line) for line in range(mutation.first_line, mutation.last_line + 1)}
        if not lines & lines_taken:  # the compiler names lines
            lines_taken |= lines
            mutations.append(mutation)
    return mutations


def _describe(number, path, text, candidate):
    begin = text.rfind("\n", 0, candidate.begin) + 1
    end = text.find("\n", candidate.end)
    before = text[begin:end]
    after = text[begin:candidate.begin] + (candidate.mutated or "/* dropped */") + text[candidate.end:end]
    return Mutation(number, path, text.count("\n", 0, candidate.begin) + 1, text.count("\n", 0, candidate.end) + 1,
                    " ".join(before.split()), " ".join(after.split()), candidate)


def plant(text, mutations):
    """The text of a source with its mutations behind the switch, line by line where it was."""
    for mutation in sorted(mutations, key=lambda m: -m.candidate.begin):
        candidate = mutation.candidate
        switched = candidate.switched.replace("@", f"::Mutation::Is({mutation.number})")
        text = text[:candidate.begin] + switched + text[candidate.end:]
    return text
