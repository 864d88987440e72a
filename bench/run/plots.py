"""The plots of the report."""

from statistics import median

from plan import size_text
from plot import Axis, decades, even_steps, plot
from rows import CPU_FILE, FILES_S, MIB_S

NAMES = {"own": "ours", "curl": "libcurl", "limit": "practical limit"}


def _lines(groups, results, measure):
    lines = {}
    for x, runs in groups.items():
        for key, run in runs.items():
            values = [measure(figures, run) for figures in results[x][key]]
            lines.setdefault(NAMES[key], []).append((x, median(values), min(values), max(values)))
    return lines


def _values(lines):
    return [value for points in lines.values() for point in points for value in point[1:]]


def throughput_by_size(groups, results):
    lines = _lines(groups, results, MIB_S.of)
    x = Axis("file size", tuple(groups), True, size_text)
    y = Axis("MiB/s", decades(_values(lines)), True, lambda value: f"{value:g}")
    return plot("Throughput of RETR by file size, one session, passive, vsftpd", x, y, lines)


def _by_sessions(title, label, groups, results, measure):
    lines = _lines(groups, results, measure.of)
    x = Axis("sessions in one process, one worker thread", tuple(groups), True, str)
    y = Axis(label, even_steps(_values(lines)), False, lambda value: f"{value:g}")
    return plot(title, x, y, lines)


def files_by_sessions(groups, results):
    return _by_sessions("4 KiB files per second by number of sessions", "files/s", groups, results, FILES_S)


def cpu_by_sessions(groups, results):
    title = "Processor time per 4 KiB file by number of sessions"
    return _by_sessions(title, "µs of the client's CPU per file", groups, results, CPU_FILE)
