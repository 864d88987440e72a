"""Runs of the benchmark program, each in a process of its own, and how they are interleaved."""

import json
import mmap
import os
import subprocess
import sys
from dataclasses import dataclass, field

from plan import MIB

LIMIT = 900  # seconds; a run that takes longer is stuck


@dataclass(frozen=True)
class Run:
    work: str
    server: str  # by name
    size: int = 0  # of the file
    options: dict = field(default_factory=dict)

    def arguments(self, ports):
        arguments = [self.work, "--port", str(ports[self.server])]
        if self.size:
            arguments += ["--file", str(self.size), "--size", str(self.size)]
        for name, value in self.options.items():
            arguments.append("--" + name)
            if value is not True:
                arguments.append(str(value))
        return arguments

    def files(self):
        return self.options.get("count", 1) * self.options.get("sessions", 1)


def touch_memory(size):
    """Allocates and touches that much memory, and frees it.

    The host of a virtual machine reclaims memory that has been free for some seconds. Getting it back takes several
    times as long as everything else that a run does with it, so this is done before the run.
    """
    with mmap.mmap(-1, size, flags=mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS) as memory:
        memory.madvise(mmap.MADV_HUGEPAGE)
        memory[:: mmap.PAGESIZE] = bytes(len(range(0, size, mmap.PAGESIZE)))


def touched_before(run):
    """Enough for a string and for one of twice its capacity that it is copied into."""
    free = os.sysconf("SC_AVPHYS_PAGES") * mmap.PAGESIZE
    return min(3 * run.size, free // 2) if run.size >= MIB else 0


class Bench:
    def __init__(self, program, ports):
        self.program = program
        self.ports = ports

    def once(self, run, wrapper=()):
        """The figures of one run. wrapper: a command to run it under."""
        command = [*wrapper, self.program, *run.arguments(self.ports)]
        done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(map(str, command))}: {done.stderr.strip()[-2000:]}")
        return json.loads(done.stdout)

    def interleave(self, name, runs, rounds):
        """A B A B ...: for each key of runs, its figures round by round."""
        results = {key: [] for key in runs}
        for number in range(rounds):
            for key, run in runs.items():
                print(f"bench: {name}, round {number + 1} of {rounds}: {key}", file=sys.stderr, flush=True)
                if size := touched_before(run):
                    touch_memory(size)
                results[key].append(self.once(run))
        return results
