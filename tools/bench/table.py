"""The table of a bench: results as lines of text, and two of them side by side."""

COLUMNS = ("ours", "library", "cmus", "mpd", "mpg123", "mpv")


def number(value):
    """Three digits that matter."""
    if value is None:
        return ""
    if value == 0:
        return "0"
    if abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.1f}" if abs(value) >= 10 else f"{value:.2f}"


def limit(wanted, figures):
    """A wanted figure as a number: itself, or so many times another column. None without one."""
    if wanted == "":
        return None
    if isinstance(wanted, str):
        factor, column = wanted.split()
        return float(factor) * figures[column] if column in figures else None
    return wanted


def verdict(figures, must):
    """Whether what we measured of ourselves is as it must be; "" without a limit."""
    most = limit(must, figures)
    if most is None or "ours" not in figures:
        return ""
    return "yes" if figures["ours"] <= most else "NO"


def wanted_text(wanted, figures):
    if isinstance(wanted, str) and wanted and limit(wanted, figures) is not None:
        return f"{number(limit(wanted, figures))} ({wanted})"
    return wanted if isinstance(wanted, str) else number(wanted)


def lines_of(results, wanted):
    """Cells of the table. `results` {row: {unit: {column: figure}}}, `wanted` {row: {unit: pair}}."""
    yield ["", "", *COLUMNS, "must", "", "aim"]
    for row, units in results.items():
        label = row
        for unit, figures in units.items():
            must, aim = wanted.get(row, {}).get(unit, ("", ""))
            yield [label, unit, *(number(figures.get(column)) for column in COLUMNS),
                   wanted_text(must, figures), verdict(figures, must), wanted_text(aim, figures)]
            label = ""


def layout(lines):
    """Columns as wide as they must be, those without a figure left out, numbers to the right."""
    lines = list(lines)
    used = [i for i in range(len(lines[0])) if any(line[i] for line in lines[1:])]
    widths = [max(len(line[i]) for line in lines) for i in used]
    for line in lines:
        cells = [line[i].ljust(width) if i < 2 else line[i].rjust(width)
                 for i, width in zip(used, widths)]
        yield "  ".join(cells).rstrip()


def compared(before, after):
    """Cells of two results of ours: row, unit, before, after, change."""
    yield ["", "", "before", "after", "change"]
    for row, units in after.items():
        label = row
        for unit, figures in units.items():
            old = before.get(row, {}).get(unit, {}).get("ours")
            new = figures.get("ours")
            if new is None:
                continue
            change = f"{(new / old - 1) * 100:+.1f} %" if old else ""
            yield [label, unit, number(old), number(new), change]
            label = ""
