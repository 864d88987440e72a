"""Runs the benchmarks and writes the report. Called by scripts/bench."""

import argparse
import os
import resource
import signal
import sys
import tempfile
from contextlib import ExitStack
from dataclasses import replace
from pathlib import Path

import groups
import machine
import network
import parts
import plots
import report
import servers
import traces
from plan import FULL, QUICK
from runs import Bench

PLOTS = {
    "throughput_by_size.svg": "Throughput by file size",
    "files_by_sessions.svg": "Files per second by number of sessions",
    "cpu_by_sessions.svg": "Processor time per file by number of sessions",
}
EXTRAS = ("plots", "traces", "parts")


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/bench")
    parser.add_argument("--quick", action="store_true", help="seconds, to see that it works; the figures mean little")
    parser.add_argument("--only", action="append", choices=[*groups.comparisons(FULL), *EXTRAS], metavar="NAME",
                        help="only this of %(choices)s, and print the report; may be given again")  # fmt: skip
    parser.add_argument("--rounds", type=int, metavar="N", help="of every comparison, instead of %d" % FULL.rounds)
    parser.add_argument("--build", type=Path, default=Path("build/bench"), help=argparse.SUPPRESS)
    return parser.parse_args()


def place_for_files(plan):
    """A temporary directory: in memory if the files fit there, otherwise in the usual place."""
    memory = Path("/dev/shm")
    if memory.is_dir():
        room = os.statvfs(memory)
        if room.f_bavail * room.f_frsize > 2 * sum(plan.sizes()):
            return tempfile.TemporaryDirectory(prefix="ftp_bench.", dir=memory)
    return tempfile.TemporaryDirectory(prefix="ftp_bench.")


def measure_plots(bench, plan):
    sizes, sessions = groups.by_size(plan), groups.by_sessions(plan)
    size_results = {x: bench.interleave(f"{x} bytes", runs, plan.plot_rounds) for x, runs in sizes.items()}
    session_results = {x: bench.interleave(f"{x} sessions", runs, plan.plot_rounds) for x, runs in sessions.items()}
    drawn = (
        plots.throughput_by_size(sizes, size_results),
        plots.files_by_sessions(sessions, session_results),
        plots.cpu_by_sessions(sessions, session_results),
    )
    return dict(zip(PLOTS, drawn))


def measure(options, plan, bench):
    """The lines of the report without its head, and the plots by file name."""
    wanted = options.only or [*groups.comparisons(plan), *EXTRAS]
    runs = {name: group for name, group in groups.comparisons(plan).items() if name in wanted}
    results = {name: bench.interleave(name, group, plan.rounds) for name, group in runs.items()}
    costs = traces.trace(bench, plan) if "traces" in wanted else {}
    times = parts.measure(options.build / "bench/ftp_parts", plan.rounds) if "parts" in wanted else {}
    drawn = measure_plots(bench, plan) if "plots" in wanted else {}
    shown = {name: title for name, title in PLOTS.items() if name in drawn}
    return report.document(plan, results, runs, costs, times, shown), drawn


def main():
    options = arguments()
    plan = QUICK if options.quick else FULL
    if options.rounds:
        plan = replace(plan, rounds=options.rounds, plot_rounds=options.rounds)
    vsftpd = Path(".servers/vsftpd").absolute()
    facts = machine.facts(vsftpd, network.isolate())
    # Thousands of sessions need that many descriptors on both sides.
    resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
    # An exception, so that the servers are stopped.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("bench: terminated"))
    with ExitStack() as stack:
        work = Path(stack.enter_context(place_for_files(plan)))
        served = work / "served"
        served.mkdir()
        work.chmod(0o755)
        servers.make_files(served, plan.sizes())
        program = vsftpd / "usr/sbin/vsftpd"
        ports = {
            "vsftpd": stack.enter_context(servers.vsftpd(program, served, work)),
            "quick vsftpd": stack.enter_context(servers.vsftpd(program, served, work, one_process=True)),
            "ftp_serve": stack.enter_context(servers.ftp_serve(options.build / "tools/ftp_serve", served)),
        }
        bench = Bench(options.build / "bench/ftp_bench", ports)
        found, drawn = measure(options, plan, bench)
    document = "\n".join([*report.head(facts), *found])
    target = options.build / "report" if options.quick or options.only else Path("docs")
    target.mkdir(exist_ok=True)
    for name, text in {"benchmarks.md": document, **drawn}.items():
        (target / name).write_text(text)
    print(document)
    print(f"bench: written to {target / 'benchmarks.md'}", file=sys.stderr)


main()
