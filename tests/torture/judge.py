"""Whether a crawl that met a fault has delivered everything, or said what it has not."""

import re
import signal

from crawl_place import list_queued
from small_site import NB_PAGES, find_reachable

ALL_PAGES = set(range(NB_PAGES))
SAID_AND_ENDED, FULL, SAID_AND_PARTIAL = "message+nonzero", "full result", "said and partial"
SAID_AND_WAITING = "said and waiting"
CRASH, HANG, FALSE_SUCCESS, LOST = "CRASH", "HANG", "FALSE SUCCESS", "LOST"
BAD = (CRASH, HANG, FALSE_SUCCESS, LOST)
OUTCOMES = (SAID_AND_ENDED, FULL, SAID_AND_PARTIAL, SAID_AND_WAITING) + BAD

# An exhausted memory is said by the allocator before it ends the process.
MEMORY_END = "Caught mem exception"


def find_pages(pattern, text):
    return {int(number) for number in re.findall(pattern, text, re.M)}


def find_unsaid(place, run):
    """What the result of a run that calls itself a success lacks, without a word of it."""
    url = r"http://127\.0\.0\.1:\d+/p/(\d+)"
    stored, _ = place.list_stored()
    refused = find_pages(url + r"  (?:Didn't download|is forbidden by the robots)", run.log)
    errors = run.errors
    words = errors + run.log
    # The store's trouble is said in the log; URLs that the horizon has not got give no results.
    excused = re.search(r"crawl log|nfrontier|ndue_|horizon", errors)
    expected = find_reachable(ALL_PAGES - refused)
    results = {  # what there should be, what there is, and what says of the rest
        "store": (expected - refused, stored, "document store file"),
        "log": (expected, refused | find_pages(url + "  Grabbed page", run.log), "crawl log"),
        "status file": (stored, find_pages("^" + url + " 200 ", place.read("status")),
                        "status file"),
        "link file": (stored, find_pages("^\n" + url + "$", place.read("links.1")), "link file"),
    }
    unsaid = []
    for name, (wanted, there, word) in results.items():
        if wanted <= there or word in words or (excused and name in ("store", "log")):
            continue
        unsaid.append(f"{name} lacks {sorted(wanted - there)[:5]}")
    for answer in place.site.answers:
        if answer == "" and not re.search("admin socket|crawl log|admin", words):
            unsaid.append("no answer to a checkpoint")
    is_partial = any(not (wanted <= there) for wanted, there, _ in results.values())
    is_partial = is_partial or bool(refused)
    return unsaid, is_partial


def judge_run(place, run):
    """The outcome of a run with a fault that does not kill it, and why."""
    if run.is_hanging:
        return HANG, run.errors[-300:]
    if run.status == -signal.SIGABRT and MEMORY_END in run.errors:
        return SAID_AND_ENDED, ""
    if run.status < 0 or "Sanitizer" in run.errors:
        return CRASH, f"status {run.status}: {run.errors[-1500:]}"
    if run.status != 0:
        said = run.errors.strip() != ""
        return (SAID_AND_ENDED, "") if said else (FALSE_SUCCESS, f"silent status {run.status}")
    if run.waits:
        return SAID_AND_WAITING, ""
    unsaid, is_partial = find_unsaid(place, run)
    if unsaid:
        return FALSE_SUCCESS, "; ".join(unsaid) + " | " + run.errors[-300:]
    return (SAID_AND_PARTIAL if is_partial else FULL), ""


def find_lost(place, checkpoints, is_killed):
    """Restores the last checkpoint and says what is missing then; empty: nothing.

    checkpoints: those that may stand here; None: whatever is whole. What a killed crawl has stored
    stays, so all pages are there in the end.
    """
    checkpoint = place.read_checkpoint()
    if not checkpoint:
        return "" if checkpoints is None or {} in checkpoints else "the checkpoint is gone"
    if checkpoints is not None and checkpoint not in checkpoints:
        return f"neither the old nor the new checkpoint: {sorted(checkpoint)}"
    place.write_files("whole", checkpoint)
    faults = place.check_horizon("whole")
    if faults:
        return "checkpoint: " + faults[:500]
    run = place.run(["-restore"])
    if run.status != 0:
        return f"restore ends with {run.status}: {run.errors[-500:]}"
    queued = list_queued(checkpoint)
    stored, faults = place.list_stored()
    wanted = ALL_PAGES if is_killed else queued
    faults += place.check_horizon("temp")
    if not queued <= place.site.seen:
        faults += f"not asked for after the restore: {sorted(queued - place.site.seen)[:9]}"
    if not wanted <= stored:
        faults += f"not stored after the restore: {sorted(wanted - stored)[:9]}"
    return faults[:500]
