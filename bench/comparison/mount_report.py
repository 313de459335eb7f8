"""The table of mounts."""

from comparison.mounts import PROGRAMS

# Figure, title, width, decimals; the ratio of each is rclone's over b2drive's.
COLUMNS = (("wall", "close s", 9, 3), ("stored", "stored s", 9, 3), ("cpu", "cpu s", 8, 2),
           ("memory", "MiB", 7, 1), ("requests", "requests", 8, 0), ("connections", "conns", 6, 0))
NOTE = ("close: until the last program has closed its files. stored: until the service holds them; "
        "rclone begins\nto send 5 s after close (--vfs-write-back), b2drive's close waits. "
        "x: rclone's figure over b2drive's.")


def heading():
    titles = " ".join(f"{title:>{width}}" for _, title, width, _ in COLUMNS)
    ratios = " ".join(f"{title.split()[0] + ' x':>10}" for _, title, _, _ in COLUMNS)
    return f"{'job':34} {'ms':>4} {'program':7} {titles} {ratios}"


def lines(row):
    """A row is {"job", "latency", "programs": {program: summary, or what went wrong}}."""
    return [_line(row, program) for program in PROGRAMS]


def _line(row, program):
    result = row["programs"][program]
    start = f"{row['job']:34} {row['latency']:4} {program:7}"
    if isinstance(result, str):
        return f"{start} failed: {result}"
    cells = [start] + [f"{result[key]['median']:{width}.{decimals}f}"
                       for key, _, width, decimals in COLUMNS]
    ours = row["programs"]["b2drive"]
    if program != "b2drive" and not isinstance(ours, str):
        cells += [_ratio(result[key]["median"], ours[key]["median"]) for key, *_ in COLUMNS]
    return " ".join(cells)


def _ratio(theirs, ours):
    return f"{theirs / ours:10.2f}" if ours else f"{'-':>10}"


def table(rows):
    return "\n".join([heading()] + [line for row in rows for line in lines(row)] + ["", NOTE])
