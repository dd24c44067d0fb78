"""What the report knows: the times of all rounds, joined by workload and size, held to targets."""

import csv
import json
import re
from dataclasses import dataclass, field
from statistics import median


@dataclass(frozen=True)
class Target:
    """A line of targets.csv: what ours may cost at most, as a multiple of what it is held against.

    `against` is one of
      best          the fastest peer; a bound is no peer
      a pattern     the fastest of the peers or bounds whose whole name it matches
      ours@SIZE     ours at another size, for what must not grow or must grow in proportion
      counter:NAME  nothing: `ratio` is the highest value that the counter may have
    """

    workload: str  # these two are patterns for the whole name, like `against`
    size: str
    against: str
    ratio: float
    reason: str = ""  # why the design cannot reach it, where that is so

    def covers(self, workload, size):
        return bool(re.fullmatch(self.workload, workload) and re.fullmatch(self.size, str(size)))


def read_targets(lines):
    kept = (line for line in lines if line.strip() and not line.startswith("#"))
    return [
        Target(t["workload"], t["size"], t["against"], float(t["ratio"]), t["reason"] or "")
        for t in csv.DictReader(kept)
    ]


def parse_name(name):
    """(workload, peer, size) of `workload/peer/size`, None of any other name. What Google Benchmark
    adds behind it, such as "/iterations:1", is left out."""
    parts = name.split("/")
    if len(parts) < 3 or not parts[2].isdigit() or not all(":" in part for part in parts[3:]):
        return None
    return parts[0], parts[1], int(parts[2])


_NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


class Results:
    """`times[workload, size][peer]` is a list of nanoseconds, one per round in the order of the
    rounds; `counters[workload, size][name]` is what is counted of ours per operation."""

    def __init__(self):
        self.times = {}
        self.counters = {}
        self.absent_peers = set()

    def add_run(self, text):
        """Takes in the JSON that one run of a program wrote; nothing when no name was selected."""
        if not text.strip():
            return
        run = json.loads(text)
        self.absent_peers.update(run["context"].get("absent_peers", "").split())
        for entry in run["benchmarks"]:
            if "error_occurred" in entry and entry["error_occurred"]:
                raise ValueError(f"{entry['name']}: {entry['error_message']}")
            name = parse_name(entry["name"])
            if not name:
                raise ValueError(f"{entry['name']}: the name is not workload/peer/size")
            self._add_entry(*name, entry)

    def _add_entry(self, workload, peer, size, entry):
        # Time on the processor: what other processes take away meanwhile does not count.
        time = entry["cpu_time"] * _NANOSECONDS[entry["time_unit"]]
        self.times.setdefault((workload, size), {}).setdefault(peer, []).append(time)
        if peer == "ours":
            counted = {key: value for key, value in entry.items() if key not in _GOOGLES_KEYS}
            self.counters.setdefault((workload, size), {}).update(counted)

    def add_counts(self, text):
        """Takes in what vq_bench_counts wrote: lines of name, allocations and atomic operations."""
        for line in text.splitlines():
            name, allocs, atomics = line.split("\t")
            workload, peer, size = parse_name(name)
            if peer != "ours":
                continue  # a bound that is built from the library's parts
            counters = self.counters.setdefault((workload, size), {})
            counters.update(allocs=float(allocs), atomics=float(atomics))


_GOOGLES_KEYS = {
    "name", "family_index", "per_family_instance_index", "run_name", "run_type", "repetitions",
    "repetition_index", "threads", "iterations", "real_time", "cpu_time", "time_unit",
    "bytes_per_second", "items_per_second", "label", "error_occurred", "error_message",
}  # fmt: skip


def ratio_of(ours, others):
    """The median over the rounds of the ratio within a round. The two were measured within seconds
    of each other there, so that a machine that is slower for a while slows both of them; a ratio of
    medians would set one's good rounds beside the other's bad ones."""
    return median(a / b for a, b in zip(ours, others))


@dataclass
class Limit:
    """A target that covers a row, and how the row stands to it."""

    target: Target
    against: str  # the name of what was taken
    ratio: float | None = None  # None: nothing there to compare with
    allowed: float | None = None  # nanoseconds, where the limit is a time

    @property
    def met(self):
        return None if self.ratio is None else self.ratio <= self.target.ratio

    @property
    def strain(self):
        """1 is just within the limit; the higher the worse."""
        if self.ratio is None:
            return 0.0
        if self.target.ratio == 0:
            return float("inf") if self.ratio > 0 else 0.0
        return self.ratio / self.target.ratio


@dataclass
class Row:
    workload: str
    size: int
    ours: float | None = None  # nanoseconds, like all times
    best: str | None = None
    best_time: float | None = None
    ratio: float | None = None
    bounds: dict = field(default_factory=dict)  # {name: how many times as much ours is}
    limits: list = field(default_factory=list)

    @property
    def name(self):
        return f"{self.workload}/{self.size}"

    @property
    def strain(self):
        return max((limit.strain for limit in self.limits), default=0.0)

    @property
    def status(self):
        if self.ours is None:
            return "not ours"
        known = [limit.met for limit in self.limits if limit.met is not None]
        if not known:
            return "no limit" if not self.limits else "unknown"
        return "met" if all(known) else "MISSED"


def is_bound(peer):
    return peer.startswith("bound.")


def fastest(times, accepts):
    """The peer with the least median time among those accepted, None when there is none."""
    candidates = [peer for peer in times if peer != "ours" and accepts(peer)]
    return min(candidates, key=lambda peer: median(times[peer]), default=None)


def judge(results, target, workload, size):
    times = results.times[workload, size]
    ours = times["ours"]
    kind, _, name = target.against.partition(":")
    if kind == "counter":
        value = results.counters.get((workload, size), {}).get(name)
        return Limit(target, name, value)
    if target.against.startswith("ours@"):
        others = results.times.get((workload, int(target.against[5:])), {}).get("ours")
        taken = target.against
    else:
        accepts = (
            (lambda peer: not is_bound(peer))
            if target.against == "best"
            else (lambda peer: re.fullmatch(target.against, peer))
        )
        taken = fastest(times, accepts)
        others = times.get(taken)
    if not others:
        return Limit(target, target.against)
    return Limit(target, taken, ratio_of(ours, others), target.ratio * median(others))


def row_of(results, targets, workload, size):
    times = results.times[workload, size]
    row = Row(workload, size)
    row.best = fastest(times, lambda peer: not is_bound(peer))
    if row.best:
        row.best_time = median(times[row.best])
    if "ours" in times:
        row.ours = median(times["ours"])
        if row.best:
            row.ratio = ratio_of(times["ours"], times[row.best])
        row.bounds = {
            peer: ratio_of(times["ours"], times[peer]) for peer in sorted(times) if is_bound(peer)
        }
        row.limits = [
            judge(results, target, workload, size)
            for target in targets
            if target.covers(workload, size)
        ]
    return row


def rows_of(results, targets):
    """All rows, worst first: by how far a row goes beyond the limit that it strains most, and
    where no limit is, by how it compares with the best peer."""
    rows = [row_of(results, targets, *key) for key in results.times]
    return sorted(rows, key=lambda row: (-row.strain, -(row.ratio or 0), row.workload, row.size))


def targets_without_rows(results, targets):
    ours = [key for key, times in results.times.items() if "ours" in times]
    return [target for target in targets if not any(target.covers(*key) for key in ours)]
