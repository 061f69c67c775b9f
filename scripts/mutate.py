#!/usr/bin/env python3
"""Makes small faults in the conversions, one at a time, and tells how many of them the tests catch.

Works on copies of the tree in build/mutate, one for each job, so nothing of yours changes. A fault that does not compile, or compiles to
the same program, is none. Prints each survivor as place, change and line; those are to be looked at.
Usage: scripts/mutate.py [--count 200] [--seed 1] [--jobs 2] [--files REGEX]
"""
import argparse, hashlib, os, random, re, resource, shutil, subprocess, threading
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDERS = r"(range_to_cloud|cloud_to_range|range_to_image|image_to_range|shapes|posture|retype|numeric|data/services)\w*/.*\.(cpp|h)$"
SWAPS = ["Width|Height", "width|height", "cols|rows", "row|column", r"\.X\(\)|.Y()", "ResolutionX|ResolutionY",
         "resolutionX|resolutionY", "OffsetX|OffsetY", "offsetX|offsetY", "min|max", "low|high", "true|false",
         "minimum|maximum", "first|last", " \\+ | - ", " \\* | / ", " < | <= ", " > | >= ", " == | != ", r" && | || ",
         r" \+= | -= ", "floor|ceil", "begin|end"]
# Lines that decide how fast a result comes and not what it is: a change there is no fault.
SPEED = (r"kTileCells|kMostReads|[wW]orthCutting|kBlock\b|kPixels\b|kLength\b|kSpare|piece = 256|twoRoundings|streaming|"
         r"fetchAhead|outgrowsCaches|\bpays\b|reserve\(")
TESTS = [{}, {"NOX_TEST_TBB": "3"}, {"NOX_TEST_EFFICIENCY": "1"}]


def mutations(line):
    """All (column, old, new) of a line."""
    code = line.split("//")[0]
    if not code.strip() or re.match(r"\s*(#|///|template|using|static_assert|namespace|friend)", code):
        return
    if re.search(SPEED, code):
        return
    for swap in SWAPS:
        a, b = re.split(r"(?<!\\)\|", swap, maxsplit=1) if " || " not in swap else (" && ", " || ")
        a, b = a.replace("\\", ""), b.replace("\\", "")
        for old, new in ((a, b), (b, a)):
            word = r"\b%s\b" if old[0].isalpha() else "%s"
            for match in re.finditer(word % re.escape(old), code):
                yield match.start(), old, new
    for match in re.finditer(r"(?<![\w.\"])(\d+)(\.\d+f?)?(?![\w.\"])", code):
        whole, fraction = match.groups()
        yield match.start(), match.group(), str(int(whole) + 1) + (fraction or "")


def run(command, **kwargs):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **kwargs).returncode
    except subprocess.TimeoutExpired:
        return -1


def limit_time():  # a fault may make an endless loop
    resource.setrlimit(resource.RLIMIT_CPU, (150, 150))


class Workshop:
    """A copy of the tree and what is built of it."""

    def __init__(self, number, files):
        self.tree = ROOT / f"build/mutate/tree{number}"
        self.build = ROOT / f"build/mutate/build{number}"
        shutil.rmtree(self.tree, ignore_errors=True)
        for name in files:
            if (ROOT / name).is_file():
                (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, self.tree / name)
        subprocess.check_call(["cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build, "-DCMAKE_BUILD_TYPE=None",
                               "-DCMAKE_CXX_FLAGS=-O1", "-DNOX_BUILD_EXAMPLES=OFF", "-DNOX_BUILD_BENCHMARKS=OFF"],
                              stdout=subprocess.DEVNULL)
        subprocess.check_call(["ninja", "-C", self.build, "nox_tests", "nox_trust"], stdout=subprocess.DEVNULL)
        self.good = self.digest()

    def digest(self):
        libraries = sorted(self.build.rglob("lib*.so.?.?.?"))
        return hashlib.sha1(b"".join(library.read_bytes() for library in libraries)).digest()

    def caught(self):
        for number, environment in enumerate(TESTS + [{}]):
            program = "nox_tests" if number < len(TESTS) else "nox_trust"
            if run([self.build / "tests" / program, "--gtest_fail_fast", "--gtest_brief=1"], timeout=1200,
                   preexec_fn=limit_time, env={**os.environ, **environment}) != 0:
                return True
        return False

    def verdict(self, name, number, change):
        """Whether the tests catch it; None if it is no fault."""
        path = self.tree / name
        text = path.read_text()
        lines = text.splitlines(keepends=True)
        column, old, new = change
        lines[number] = lines[number][:column] + new + lines[number][column + len(old):]
        path.write_text("".join(lines))
        try:
            made = run(["ninja", "-j1", "-C", self.build, "Nox3DDataConvert"]) == 0 and self.digest() != self.good
            return self.caught() if made else None
        finally:
            path.write_text(text)


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--count", type=int, default=200)
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--jobs", type=int, default=2)
    options.add_argument("--files", default=FOLDERS)
    options = options.parse_args()

    files = subprocess.check_output(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                                    text=True).split()
    workshops = [Workshop(number, files) for number in range(options.jobs)]
    assert not workshops[0].caught(), "the tests fail without a fault"
    places = [(name, number, line.strip(), change)
              for name in sorted(files) if re.match(options.files, name)
              for number, line in enumerate((ROOT / name).read_text().splitlines())
              for change in mutations(line)]
    random.Random(options.seed).shuffle(places)
    print(f"{len(places)} places", flush=True)

    queue, lock, verdicts = iter(places), threading.Lock(), []

    def work(workshop):
        while True:
            with lock:
                place = next(queue, None) if len(verdicts) < options.count else None
            if place is None:
                return
            name, number, line, change = place
            verdict = workshop.verdict(name, number, change)
            if verdict is None:
                continue
            with lock:
                verdicts.append(verdict)
                if len(verdicts) % 20 == 0:
                    print(f"{sum(verdicts)} of {len(verdicts)} caught", flush=True)
                if not verdict:
                    print(f"survived: {name}:{number + 1}: '{change[1]}' -> '{change[2]}': {line}", flush=True)

    threads = [threading.Thread(target=work, args=(workshop,)) for workshop in workshops]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    print(f"{sum(verdicts)} of {len(verdicts)} faults caught: {100.0 * sum(verdicts) / max(len(verdicts), 1):.1f} %")


main()
