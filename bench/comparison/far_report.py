"""The table of what was measured over a link, and its chart."""

from comparison import report

PEERS = ("rclone", "b2")
LABELS = {"rclone": "rclone", "b2": "official command line"}
COLOURS = ("#2b6cb0", "#d97706", "#7c3aed", "#0f766e")
NOTE = """*s*: until the program ends or, in the mount, has closed its files. *stored s*: until the
service holds them. *x*: this program's seconds until stored over b2drive's; above 1 b2drive is
ahead. *runs*: medians of so many. Connections are those of the whole run."""
# Figure, title, decimals.
COLUMNS = (("wall", "s", 2), ("stored", "stored s", 2), ("cpu", "CPU s", 2), ("memory", "MiB", 0),
           ("requests", "requests", 0), ("connections", "connections", 0))


def table(rows):
    """A row is {"job", "latency", "runs": {program: number}, "programs": {program: summary, or what
    went wrong}}."""
    heads = ["job", "ms", "program", "runs", *(title for _, title, _ in COLUMNS), "x"]
    lines = ["| " + " | ".join(heads) + " |", "|---|--:|---|" + "--:|" * (len(heads) - 3)]
    for row in rows:
        for program, result in row["programs"].items():
            start = [row["job"], row["latency"], LABELS.get(program, program),
                     row["runs"].get(program, 0)]
            cells = [result] if isinstance(result, str) else _figures(row, program, result)
            lines.append("| " + " | ".join(str(cell) for cell in start + cells) + " |")
    return "\n".join(lines + ["", NOTE])


def line(row):
    """A row in one line, to watch a run by."""
    cells = [f"{program} " + (result if isinstance(result, str) else
                              f"{result['stored']['median']:.2f} s")
             for program, result in row["programs"].items()]
    return f"{row['job']}, {row['latency']} ms: " + ", ".join(cells)


def _figures(row, program, result):
    cells = [f"{result[key]['median']:,.{decimals}f}" for key, _, decimals in COLUMNS]
    times = ahead(row, program)
    return cells + [f"{times:.2f}" if times else ""]


def ahead(row, peer):
    """How many times as long as b2drive the peer takes; None where one has no figure."""
    ours, theirs = row["programs"].get("b2drive"), row["programs"].get(peer)
    if peer == "b2drive" or not isinstance(ours, dict) or not isinstance(theirs, dict):
        return None
    return theirs["stored"]["median"] / ours["stored"]["median"]


def chart(rows):
    """rclone's seconds over b2drive's as bars, one group a job, one bar a round trip."""
    latencies = sorted({row["latency"] for row in rows})
    groups = {}
    for row in rows:
        groups.setdefault(row["job"].split(" (")[0], {})[row["latency"]] = ahead(row, "rclone")
    return report.bars(
        "rclone's time over b2drive's (logarithmic; more is better for b2drive)",
        {latency: f"{latency} ms" for latency in latencies},
        dict(zip(latencies, COLOURS)), groups.items())
