#!/usr/bin/env python3
"""Prints one table of the pixel benchmarks. Usage: bench_table.py RESULTS.json...

The results are those of Google Benchmark, in JSON, of runs on one thread and on more; repetitions of a
case are pooled over all files. Times are medians in milliseconds: of processor time for one thread, by
the clock for more. "exact" is a difference from the definition that its tolerance allows. A row is
marked "over" if it takes longer than 1.25 times the work by hand, than the best exact peer, or than 1.05
times the library that does our work.
"""
import collections
import json
import statistics
import sys

BY_HAND_BOUND = 1.25
CALL = 0.002  # milliseconds that a run may cost beyond its pixels
WRAPPED_BOUND = 1.05  # beside the library that does our work
WRAPPED = {"lcms2", "libjpeg-turbo", "libpng"}
OURS, BY_HAND = "ours", "hand-written"
HEADINGS = ("row", "ours", "by hand", "ratio", "best exact peer", "ms", "ratio", "memory", "exactness", "threads", "ms",
            "speed-up", "")


class Case:
    """All repetitions of one contender at one size of a row."""

    def __init__(self, runs, threads):
        clock = "cpu_time" if threads == 1 else "real_time"
        self.time = statistics.median(run[clock] for run in runs)
        self.bytes = runs[0]["bytes_per_second"] * runs[0]["real_time"] / 1e3
        self.difference = runs[0].get("difference")
        self.is_exact = self.difference is not None and self.difference <= runs[0]["tolerance"]

    def describe(self):
        if self.difference is None:
            return "not checked"
        if self.difference == 0:
            return "exact"
        return f"{'within' if self.is_exact else 'OFF by'} {self.difference:.2g}"


def read(paths):
    """The cases by (row and size), threads and contender."""
    runs = collections.defaultdict(list)
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for run in json.loads(text)["benchmarks"] if text else ():
            if run["run_type"] == "iteration" and "/threads:" in run["run_name"]:
                runs[tuple(run["run_name"].split("/")[:4])].append(run)
    cases = collections.defaultdict(lambda: collections.defaultdict(dict))
    for (row, contender, size, threads), repetitions in runs.items():
        count = int(threads.removeprefix("threads:"))
        cases[f"{row} {size}"][count][contender] = Case(repetitions, count)
    return cases


def compare(ours, other):
    return (f"{other.time:.3g}", f"{ours.time / other.time:.2f}") if other else ("", "")


def get_cells(name, threads, copy):
    one = threads[1]
    ours, by_hand = one.get(OURS), one.get(BY_HAND)
    peers = {peer: case for peer, case in one.items() if peer not in (OURS, BY_HAND) and case.is_exact}
    best = min(peers, key=lambda peer: peers[peer].time, default="")
    is_over = not ours.is_exact and ours.difference is not None
    is_over |= by_hand is not None and ours.time > BY_HAND_BOUND * by_hand.time + CALL
    is_over |= best != "" and ours.time > (WRAPPED_BOUND if best in WRAPPED else 1) * peers[best].time
    memory = f"{ours.bytes / ours.time / (copy.bytes / copy.time):.0%}" if copy else ""
    most = max(threads)
    many = threads[most].get(OURS) if most > 1 else None
    speed_up = (str(most), f"{many.time:.3g}", f"{ours.time / many.time:.2f}") if many else ("", "", "")
    return (name, f"{ours.time:.3g}", *compare(ours, by_hand), best, *compare(ours, peers.get(best)), memory,
            ours.describe(), *speed_up, "over" if is_over else "")


def main():
    cases = read(sys.argv[1:])
    copy = next((threads[1].get(BY_HAND) for name, threads in cases.items() if name.startswith("Copy ")), None)
    table = [HEADINGS]
    table += [get_cells(name, threads, copy) for name, threads in sorted(cases.items()) if OURS in threads[1]]
    widths = [max(map(len, column)) for column in zip(*table)]
    for cells in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(cells, widths)).rstrip())
    print("\nPeers that are not exact, milliseconds and difference")
    for name, threads in sorted(cases.items()):
        for peer, case in sorted(threads[1].items()):
            if OURS in threads[1] and case.difference and (peer != OURS or name.startswith("Turn")):
                print(f"{name:30} {peer:14} {case.time:8.3g} {case.difference:8.2g}")


if __name__ == "__main__":
    main()
