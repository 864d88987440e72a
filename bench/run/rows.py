"""The rows of the report: what is compared, the goals and whether they are met."""

from dataclasses import dataclass
from statistics import median
from typing import Callable, Optional

from groups import LARGEST_CURL_BUFFER
from plan import GIB, KIB, MIB, size_text


@dataclass(frozen=True)
class Measure:
    unit: str
    of: Callable  # the value of one run, computed from its figures and the run itself


GIB_S = Measure("GiB/s", lambda figures, run: run.size * run.files() / figures["seconds"] / GIB)
MIB_S = Measure("MiB/s", lambda figures, run: run.size * run.files() / figures["seconds"] / MIB)
FILES_S = Measure("files/s", lambda figures, run: run.files() / figures["seconds"])
LOGINS_S = Measure("sessions/s", lambda figures, run: run.files() / figures["seconds"])
CPU_FILE = Measure("µs CPU per file", lambda figures, run: figures["cpu_seconds"] / run.files() * 1e6)
PEAK = Measure("× the file's size", lambda figures, run: figures["peak_bytes"] / run.size)
IDLE = Measure("KiB each", lambda figures, run: figures["resident_bytes_each"] / KIB)
IDLE_HEAP = Measure("KiB each", lambda figures, run: figures["heap_bytes_each"] / KIB)


@dataclass(frozen=True)
class Row:
    """A goal is a limit of the ratio ours / theirs, or of our own value where there is nothing to compare with."""

    work: str
    against: str
    measure: Measure
    group: str
    ours: str
    theirs: Optional[str] = None
    at_least: Optional[float] = None
    at_most: Optional[float] = None

    def values(self, results, runs, key):
        return [self.measure.of(figures, runs[self.group][key]) for figures in results[self.group][key]]

    def judged(self, results, runs):
        """The values that the goal applies to, one per round."""
        ours = self.values(results, runs, self.ours)
        if self.theirs is None:
            return ours
        return [a / b for a, b in zip(ours, self.values(results, runs, self.theirs))]

    def goal(self):
        sign = "×" if self.theirs else self.measure.unit
        if self.at_least is not None:
            return f"≥ {self.at_least:g} {sign}"
        return f"≤ {self.at_most:g} {sign}" if self.at_most is not None else ""

    def verdict(self, results, runs):
        reached = median(self.judged(results, runs))
        if self.at_least is not None:
            return "met" if reached >= self.at_least else "**MISSED**"
        if self.at_most is not None:
            return "met" if reached <= self.at_most else "**MISSED**"
        return ""


def rows(plan):
    big = f"{size_text(plan.big)} RETR, passive, vsftpd"
    middle = f"{size_text(plan.middle)} RETR, passive, vsftpd"
    small = f"{plan.loop_files} × {size_text(plan.small)} RETR on one session"
    swarm = f"{plan.swarm_sessions} sessions × {plan.swarm_files} × {size_text(plan.small)}, ftp_serve"
    return [
        Row(big, "libcurl, appending", GIB_S, "big", "own", "curl", at_least=3.2),
        Row(big, "the practical limit", GIB_S, "big", "own", "limit", at_least=0.9),
        Row(middle, "libcurl, appending", GIB_S, "middle", "own", "curl", at_least=3),
        Row(f"{small}, passive, vsftpd", "the bare blocking loop", FILES_S, "small", "own", "bare", at_least=0.9),
        Row(f"{small}, passive, vsftpd", "libcurl, one reused connection", FILES_S, "small", "own", "curl", at_least=5),
        Row(f"{small}, active, vsftpd", "the bare blocking loop, active", FILES_S, "small", "own-active", "bare-active",
            at_least=0.8),
        Row(swarm, "libcurl multi", FILES_S, "swarm", "own", "curl", at_least=2),
        Row(swarm, "libcurl multi", CPU_FILE, "swarm", "own", "curl", at_most=0.5),
        Row(swarm, f"ours, {plan.few_sessions} sessions, as many files", FILES_S, "swarm", "own", "own-few",
            at_least=0.9),
        Row(f"idle logged-in sessions, {plan.idle_sessions} of them: resident memory", "", IDLE, "idle", "own",
            at_most=4),
        Row(f"start, login, QUIT, {plan.logins} times, ftp_serve", "libcurl multi", LOGINS_S, "logins", "own", "curl",
            at_least=2),
        Row(f"{big}: peak resident memory", "", PEAK, "big", "own", at_most=1.1),
    ]  # fmt: skip


def remarks(plan):
    """Comparisons without a goal."""
    big = f"{size_text(plan.big)} RETR, passive, vsftpd"
    small = f"{plan.loop_files} × {size_text(plan.small)} RETR on one session, passive, vsftpd"
    return [
        Row(big, f"libcurl, appending, its buffer at {size_text(LARGEST_CURL_BUFFER)}", GIB_S, "big", "own",
            "curl-large"),
        Row(big, "bytes read and discarded", GIB_S, "big", "own", "discard"),
        Row(small, "libcurl multi in an epoll loop", FILES_S, "small", "own", "multi"),
        Row(f"{big}: peak resident memory of libcurl", "", PEAK, "big", "curl"),
        Row(f"idle logged-in sessions, {plan.idle_sessions} of them: heap", "", IDLE_HEAP, "idle", "own"),
    ]  # fmt: skip
