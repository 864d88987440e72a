"""The inner parts, measured with Google Benchmark."""

import json
import subprocess

from runs import LIMIT


def measure(program, repetitions):
    """name -> (median, lowest, highest) in nanoseconds of processor time."""
    command = [
        program,
        "--benchmark_format=json",
        "--benchmark_enable_random_interleaving=true",
        f"--benchmark_repetitions={repetitions}",
        f"--benchmark_min_time={0.2 if repetitions > 2 else 0.01}",
    ]
    done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, check=True)
    times = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run.get("error_occurred"):
            raise RuntimeError(f"{run['name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            times.setdefault(run["run_name"], []).append(run["cpu_time"])
    return {name: (sorted(values)[len(values) // 2], min(values), max(values)) for name, values in times.items()}
