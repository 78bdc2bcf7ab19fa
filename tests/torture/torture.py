"""torture.py --program FILE [--preload FILE] [--sample N] [MODE...]

Crawls a small site again and again, and lets another call of the system fail each time: once, or
from there on. Such a crawl ends with a message and a status, or delivers everything, or says what
it has not delivered, or waits for URLs that the disk does not give back, says so again and again,
and ends when it is asked to; and its last checkpoint can be restored. It never crashes, hangs, or
calls itself a success without a word about what is missing.

Modes: files, network, memory, kills; all when none is named. A sample is so many points of each
mode, spread over all. Exit status 0: every point was well, 1: some was not.
"""

import argparse
import collections
import concurrent.futures
import itertools
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import judge
from crawl_place import CrawlPlace
from small_site import Site

CHECKPOINTS = (60, 130)  # before these requests of a crawl
RESTORE_CHECKPOINTS = (30,)
NB_WORKERS = 2

FILE_FAULTS = [("open", ("EIO", "EMFILE")), ("create", ("ENOSPC", "EIO", "EMFILE")),
               ("read", ("EIO",)), ("write", ("ENOSPC", "EIO")), ("fsync", ("EIO", "ENOSPC")),
               ("close", ("EIO",)), ("ftruncate", ("EIO",)), ("mkdir", ("ENOSPC",)),
               ("opendir,readdir", ("EIO", "EMFILE")), ("rename", ("ENOSPC", "EIO")),
               ("unlink,rmdir", ("EIO",)), ("create,write,fsync,close,mkdir,rename", ("ENOSPC",))]
NETWORK_FAULTS = [("socket", ("EMFILE", "ENOBUFS")), ("bind", ("EADDRINUSE",)),
                  ("listen", ("EADDRINUSE",)), ("connect", ("ECONNREFUSED", "ETIMEDOUT")),
                  ("accept", ("EMFILE", "ENOBUFS")), ("send", ("ECONNRESET", "ETIMEDOUT")),
                  ("recv", ("ECONNRESET", "ETIMEDOUT")), ("poll", ("ENOMEM",)),
                  ("getaddrinfo", ("EAI_AGAIN",))]
MEMORY_FAULTS = [("malloc", ("ENOMEM",))]
KILLS = [("", ("kill", "tear"))]

Mode = collections.namedtuple("Mode", "faults durations is_killing from_image")
MODES = {"files": [Mode(FILE_FAULTS, ("once", "ever"), False, False)],
         "network": [Mode(NETWORK_FAULTS, ("once", "ever"), False, False)],
         "memory": [Mode(MEMORY_FAULTS, ("once", "ever"), False, False)],
         "kills": [Mode(KILLS, ("once",), True, False), Mode(KILLS, ("once",), True, True)]}
Point = collections.namedtuple("Point", "mode calls action duration number")


class Tools:
    def __init__(self, program, preload):
        build = os.path.dirname(os.path.abspath(program))
        self.program = os.path.abspath(program)
        self.flatsite = os.path.join(build, "flatsite")
        self.check_horizon = os.path.join(build, "check_horizon")
        self.library = os.path.abspath(preload or os.path.join(build, "tests/libfault_preload.so"))
        needed = subprocess.run(["ldd", self.program], capture_output=True, text=True).stdout
        self.sanitizer = next((line.split()[2] for line in needed.splitlines()
                               if "libasan" in line or "libtsan" in line), None)

    def preload(self, faults):
        """A sanitizer's runtime stands first, but where its allocations are to fail."""
        libraries = [self.library] + ([self.sanitizer] if self.sanitizer else [])
        if faults.get("CALLS") != "malloc":
            libraries.reverse()
            return {"LD_PRELOAD": ":".join(libraries)}
        return {"LD_PRELOAD": ":".join(libraries),
                "ASAN_OPTIONS": "verify_asan_link_order=0:" + os.environ.get("ASAN_OPTIONS", "")}


def build_faults(place, mode, calls, **more):
    faults = dict(CALLS=calls, **more)
    if mode.faults in (FILE_FAULTS, KILLS):
        faults["PATH"] = place.base + "/"
    return faults


class Torture:
    def __init__(self, tools, directory):
        self.tools, self.directory = tools, directory
        self.places = queue.Queue()
        for number in range(NB_WORKERS):
            place = CrawlPlace(tools, os.path.join(directory, f"place{number}"), Site())
            place.image = os.path.join(directory, f"image{number}")
            place.checkpoints = self.learn(place)
            self.places.put(place)

    def learn(self, place):
        """A crawl without faults, which has to be whole; the checkpoints that it wrote."""
        checkpoints = [{}]
        for last in range(1, len(CHECKPOINTS) + 1):
            place.clear()
            run = place.run(checkpoints=CHECKPOINTS[:last])
            outcome, why = judge.judge_run(place, run)
            assert outcome == judge.FULL and len(place.site.seen) == len(judge.ALL_PAGES), (
                run.errors, why)
            assert all(said == "Checkpointed the crawler." for said in place.site.answers)
            checkpoints.append(place.read_checkpoint())
        for name in ("store", "check"):
            shutil.copytree(place.path(name), os.path.join(place.image, name))
        return checkpoints

    def begin(self, place, mode):
        place.clear(place.image if mode.from_image else None)
        return (["-restore"], RESTORE_CHECKPOINTS) if mode.from_image else ([], CHECKPOINTS)

    def list_points(self, mode, sample):
        """The points of a mode; a sample takes each kind of call as often as the others."""
        place = self.places.get()
        by_calls = []
        for calls, actions in mode.faults:
            options, checkpoints = self.begin(place, mode)
            count = place.count_calls(options, checkpoints, **build_faults(place, mode, calls))
            ways = list(itertools.product(actions, mode.durations))
            if sample:
                nb_points = -(-sample // len(mode.faults))
                step = max(1, count * len(ways) / nb_points)
                numbers = [1 + int(i * step / len(ways)) for i in range(nb_points)]
                if mode.faults is MEMORY_FAULTS:  # nearly all that differ are those of the start
                    numbers = [1 + int(count * (i / nb_points) ** 2) for i in range(nb_points)]
                chosen = [(number, ways[i % len(ways)]) for i, number in enumerate(numbers)
                          if number <= count]
            else:
                chosen = list(itertools.product(range(1, count + 1), ways))
            by_calls += [Point(mode, calls, *way, number) for number, way in chosen]
        self.places.put(place)
        return by_calls

    def attempt(self, point):
        place = self.places.get()
        try:
            return point, *self.judge_point(place, point)
        finally:
            self.places.put(place)

    def judge_point(self, place, point):
        options, checkpoints = self.begin(place, point.mode)
        faults = build_faults(place, point.mode, point.calls, ACTION=point.action,
                              FIRST=point.number,
                              LAST=point.number if point.duration == "once" else 0)
        run = place.run(options, faults, checkpoints)
        if not point.mode.is_killing:
            outcome, why = judge.judge_run(place, run)
            lost = "" if outcome in judge.BAD else judge.find_lost(place, None, False)
            return (judge.LOST, lost) if lost else (outcome, why)
        if run.status != -9:
            return judge.judge_run(place, run)  # it came to fewer calls than without the fault
        may_stand = None if point.mode.from_image else place.checkpoints
        lost = judge.find_lost(place, may_stand, True)
        return (judge.LOST, lost) if lost else (judge.FULL, "")


def run_mode(torture, name, sample, pool):
    """The number of points by outcome; those that are bad are told."""
    modes = MODES[name]
    points = [point for mode in modes
              for point in torture.list_points(mode, sample and -(-sample // len(modes)))]
    outcomes = collections.Counter()
    for point, outcome, why in pool.map(torture.attempt, points):
        outcomes[outcome] += 1
        if outcome in judge.BAD:
            print(f"{name}: {point.calls or 'file'} call {point.number} {point.action} "
                  f"{point.duration}{' of a restore' if point.mode.from_image else ''}: "
                  f"{outcome}: {why}", flush=True)
    return outcomes


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--program", required=True)
    parser.add_argument("--preload")
    parser.add_argument("--sample", type=int, default=0)
    parser.add_argument("modes", nargs="*", choices=[[], *MODES], default=[])
    arguments = parser.parse_args()
    root = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    nb_bad = 0
    with tempfile.TemporaryDirectory(prefix="torture-", dir=root) as directory:
        torture = Torture(Tools(arguments.program, arguments.preload), directory)
        head = ("mode", "points", *judge.OUTCOMES, "seconds")
        print("  ".join(head), flush=True)
        with concurrent.futures.ThreadPoolExecutor(NB_WORKERS) as pool:
            for name in arguments.modes or MODES:
                start = time.monotonic()
                outcomes = run_mode(torture, name, arguments.sample, pool)
                row = [name, sum(outcomes.values()), *(outcomes[o] for o in judge.OUTCOMES),
                       round(time.monotonic() - start)]
                print("  ".join(str(cell).ljust(len(title)) for cell, title in zip(row, head)),
                      flush=True)
                nb_bad += sum(outcomes[outcome] for outcome in judge.BAD)
    return 1 if nb_bad else 0


if __name__ == "__main__":
    sys.exit(main())
