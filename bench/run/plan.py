"""The amount of work that is measured."""

from dataclasses import dataclass

KIB, MIB, GIB = 1 << 10, 1 << 20, 1 << 30


@dataclass(frozen=True)
class Plan:
    rounds: int  # of every comparison
    plot_rounds: int
    big: int  # bytes
    middle: int
    small: int
    loop_files: int  # on one session
    curl_files: int  # for libcurl's easy interface, which may sleep for up to a second per file
    swarm_sessions: int
    swarm_files: int  # in each session
    few_sessions: int  # sessions that retrieve the same total number of files
    idle_sessions: int
    logins: int
    plot_sizes: tuple
    plot_bytes: int  # retrieved for one point, unless a file is larger
    plot_sessions: tuple
    traced: tuple  # the two lengths of a run whose difference is measured

    def copies(self, size):
        """The number of retrievals of a file for one point of the plot by size."""
        return max(1, min(1000, self.plot_bytes // size))

    def sizes(self):
        return sorted({self.big, self.middle, self.small, *self.plot_sizes})


FULL = Plan(
    rounds=7,
    plot_rounds=5,
    big=GIB,
    middle=64 * MIB,
    small=4 * KIB,
    loop_files=10000,
    curl_files=40,
    swarm_sessions=1000,
    swarm_files=20,
    few_sessions=10,
    idle_sessions=5000,
    logins=5000,
    plot_sizes=tuple(KIB * 4**i for i in range(11)),
    plot_bytes=GIB // 2,
    plot_sessions=(1, 3, 10, 30, 100, 300, 1000, 3000),
    traced=(200, 2200),
)

QUICK = Plan(
    rounds=2,
    plot_rounds=1,
    big=16 * MIB,
    middle=4 * MIB,
    small=4 * KIB,
    loop_files=200,
    curl_files=5,
    swarm_sessions=50,
    swarm_files=4,
    few_sessions=10,
    idle_sessions=100,
    logins=50,
    plot_sizes=(KIB, 64 * KIB, 4 * MIB),
    plot_bytes=4 * MIB,
    plot_sessions=(1, 20),
    traced=(20, 70),
)


def size_text(size):
    for unit, name in ((GIB, "GiB"), (MIB, "MiB"), (KIB, "KiB")):
        if size >= unit and size % unit == 0:
            return f"{size // unit} {name}"
    return f"{size} bytes"
