#!/usr/bin/env python3
"""Plants one realistic fault at a time and asks the tests whether they notice.

    tests/faults/plant.py --list                        the faults and where they are now
    tests/faults/plant.py TREE --label unit             unit tests; server and display likewise
    tests/faults/plant.py TREE --summary                what was found so far, and what was not

TREE is a git worktree of its own, with a configured build directory in it: sources are changed and
restored there. A fault is found when a test fails, fails again on its own, and passes without the
fault. Later labels look only at what earlier ones did not find. Results are appended to a file, so
a run may be interrupted and goes on where it was. faults.txt explains the table.
"""

import argparse
import collections
import pathlib
import random
import re
import shlex
import signal
import subprocess
import sys
import time
from typing import List, NamedTuple

HERE = pathlib.Path(__file__).resolve().parent
LABELS = ("unit", "server", "display")
# Which unit tests can notice a fault of an area; those of its own folder come first.
UNIT = {
    "audio": "audio",
    "dsp": "dsp|app|cli|ui|audio",
    "gfx": "gfx|ui",
    "ui": "ui",
    "platform": "platform|ui",
    "app": "app|cli|ui|audio",
    "crash": "crash|cli",
    "curves": "curves|ui",
    "i18n": "i18n|ui|gfx|cli",
    "posix": "posix|app|crash|cli|audio",
    "desktop": "desktop|ui|cli",
}
SERVER = ("audio", "dsp", "app", "crash")  # the others are not asked: no server test shows the window


class Fault(NamedTuple):
    name: str
    file: str
    what: str
    old: str
    new: str

    @property
    def area(self):
        return self.file.split("/")[0]


def read_faults(path) -> List[Fault]:
    faults = []
    for block in re.split(r"^@ ", path.read_text(encoding="utf-8"), flags=re.M)[1:]:
        lines = block.split("\n====")[0].rstrip("\n").split("\n")
        name, file = lines[0].split()
        old, new = ("\n".join(line[1:] for line in lines[2:] if line.startswith(sign)) for sign in "-+")
        faults.append(Fault(name, file, lines[1], old, new))
    assert len({fault.name for fault in faults}) == len(faults), "a name is there twice"
    return faults


def planted(fault, text) -> str:
    """The source with the fault in it. The old text may be wrapped differently by now."""
    pattern = r"\s+".join(map(re.escape, fault.old.split()))
    found = list(re.finditer(pattern, text))
    if len(found) != 1:
        raise LookupError(f"{fault.name}: {len(found)} places in {fault.file}")
    return text[: found[0].start()] + fault.new.strip() + text[found[0].end() :]


class Lab:
    def __init__(self, options):
        self.tree = options.tree
        self.build = options.tree / options.build
        self.options = options
        self.marker = self.build / "planted.txt"
        self.output = self.build / "planted.log"
        if self.marker.exists():  # an earlier run was killed
            self.run("git", "checkout", "--", self.marker.read_text())
            self.marker.unlink()
        if self.run("git", "status", "--porcelain", "src").stdout:
            sys.exit(f"{self.tree}/src has changes of its own")

    def run(self, *command, where=None):
        result = subprocess.run(
            [str(word) for word in command], cwd=where or self.tree, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace", check=False,
        )
        with self.output.open("a", encoding="utf-8") as log:
            log.write(f"$ {shlex.join(map(str, command))}\n{result.stdout}\n")
        return result

    def compile(self):
        targets = ["--target", *self.options.targets] if self.options.targets else []
        return self.run(*self.options.build_with, "cmake", "--build", self.build, *targets).returncode == 0

    def failures(self, label, only, skip=()):
        """Names of the tests that fail, at least one of them where any does."""
        arguments = ["-L", f"^{label}$", "-R", only, "-j2", "--stop-on-failure", "--no-tests=ignore"]
        if skip:
            arguments += ["-E", "^(" + "|".join(map(re.escape, skip)) + ")$"]
        wrapper = self.options.build_with if label == "unit" else self.options.test_with
        log = self.build / "Testing/Temporary/LastTestsFailed.log"
        log.unlink(missing_ok=True)
        if self.run(*wrapper, "ctest", *arguments, where=self.build).returncode == 0:
            return []
        return [line.split(":", 1)[1] for line in log.read_text().splitlines()] if log.exists() else ["?"]

    def ask(self, label, fault, skip):
        """The test that finds the fault, or an empty string."""
        steps = [self.options.tests or "."]
        if label == "unit" and not self.options.tests:
            steps = [rf"^({first})\." for first in (fault.area, UNIT.get(fault.area, fault.area))]
        skip = list(skip)
        for only in steps:
            while failed := self.failures(label, only, skip):
                again = [name for name in failed if self.failures(label, f"^{re.escape(name)}$")]
                if again:
                    return again[0]
                skip += failed  # once only: nothing that a maintainer would act on
        return ""

    def measure(self, label, fault, skip):
        """(outcome, test) of one fault, which is gone again afterwards."""
        source = self.tree / "src" / fault.file
        healthy = source.read_text(encoding="utf-8")
        try:
            sick = planted(fault, healthy)
        except LookupError as error:
            return "lost", str(error)
        self.marker.write_text(f"src/{fault.file}")
        try:
            source.write_text(sick, encoding="utf-8")
            if not self.compile():
                return "build", ""
            test = self.ask(label, fault, skip)
            return ("found", test) if test else ("survived", "")
        finally:
            source.write_text(healthy, encoding="utf-8")
            self.marker.unlink()

    def without_faults(self, label):
        """Tests that fail on the healthy tree: they prove nothing."""
        if not self.compile():
            sys.exit(f"the tree does not build: see {self.output}")
        broken = []
        while failed := self.failures(label, self.options.tests or ".", broken):
            broken += failed
        return broken


def read_results(path):
    """{fault: {label: (outcome, test)}}; later lines count."""
    results = collections.defaultdict(dict)
    if path.exists():
        for line in path.read_text(encoding="utf-8").splitlines():
            name, label, outcome, test = line.split("\t")[:4]
            results[name][label] = (outcome, test)
    return results


def note(path, *columns):
    line = "\t".join(columns)
    print(line, flush=True)
    with path.open("a", encoding="utf-8") as out:
        out.write(line + "\n")


def outcome_of(result):
    """(label, test) that found it, else what is known of it."""
    for label in LABELS:
        if result.get(label, ("",))[0] == "found":
            return label, result[label][1]
    asked = [label for label in LABELS if result.get(label, ("",))[0] == "survived"]
    return ("survives " + "+".join(asked), "") if asked else ("not measured", "")


def summary(faults, results):
    outcomes = {fault.name: outcome_of(results[fault.name]) for fault in faults}
    rows = collections.defaultdict(collections.Counter)
    for fault in faults:
        for area in (fault.area, "all"):
            rows[area][outcomes[fault.name][0]] += 1
            rows[area]["faults"] += 1
    columns = ["faults", *LABELS, *sorted({kind for kind, _ in outcomes.values()} - set(LABELS))]
    print("\t".join(["area".ljust(8), *columns]))
    for area in sorted(rows, key=lambda area: (area == "all", area)):
        print("\t".join([area.ljust(8), *(str(rows[area][column]) for column in columns)]))
    for fault in faults:
        if outcomes[fault.name][0] not in LABELS:
            print(f"{outcomes[fault.name][0]}: {fault.file} {fault.name}: {fault.what}")


def list_places(faults, root):
    lost = 0
    for fault in faults:
        try:
            planted(fault, (root / "src" / fault.file).read_text(encoding="utf-8"))
            print(f"{fault.file}\t{fault.name}\t{fault.what}")
        except (LookupError, OSError) as error:
            lost += 1
            print(f"{fault.file}\t{fault.name}\tLOST: {error}")
    print(f"{len(faults)} faults, {lost} without a place")
    return 1 if lost else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tree", nargs="?", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("--label", choices=LABELS)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--summary", action="store_true")
    parser.add_argument("--only", default=".", metavar="REGEX", help="faults whose file and name match")
    parser.add_argument("--sample", type=int, metavar="N", help="N of them by chance, always the same")
    parser.add_argument("--limit", type=int, metavar="N", help="no more than N of them in this run")
    parser.add_argument("--tests", metavar="REGEX", help="only these tests")
    parser.add_argument("--build", default="build-dev", help="build directory in the tree")
    parser.add_argument("--targets", nargs="*", help="what is built, everything by default")
    parser.add_argument("--results", type=pathlib.Path, default=pathlib.Path("faults.tsv"))
    parser.add_argument("--build-with", type=shlex.split, default=[], help="put before build and unit tests")
    parser.add_argument("--test-with", type=shlex.split, default=[], help="put before the other tests")
    options = parser.parse_args()
    faults = [f for f in read_faults(HERE / "faults.txt") if re.search(options.only, f"{f.file} {f.name}")]
    if options.list:
        return list_places(faults, options.tree or HERE.parents[1])
    results = read_results(options.results)
    if options.summary or not options.label:
        summary(faults, results)
        return 0

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # restores on the way out
    signal.signal(signal.SIGHUP, lambda *_: sys.exit(1))
    label = options.label
    earlier = LABELS[: LABELS.index(label)]
    asked = [
        fault for fault in faults
        if not any(results[fault.name].get(before, ("",))[0] == "found" for before in earlier)
        and (label != "server" or fault.area in SERVER)
    ]
    if options.sample is not None:
        asked = random.Random(1).sample(asked, min(options.sample, len(asked)))
    open_faults = [fault for fault in asked if label not in results[fault.name]]
    lab = Lab(options)
    if label not in results["-"]:
        broken = " ".join(lab.without_faults(label))
        results["-"][label] = ("healthy", broken)
        note(options.results, "-", label, "healthy", broken)
    broken = results["-"][label][1].split()
    print(f"{len(open_faults)} faults to ask; failing without any: {broken or 'none'}", flush=True)
    for fault in open_faults[: options.limit]:
        began = time.monotonic()
        outcome, test = lab.measure(label, fault, broken)
        note(options.results, fault.name, label, outcome, test, f"{time.monotonic() - began:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
