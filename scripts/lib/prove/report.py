"""docs/proof.md: what was proved, of which version and commit, and how to repeat it."""

import hashlib
import sys

from .context import Failure

DOCUMENT = "docs/proof.md"

INTRODUCTION = """\
# Proof

What was proved of qrvadmin {version}, by programs that anyone can run on Debian 12 or 13. `scripts/prove` runs them all and
writes this page; no figure here was typed, and a test refuses the page of another version or with another figure.
The whole takes hours; a run that is cut off goes on where it was. `scripts/test` runs a short form of the first four.

| part | what ran | result | commit | date | repeat |
|---|---|---|---|---|---|
"""


def write(context, parts):
    """Writes the page from the figures of all parts, which must be there and of the present sources."""
    records = {part.NAME: context.load(f"{part.NAME}.figures", None) for part in parts}
    missing = [name for name, record in records.items() if not record]
    if missing:
        raise Failure(f"nothing is proved yet of: {', '.join(missing)}")
    stale = [part.NAME for part in parts if is_stale(context, part, records[part.NAME])]
    if stale:
        raise Failure(f"src has changed since these were proved: {', '.join(stale)}")
    text = INTRODUCTION.format(version=context.version())
    text += "".join(_row(part, records[part.NAME]) for part in parts)
    text += "".join(f"\n## {part.NAME}: {part.SUMMARY}\n\n{part.describe(records[part.NAME]['figures'])}"
                    for part in parts)
    (context.root / DOCUMENT).write_text(text + checksum_line(text), encoding="utf-8")
    context.step(f"{DOCUMENT} is written")


def product(part):
    """What of src a part is about."""
    return getattr(part, "PRODUCT", ("src",))


def is_stale(context, part, record):
    return record["product"] != context.state_of(*product(part))


def checksum_line(text):
    return f"\n<!-- sha256 {hashlib.sha256(text.encode()).hexdigest()} -->\n"


def table(heads, rows):
    """A table of Markdown; numbers get their thousands apart."""
    lines = [heads, ["---"] * len(heads), *rows]
    return "".join(f"| {' | '.join(map(_cell, line))} |\n" for line in lines)


def _cell(value):
    return f"{value:,}" if isinstance(value, int) else str(value).replace("|", "\\|")


def print_status(context, parts):
    """Says of each part what has been proved and what is left."""
    for part in parts:
        record = context.load(f"{part.NAME}.figures", None)
        if not record:
            print(f"{part.NAME:14}nothing yet")
            continue
        figures = record["figures"]
        stale = "; src has changed since" if is_stale(context, part, record) else ""
        print(f"{part.NAME:14}{part.result(figures)}; {figures['left']} left; {record['commit']}{stale}")
        for name in figures["failed"]:
            print(f"{'':14}FAILED {name}", file=sys.stderr)


def _row(part, record):
    figures = record["figures"]
    result = part.result(figures)
    if figures["failed"]:
        result = f"**{len(figures['failed'])} failed**; {result}"
    if figures["left"]:
        result += f"; {figures['left']:,} left"
    command = f"scripts/prove {part.NAME}" + (f" --seed {record['seed']}" if record["seed"] != 1 else "")
    return f"| {part.NAME} | {part.SUMMARY} | {result} | {record['commit']} | {record['date']} | `{command}` |\n"
