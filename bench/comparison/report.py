"""Medians, the table, the chart, and what was to be reached."""

import math
import statistics

FIGURES = ("wall", "cpu", "memory")
COLOURS = {"plugin": "#2b6cb0", "rclone": "#d97706", "sdk": "#7c3aed"}
LABELS = {"plugin": "libbackblazeb2", "rclone": "rclone", "sdk": "b2sdk (Python)"}


def summarise(samples):
    """{"median", "low", "high"} of each figure of one client's runs of one job."""
    summary = {}
    for key in samples[0]:
        values = [sample[key] for sample in samples]
        summary[key] = {"median": statistics.median(values), "low": min(values),
                        "high": max(values)}
    return summary


def ratio(result, client, figure, base="bare"):
    """How many times the base's median the client's is; None when one of them is missing."""
    if client not in result or base not in result or not result[base][figure]["median"]:
        return None
    return result[client][figure]["median"] / result[base][figure]["median"]


def _spread(figure):
    half = (figure["high"] - figure["low"]) / 2
    return f"±{100 * half / figure['median']:.0f}%" if figure["median"] else ""


def table(rows):
    """Rows are (job, {client: summary}); a client's ratios stand over bare libcurl."""
    lines = [f"{'job':38} {'client':7} {'runs':>4} {'wall s':>8} {'':5} {'cpu s':>8} {'':5} "
             f"{'MiB':>7} {'wall x':>7} {'cpu x':>7} {'MiB +':>7}"]
    for job, result, runs in rows:
        for position, (client, summary) in enumerate(result.items()):
            cells = [f"{job.name if position == 0 else '':38} {client:7} {runs[client]:4}"]
            for figure in ("wall", "cpu"):
                cells.append(f"{summary[figure]['median']:8.3f} {_spread(summary[figure]):5}")
            memory = summary["memory"]["median"]
            cells.append(f"{memory:7.1f}")
            if client != "bare" and "bare" in result:
                cells += [f"{ratio(result, client, figure):7.2f}" for figure in ("wall", "cpu")]
                cells.append(f"{memory - result['bare']['memory']['median']:+7.1f}")
            lines.append(" ".join(cells))
    return "\n".join(lines)


def per_name(rows):
    """Microseconds a name of the listings, loading and connecting left out."""
    lines = []
    for job, result, _ in rows:
        if job.names and "inner_wall" in result.get("plugin", {}):
            wall, cpu = (1e6 * result["plugin"][key]["median"] / job.names
                         for key in ("inner_wall", "inner_cpu"))
            lines.append(f"{job.name:38} {wall:6.2f} us wall, {cpu:6.2f} us cpu a name")
    return "\n".join(lines)


def as_json(rows, about):
    jobs = [{"job": job.name, "runs": runs, "clients": result} for job, result, runs in rows]
    return {"about": about, "jobs": jobs}


def chart(rows):
    """Wall time over bare libcurl as bars, one group a job that a peer does too; logarithmic."""
    groups = [(job.name, {client: ratio(result, client, "wall") for client in COLOURS})
              for job, result, _ in rows if "rclone" in result or "sdk" in result]
    title = "Wall time over bare libcurl (logarithmic; less is better)"
    return bars(title, LABELS, COLOURS, groups)


def bars(title, labels, colours, groups):
    """An SVG of (name, {bar: ratio or None}) as groups of bars; `labels` and `colours` by bar."""
    bar, gap, left, width = 11, 12, 250, 420
    parts, top = [], 46
    for name, ratios in groups:
        present = {key: value for key, value in ratios.items() if value}
        middle = top + bar * len(present) / 2 + 4
        parts.append(f'<text x="{left - 8}" y="{middle:.0f}" text-anchor="end">{name}</text>')
        for key, value in present.items():
            length = width * _log_share(value)
            parts.append(f'<rect x="{left}" y="{top}" width="{length:.1f}" height="{bar - 2}" '
                         f'fill="{colours[key]}"/>')
            parts.append(f'<text x="{left + length + 4:.1f}" y="{top + bar - 3}">{value:.2f}'
                         '</text>')
            top += bar
        top += gap
    legend = "".join(
        f'<rect x="{left + 130 * i}" y="22" width="10" height="10" fill="{colours[key]}"/>'
        f'<text x="{left + 130 * i + 14}" y="31">{labels[key]}</text>'
        for i, key in enumerate(labels))
    one = left + width * _log_share(1)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 60}" height="{top}" '
            'font-family="sans-serif" font-size="11">'
            f'<rect width="100%" height="100%" fill="white"/>'
            f'<text x="8" y="14" font-size="13">{title}</text>'
            f'{legend}<line x1="{one:.1f}" y1="38" x2="{one:.1f}" y2="{top - gap}" stroke="#999" '
            f'stroke-dasharray="3"/>{"".join(parts)}</svg>\n')


def _log_share(value, low=0.25, high=256.0):
    return max(0.005, min(1.0, math.log(value / low) / math.log(high / low)))
