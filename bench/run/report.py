"""The report, in Markdown."""

from datetime import date
from statistics import median

from plan import size_text
from rows import remarks, rows

METHOD = """\
Servers and clients share the machine and talk over its loopback interface; the files lie in memory. Each figure comes
from a process of its own. The runs that a row compares take turns, A B A B, for {rounds} rounds; a ratio is taken
within each round, and the table has the median of the rounds and, in brackets, the lowest and the highest.

- Before each run with files of a mebibyte or more, three times the file's size in memory is used and freed again. Where
  the host of a virtual machine takes back free memory, it would otherwise be measured how fast it gives it out.
- For small files vsftpd is told to serve a session with one process: with two, the one that opens data connections for
  the other takes most of the time, whoever asks for the file.
- Logging in is not part of the time, except where it is the work. A file is freed while the next one arrives, the last
  one after the clock has stopped.
- *Ours* is a `Controller` for each session, all on one worker thread, with the log at its default level.
- *libcurl*'s easy interface retrieves on one reused connection, its write callback appends to a string, EPSV is off;
  everything else is at its default, TYPE and SIZE included, which ours does not send. When the reply to PASV is there at
  once, this version sleeps up to a second before it goes on. So its loop has {curl_files} files, not {loop_files}.
- *libcurl multi* is driven by its socket interface from an epoll loop. There the sleep is avoided by a look at all
  transfers: at once while they are few, else when nothing has happened for a millisecond. Of the ways that were tried
  this one costs libcurl the least.
- *The bare blocking loop* sends PASV and RETR (or listens, and sends PORT and RETR), one blocking call after the other,
  with reads of 64 KiB appended to a string.
- *The practical limit* knows the file's size: capacity reserved beforehand, huge pages advised for it, reads of 256 KiB,
  one append a read.
- Idle memory is what became resident and private in the process between no session and all of them, divided by their
  number: the host's own object for each is in it.
- Instructions and system calls of one RETR are the difference of two runs of {short} and {long} files, divided by the
  difference in files.
"""


def _number(value, digits):
    return f"{value:,.{digits}f}"


def _spread(values, digits):
    return f"{_number(median(values), digits)} ({_number(min(values), digits)}–{_number(max(values), digits)})"


def _table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for line in lines:
        yield "| " + " | ".join(line) + " |"
    yield ""


def _comparison(row, results, runs):
    measure = row.measure
    ours = f"{_number(median(row.values(results, runs, row.ours)), measure.digits)} {measure.unit}"
    theirs = ""
    judged = _spread(row.judged(results, runs), measure.digits)
    if row.theirs:
        theirs = f"{_number(median(row.values(results, runs, row.theirs)), measure.digits)} {measure.unit}"
        judged = _spread(row.judged(results, runs), 2) + " ×"
    return [row.work, row.against, ours, theirs, judged]


def _available(all_rows, results):
    return [row for row in all_rows if row.group in results]


def comparisons(plan, results, runs):
    head = ["work", "ours against", "ours", "theirs", "median (spread)", "goal", ""]
    lines = [
        _comparison(row, results, runs) + [row.goal(), row.verdict(results, runs)]
        for row in _available(rows(plan), results)
    ]
    yield from _table(head, lines)
    lines = [_comparison(row, results, runs) for row in _available(remarks(plan), results)]
    if lines:
        yield "For comparison, without a goal:\n"
        yield from _table(head[:5], lines)


def costs(plan, traces):
    yield f"## What a {size_text(plan.small)} RETR costs the client\n"
    lines = []
    for mode in ("passive", "active"):
        calls = {who: sum(traces[who, mode]["calls"].values()) for who in ("own", "bare")}
        verdict = "met" if calls["own"] <= calls["bare"] + 2 else "**MISSED**"
        lines.append([f"system calls, {mode}", f"{calls['own']:.2f}", f"{calls['bare']:.2f}", "≤ theirs + 2", verdict])
        total = {who: sum(traces[who, mode]["instructions"].values()) for who in ("own", "bare")}
        lines.append([f"instructions in user space, {mode}", f"{total['own']:,.0f}", f"{total['bare']:,.0f}", "", ""])
    yield from _table(["", "ours", "the bare blocking loop", "goal", ""], lines)
    for (who, mode), trace in traces.items():
        name = {"own": "Ours", "bare": "The bare loop"}[who]
        yield f"- {name}, {mode}: " + ", ".join(f"{call} {count:.2f}" for call, count in trace["calls"].items()) + "."
    yield "\nThe instructions by where they are; `ftp_bench` is the library, linked in, and the host.\n"
    for (who, mode), trace in traces.items():
        name = {"own": "Ours", "bare": "The bare loop"}[who]
        parts = (f"{part} {count:,.0f}" for part, count in trace["instructions"].items() if count >= 1)
        yield f"- {name}, {mode}: " + ", ".join(parts) + "."
    yield ""


def inner_parts(times):
    yield "## The inner parts\n"
    lines = [[f"`{name}`", *(f"{value:,.1f}" for value in values)] for name, values in sorted(times.items())]
    yield from _table(["Google Benchmark, ns of processor time", "median", "lowest", "highest"], lines)


def head(facts):
    yield "# Benchmarks\n"
    yield f"Measured with `scripts/bench` on {date.today():%d %B %Y}.\n"
    yield from _table(["", ""], ([name, value] for name, value in facts.items()))


def document(plan, results, runs, traces, times, plots):
    """What was measured; the rest is left out."""
    yield "## Ours against the peers\n"
    yield from comparisons(plan, results, runs)
    for name, title in plots.items():
        yield f"![{title}]({name})\n"
    if traces:
        yield from costs(plan, traces)
    if times:
        yield from inner_parts(times)
    yield "## Method\n"
    yield METHOD.format(rounds=plan.rounds, curl_files=plan.curl_files, loop_files=plan.loop_files,
                        short=plan.traced[0], long=plan.traced[1])  # fmt: skip
