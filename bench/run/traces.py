"""What one RETR costs in instructions and system calls: the difference between two runs of different length."""

import re
import tempfile
from collections import Counter
from dataclasses import replace
from pathlib import Path

from runs import Run

UNNAMED = "???"  # how callgrind writes code that is in no file
OTHER = "other code"


def _difference(plan, run, cost):
    """cost(run), for one retrieval."""
    short, long = plan.traced
    fewer, more = (cost(replace(run, options=run.options | {"count": count})) for count in (short, long))
    each = {name: (more[name] - fewer[name]) / (long - short) for name in more}
    return {name: value for name, value in sorted(each.items(), key=lambda item: -item[1]) if value >= 0.005}


def system_calls(bench, plan, run):
    def cost(run):
        with tempfile.NamedTemporaryFile("r") as out:
            bench.once(run, ["strace", "-f", "-c", "-U", "calls,name", "-o", out.name])
            return Counter({name: int(calls) for calls, name in re.findall(r"^ *(\d+) (\w+)$", out.read(), re.M)
                            if name != "total"})  # fmt: skip

    return _difference(plan, run, cost)


def instructions(bench, plan, run):
    """By program file: the benchmark with what it links statically, and each shared library."""

    def cost(run):
        with tempfile.NamedTemporaryFile("r") as out:
            bench.once(run, ["valgrind", "-q", "--tool=callgrind", f"--callgrind-out-file={out.name}"])
            return _self_cost_by_object(out)

    return _difference(plan, run, cost)


def _self_cost_by_object(lines):
    names, costs, current, called = {}, Counter(), "", False
    for line in lines:
        if match := re.match(r"(c?)ob=\((\d+)\)(?: (.*))?$", line):
            called_object, number, name = match.groups()
            if name:
                names[number] = OTHER if name == UNNAMED else Path(name).name
            if not called_object:
                current = names[number]
        elif line.startswith("calls="):
            called = True
        elif match := re.match(r"[-+*\d]\S* (\d+)$", line):
            # The line after calls= gives the cost of the called function, which is counted there.
            costs[current] += 0 if called else int(match[1])
            called = False
    return costs


def traced_runs(plan):
    files = {"active": {"active": True}, "passive": {}}
    return {
        (who, mode): Run(f"{who}-files", "quick vsftpd", plan.small, options)
        for mode, options in files.items()
        for who in ("own", "bare")
    }


def trace(bench, plan):
    """{(who, mode): {"calls": ..., "instructions": ...}}"""
    return {
        key: {"calls": system_calls(bench, plan, run), "instructions": instructions(bench, plan, run)}
        for key, run in traced_runs(plan).items()
    }
