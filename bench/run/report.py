"""The report, in Markdown."""

from datetime import date
from statistics import median

from plan import size_text
from rows import remarks, rows

METHOD = """\
Servers and clients run on the same machine and communicate over its loopback interface; the files are in memory. Each
figure comes from a process of its own. The runs that a row compares are interleaved, A B A B, for {rounds} rounds. A
ratio is computed within each round; the table shows the median of the rounds and, in parentheses, the lowest and the
highest. Figures have at most three significant digits.

- Before each run with files of 1 MiB or more, three times the file's size in memory is allocated, touched and freed. On
  a virtual machine whose host reclaims free memory, the run would otherwise measure how fast the host returns it.
- For small files, vsftpd serves each session with one process. With two, most of the time is spent in the process that
  opens data connections for the other one, whichever client asks for the file.
- The login is not part of the time, except where it is what the row measures. A file is freed while the next one
  arrives, and the last one after the clock has stopped.
- *Ours* is one `Controller` per session, all on one worker thread, with the log at its default level.
- *libcurl*'s easy interface retrieves on one reused connection, its write callback appends to a string, and EPSV is
  off; everything else has its default, including TYPE and SIZE, which ours does not send. If the reply to PASV is
  available immediately, this version sleeps for up to a second before it continues. Its loop therefore has {curl_files}
  files, not {loop_files}, and a round in which it sleeps gives a very high ratio.
- *libcurl multi* is driven through its socket interface from an epoll loop. To avoid the sleep, the loop checks all
  transfers: immediately if there are only a few, otherwise when nothing has happened for a millisecond. Of the methods
  tried, this one costs libcurl the least.
- *The bare blocking loop* sends PASV and RETR (or listens, and sends PORT and RETR) with one blocking call after the
  other, and appends reads of 64 KiB to a string.
- *The practical limit* knows the file's size: it reserves the capacity, advises huge pages for it, and appends reads of
  256 KiB.
- Idle memory is the growth of the process's resident private memory from no session to all of them, divided by their
  number. It includes the host's own object for each session.
- Instructions and system calls of one RETR are the difference between runs of {short} and {long} files, divided by the
  difference in files.
"""


def _number(value):
    """Three significant digits, and at most two decimals: the runs vary by more than that."""
    rounded = float(f"{value:.3g}")
    before_point = len(str(int(abs(rounded))))
    return f"{rounded:,.{min(2, max(0, 3 - before_point))}f}"


def _spread(values):
    return f"{_number(median(values))} ({_number(min(values))}–{_number(max(values))})"


def _table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|" + "---|" * len(head)
    for line in lines:
        yield "| " + " | ".join(line) + " |"
    yield ""


def _comparison(row, results, runs):
    measure = row.measure
    ours = f"{_number(median(row.values(results, runs, row.ours)))} {measure.unit}"
    theirs = ""
    judged = _spread(row.judged(results, runs))
    if row.theirs:
        theirs = f"{_number(median(row.values(results, runs, row.theirs)))} {measure.unit}"
        judged += " ×"
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
        counts = [_number(calls[who]) for who in ("own", "bare")]
        lines.append([f"system calls, {mode}", *counts, "≤ theirs + 2", verdict])
        total = {who: sum(traces[who, mode]["instructions"].values()) for who in ("own", "bare")}
        lines.append([f"instructions in user space, {mode}", _number(total["own"]), _number(total["bare"]), "", ""])
    yield from _table(["", "ours", "the bare blocking loop", "goal", ""], lines)
    for (who, mode), trace in traces.items():
        name = {"own": "Ours", "bare": "The bare loop"}[who]
        calls = (f"{call} {_number(count)}" for call, count in trace["calls"].items())
        yield f"- {name}, {mode}: " + ", ".join(calls) + "."
    yield (
        "\nInstructions by program file. `ftp_bench` contains the library, which is linked statically, and the host. "
        "*Other code* is code that the tracer can't assign to a file.\n"
    )
    for (who, mode), trace in traces.items():
        name = {"own": "Ours", "bare": "The bare loop"}[who]
        parts = (f"{part} {_number(count)}" for part, count in trace["instructions"].items() if count >= 1)
        yield f"- {name}, {mode}: " + ", ".join(parts) + "."
    yield ""


def inner_parts(times):
    yield "## The inner parts\n"
    lines = [[f"`{name}`", *map(_number, values)] for name, values in sorted(times.items())]
    yield from _table(["Google Benchmark, ns of processor time", "median", "lowest", "highest"], lines)


def head(facts):
    yield "# Benchmarks\n"
    yield f"Measured with `scripts/bench` on {date.today():%d %B %Y}.\n"
    yield from _table(["", ""], ([name, value] for name, value in facts.items()))


def document(plan, results, runs, traces, times, plots):
    """The lines of the report. What was not measured is left out."""
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
