"""How the report looks: as text, as the generated part of a Markdown page, as a chart."""

import math
from html import escape


def time_text(nanoseconds):
    if nanoseconds is None:
        return "-"
    for unit, scale in (("ns", 1.0), ("µs", 1e3), ("ms", 1e6), ("s", 1e9)):
        if nanoseconds < 1000 * scale or unit == "s":
            return f"{significant(nanoseconds / scale)} {unit}"


def significant(number):
    """Three digits, without an exponent."""
    if number == 0 or number >= 100:
        return f"{number:.0f}"
    return f"{number:.{max(0, 2 - math.floor(math.log10(number)))}f}"


def limit_text(limit):
    ratio = "not measured" if limit.ratio is None else significant(limit.ratio)
    counted = limit.target.against.startswith("counter:")
    shown = (
        f"{limit.against} {ratio} of {limit.target.ratio:g}"
        if counted
        else f"{ratio} of {limit.target.ratio:g} × {limit.against}"
    )
    return shown + (" MISSED" if limit.met is False else "")


def cells_of(row):
    best = f"{row.best} {time_text(row.best_time)}" if row.best else "-"
    ratio = significant(row.ratio) if row.ratio is not None else "-"
    limits = "; ".join(limit_text(limit) for limit in row.limits) or "-"
    bounds = ", ".join(
        f"{significant(times)} × {bound.removeprefix('bound.')}"
        for bound, times in row.bounds.items()
    )
    return [row.name, time_text(row.ours), best, ratio, limits, row.status, bounds or "-"]


HEADINGS = ["workload/size", "ours", "best peer", "ours / best", "limit", "", "bounds"]


def reasons_of(rows):
    """What is known about the rows that miss: one line per reason, with the rows it holds for."""
    by_reason = {}
    for row in rows:
        for limit in row.limits:
            if limit.met is False:
                reason = limit.target.reason or "Without a known reason."
                by_reason.setdefault(reason, []).append(row.name)
    return [f"{', '.join(dict.fromkeys(names))}: {text}" for text, names in by_reason.items()]


def aligned(table):
    widths = [max(len(line[i]) for line in table) for i in range(len(table[0]))]
    return ["  ".join(c.ljust(w) for c, w in zip(line, widths)).rstrip() for line in table]


def count_text(number):
    if number is None:
        return "-"
    return f"{number:,.0f}" if number >= 100 or number == int(number) else f"{number:.2f}"


def counter_cells(counters, instructions):
    """A line per benchmark that was counted: allocations, atomic operations, instructions."""
    table = []
    for key in sorted(set(counters) | set(instructions)):
        counted = counters.get(key, {})
        if "allocs" not in counted and key not in instructions:
            continue
        numbers = [counted.get("allocs"), counted.get("atomics"), instructions.get(key)]
        table.append([f"{key[0]}/{key[1]}"] + [count_text(number) for number in numbers])
    return table


COUNTER_HEADINGS = ["workload/size", "allocs", "atomics", "instructions"]


def remarks(results, rows, unmeasured):
    met = sum(row.status == "met" for row in rows)
    missed = sum(row.status == "MISSED" for row in rows)
    lines = [f"{met} rows within their limits, {missed} beyond."]
    if results.absent_peers:
        lines.append("Absent peers: " + ", ".join(sorted(results.absent_peers)) + ".")
    lines += [
        f"No benchmark was run for the limit of {target.ratio:g} × {target.against} on "
        f"{target.workload}/{target.size}."
        for target in unmeasured
    ]
    return lines


def text(results, rows, unmeasured, instructions):
    parts = aligned([HEADINGS] + [cells_of(row) for row in rows])
    counted = counter_cells(results.counters, instructions)
    if counted:
        parts += ["", "Per operation of ours:"] + aligned([COUNTER_HEADINGS] + counted)
    reasons = reasons_of(rows)
    if reasons:
        parts += ["", "Beyond the limit:"] + reasons
    return "\n".join(parts + [""] + remarks(results, rows, unmeasured))


def markdown_table(headings, lines, numbers):
    rule = ["---:" if i in numbers else "---" for i in range(len(headings))]
    return [
        "| " + " | ".join(cell.replace("|", "\\|") for cell in line) + " |"
        for line in [headings, rule] + lines
    ]


def markdown(results, rows, unmeasured, instructions, machine):
    parts = [machine, "", *remarks(results, rows, unmeasured), ""]
    parts += markdown_table(HEADINGS, [cells_of(row) for row in rows], {1, 3})
    reasons = reasons_of(rows)
    if reasons:
        parts += ["", "Beyond the limit:", ""] + [f"- {line}" for line in reasons]
    counted = counter_cells(results.counters, instructions)
    if counted:
        parts += ["", "Counted per operation of ours:", ""]
        parts += markdown_table(COUNTER_HEADINGS, counted, {1, 2, 3})
    return "\n".join(parts) + "\n"


BEGIN = "<!-- results: written by `./dev bench --markdown`, not by hand -->\n"
END = "<!-- end of results -->\n"


def put_between_marks(page, generated):
    """`page` with what lies between the marks replaced; without marks, all of it."""
    before, begin, rest = page.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        return BEGIN + generated + END
    return before + BEGIN + generated + END + after


_COLOURS = {"met": "#2e7d32", "MISSED": "#c62828"}
_LEFT, _PLOT, _RIGHT, _LINE, _TOP = 190, 520, 160, 15, 60


def chart(rows):
    """An SVG of a bar per row: ours as a multiple of the best peer's time, to a logarithmic scale,
    with a tick where the tightest limit lies."""
    drawn = [row for row in rows if row.ratio]
    ends = [row.ratio for row in drawn] + [tick_of(row) for row in drawn if tick_of(row)]
    low = math.floor(math.log2(min(ends + [0.5])))
    high = math.ceil(math.log2(max(ends + [2])))

    def x(ratio):
        return _LEFT + _PLOT * (math.log2(ratio) - low) / (high - low)

    height = _TOP + _LINE * len(drawn) + 8
    width = _LEFT + _PLOT + _RIGHT
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
        f'width="{width}" height="{height}" font-family="sans-serif" font-size="11">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
        f'<text x="{_LEFT}" y="14">Time of ours as a multiple of the best peer\'s: further left is '
        "better. Green: within all limits; red: beyond one;</text>",
        f'<text x="{_LEFT}" y="28">grey: none is set. The tick is the tightest limit.</text>',
    ]
    for power in range(low, high + 1):
        at = f"{x(2.0**power):.1f}"
        stroke = "#555" if power == 0 else "#ddd"
        parts.append(f'<path d="M{at} {_TOP - 6}V{height}" stroke="{stroke}"/>')
        shown = f"1/{2**-power}" if power < 0 else f"{2**power}"
        parts.append(f'<text x="{at}" y="{_TOP - 10}" text-anchor="middle">{shown}</text>')
    for i, row in enumerate(drawn):
        parts += bar(row, _TOP + _LINE * i, x)
    return "\n".join(parts + ["</svg>"]) + "\n"


def tick_of(row):
    times = [limit.allowed for limit in row.limits if limit.allowed]
    return min(times) / row.best_time if times else None


def bar(row, y, x):
    left, right = sorted((x(1.0), x(row.ratio)))
    colour = _COLOURS.get(row.status, "#757575")
    parts = [
        f'<text x="{_LEFT - 6}" y="{y + 11}" text-anchor="end">{escape(row.name)}</text>',
        f'<rect x="{left:.1f}" y="{y + 2}" width="{max(1, right - left):.1f}" '
        f'height="{_LINE - 4}" fill="{colour}"/>',
        f'<text x="{_LEFT + _PLOT + 6}" y="{y + 11}">'
        f"{significant(row.ratio)} × {escape(row.best)}</text>",
    ]
    tick = tick_of(row)
    if tick:
        parts.append(f'<path d="M{x(tick):.1f} {y}v{_LINE}" stroke="black" stroke-width="2"/>')
    return parts
