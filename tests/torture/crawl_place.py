"""A directory for one crawl of the program at a time: its profile, its runs, what they leave."""

import os
import shutil
import signal
import subprocess
import time

TIME_LIMIT = 20  # s; a run takes a fraction of one
FILTER_BITS, NB_QUEUES = 20_011, 3
PROFILE = """<?xml version="1.0" encoding="utf-8"?>
<crawlers>
<crawler name="torture" nb-spiders="1" admin-port="0" stop-when-empty="true" \
admin-thread-sleep-time="60000">
<seed-urls><url name="{seed}"/></seed-urls>
<user-agent name="{agent}"/>
<frontier sleep_mode="0" sleep_interval="0" nb_queues="{queues}" queue_buffer_size="10"/>
<due disk_cache_size="{bits}"/>
<retries num="0" wait="1"/>
<store name="{base}/store" temp_data_path="{base}/temp" status_file_path="{base}/status" \
link_file_path="{base}/links"/>
<log name="{base}/log"/>
<checkpoint dir="{base}/check" interval="0"/>
<canonical-urls enable="1"/>
</crawler>
</crawlers>
"""


class Run:
    """How a run of the program ended, and what it wrote. A status below 0 is a signal's number."""

    def __init__(self, status, waits, errors, log):
        self.status, self.waits, self.errors, self.log = status, waits, errors, log
        self.is_hanging = status is None


class CrawlPlace:
    def __init__(self, tools, base, site):
        self.tools, self.base, self.site = tools, base, site
        self.nb_runs = 0

    def path(self, name):
        return os.path.join(self.base, name)

    def clear(self, image=None):
        """Begins anew; with an image, as a directory with a store and a checkpoint."""
        shutil.rmtree(self.base, ignore_errors=True)
        for name in ("store", "temp", "check"):
            os.makedirs(self.path(name))
        if image:
            shutil.copytree(image, self.base, dirs_exist_ok=True)

    def run(self, options=(), faults=None, checkpoints=()):
        """Runs the program; checkpoints: before which page requests of it one is written."""
        self.nb_runs += 1
        agent = f"torture-{self.nb_runs}"
        with open(self.path("crawl.xml"), "w") as profile:
            profile.write(PROFILE.format(base=self.base, agent=agent, seed=self.site.get_url(0),
                                         queues=NB_QUEUES, bits=FILTER_BITS))
        if os.path.exists(self.path("log")):
            os.unlink(self.path("log"))
        self.site.begin(agent, {number: self.path("check") for number in checkpoints},
                        self.path("log"))
        environment = dict(os.environ, WK_FAULT_NO_SYNC="1", **self.tools.preload(faults or {}))
        for name, value in (faults or {}).items():
            environment["WK_FAULT_" + name] = str(value)
        with open(self.base + ".errors", "wb") as errors:  # no fault of the crawl's files is its own
            process = subprocess.Popen(
                [self.tools.program, "-conf", self.path("crawl.xml"), *options], cwd=self.base,
                env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors)
            status, waits = self.wait(process)
        return Run(status, waits, self.read_errors(), self.read("log"))

    def wait(self, process):
        """The status, None for a process that does not end, and whether it waited for its machine.

        A crawl waits for URLs that the disk does not give back, and says so each second; and for
        what connections need, and says so once. There it is asked to stop.
        """
        until, waits = time.monotonic() + TIME_LIMIT, False
        while time.monotonic() < until:
            try:
                return process.wait(0.5), waits
            except subprocess.TimeoutExpired:
                if not waits and self.is_waiting():
                    waits = True
                    process.send_signal(signal.SIGINT)
        process.kill()
        process.wait()
        return None, waits

    def is_waiting(self):
        return (self.read_errors().count("its URLs wait\n") >= 3 or
                "fetches wait until there is enough" in self.read("log"))

    def read_errors(self):
        return self.read("../" + os.path.basename(self.base) + ".errors")

    def read(self, name):
        try:
            with open(self.path(name), encoding="latin-1") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def count_calls(self, options=(), checkpoints=(), **faults):
        """How many calls of this kind the crawl makes without a fault."""
        count = self.path("count")
        if os.path.exists(count):
            os.unlink(count)
        run = self.run(options, dict(faults, FIRST=10**9, COUNT=count), checkpoints)
        assert run.status == 0, run.errors
        return int(self.read("count"))

    def write_files(self, name, files):
        shutil.rmtree(self.path(name), ignore_errors=True)
        os.makedirs(self.path(name))
        for file, text in files.items():
            with open(os.path.join(self.path(name), file), "w", encoding="latin-1") as out:
                out.write(text)

    def list_stored(self):
        """The pages of the store, and what is wrong with its files."""
        listing = subprocess.run([self.tools.flatsite, "list", self.path("store")],
                                 capture_output=True, text=True, encoding="latin-1")
        urls = [line.split("\t")[2] for line in listing.stdout.splitlines()]
        return {int(url.rsplit("/", 1)[1]) for url in urls}, listing.stderr

    def check_horizon(self, name):
        """What is wrong with a horizon's files; empty: nothing."""
        check = subprocess.run([self.tools.check_horizon, "--filter-bits", str(FILTER_BITS),
                                "--nb-queues", str(NB_QUEUES), self.path(name)],
                               capture_output=True, text=True, encoding="latin-1")
        return "" if check.returncode == 0 else check.stdout + check.stderr

    def read_checkpoint(self):
        """Its files and their bytes. One that is being written in place has a list of them, and
        those that it names stand in parts first."""
        names = os.listdir(self.path("check"))
        there = {name: self.read("check/" + name) for name in names}
        listed = there.get("checkpoint.list")
        if listed is None:
            return {name: text for name, text in there.items() if not name.endswith(".part")}
        return {name: there.get(name + ".part", there.get(name)) for name in listed.splitlines()
                if name in there or name + ".part" in there}


def list_queued(checkpoint):
    """The pages that are to be crawled after a restore."""
    return {int(line.rsplit("/", 1)[1])
            for name, text in checkpoint.items()
            if name.startswith("nfrontier.") or name == "ndue_pending.txt"
            for line in text.splitlines()}
