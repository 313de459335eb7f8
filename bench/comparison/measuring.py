"""One run of one client."""

import subprocess
import sys
import tempfile

TIMEOUT_SECONDS = 300
MAXRSS_PER_MIB = 1 << 20 if sys.platform == "darwin" else 1 << 10


def measure(launcher, command, environment, discard):
    """Runs a client to its end: {"wall", "cpu" (s), "memory" (MiB)}; unless its output is to be
    discarded also what it prints, the seconds of the job proper: "inner_wall", "inner_cpu"."""
    with tempfile.NamedTemporaryFile() as result, tempfile.TemporaryFile() as output:
        done = subprocess.run(
            [launcher, result.name] + command, env=environment, timeout=TIMEOUT_SECONDS,
            check=False, stdout=subprocess.DEVNULL if discard else output, stderr=subprocess.PIPE)
        fields = result.read().split()
        if done.returncode != 0 or len(fields) != 4 or int(fields[3]) != 0:
            text = done.stderr.decode(errors="replace")
            raise SystemExit(f"compare: {' '.join(command[:3])} failed: {text[-800:]}")
        figures = {"wall": float(fields[0]), "cpu": float(fields[1]),
                   "memory": int(fields[2]) / MAXRSS_PER_MIB}
        output.seek(0)
        words = output.read().split()
        if len(words) == 2:
            figures["inner_wall"], figures["inner_cpu"] = float(words[0]), float(words[1])
        return figures
