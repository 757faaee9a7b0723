"""What needs no Windows, built for this machine with sanitizers and fed by a coverage-guided fuzzer."""

from .context import Failure
from .report import table

NAME = "fuzz"
SUMMARY = "a coverage-guided fuzzer with ASan and UBSan on what needs no Windows"

SECONDS_PER_TARGET = 60


def run(context):
    seconds = context.options.fuzz_seconds or SECONDS_PER_TARGET
    context.step(f"fuzz: {seconds} s for each target")
    result = context.run(["scripts/lib/prove/fuzz.sh", context.build / "fuzz", seconds, context.options.seed])
    rows = {}
    for line in result.stdout.splitlines():
        words = line.split()
        if len(words) == 3 and words[1].isdigit() and words[2].isdigit():
            rows[words[0]] = {"runs": int(words[1]), "edges": int(words[2])}
    if not rows:
        raise Failure(f"fuzz: no target has run: {result.stdout}{result.stderr}")
    if result.returncode:
        context.step(result.stderr)
    return {"done": len(rows), "left": 0, "rows": rows, "seconds": seconds,
            "cases": sum(row["runs"] for row in rows.values()), "failed": ["fuzz"] if result.returncode else []}


def result(figures):
    return f"{figures['cases']:,} inputs for {figures['done']} targets: no finding"


def describe(figures):
    rows = [(name, row["runs"], row["edges"]) for name, row in figures["rows"].items()]
    return table(("target", "inputs tried", "edges covered"), rows)
