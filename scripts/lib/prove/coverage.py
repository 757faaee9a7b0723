"""Which lines of src/ the tests run, and which entry of ctest runs which. Every line that none runs has a reason
in tests/coverage/uncovered.txt."""

import concurrent.futures
import json
import pathlib
import re
import shutil

from . import counts, entries
from .context import Failure
from .report import table

NAME = "coverage"
SUMMARY = "all tests with a product that counts which of its lines and branches run"

PRESET = "coverage"
FOLDERS = ("src", "lab", "tests/e2e", "tests/proof", "tests/unit", "cmake")
REASONS = "tests/coverage/uncovered.txt"
GCOV = "x86_64-w64-mingw32-gcov-posix"


def run(context):
    state = measure(context)
    results = state["results"]
    failed = sorted(name for name, result in results.items() if not result["passed"])
    figures = {"done": len(results), "left": state["left"], "failed": failed}
    if state["left"]:
        return figures
    summary = merge(context)
    write_lines(context, results)
    unexplained, stale, explained = judge(context, summary)
    for text in unexplained:
        context.step(f"coverage: no reason for {text}")
    for text in stale:
        context.step(f"coverage: a reason for nothing: {text}")
    figures["failed"] = failed + unexplained + stale
    return {**figures, "lines": totals(summary, "line"), "branches": totals(summary, "branch"),
            "reasons": explained, "lost": sum(result["lost"] for result in results.values()),
            "files": {file["filename"]: [file["line_covered"], file["line_total"], file["branch_covered"],
                                         file["branch_total"]] for file in summary["files"]}}


def totals(summary, kind):
    return [summary[f"{kind}_covered"], summary[f"{kind}_total"]]


def measure(context):
    """Runs every entry that has not passed yet; its data goes to a folder of its own."""
    key = context.state_of(*FOLDERS)
    state = context.load(NAME, {})
    if state.get("key") != key:
        shutil.rmtree(folder(context), ignore_errors=True)
        state = {"key": key, "results": {}}
    context.require(["scripts/build", PRESET])
    every = entries.read(context, PRESET)
    results = state["results"] = {entry.name: state["results"][entry.name] for entry in every
                                  if entry.name in state["results"]}
    left = [entry for entry in every if not results.get(entry.name, {}).get("passed")]
    context.step(f"coverage: {len(results)} entries have run, {len(left)} are left")
    # Most of a test's time is sleep.
    with concurrent.futures.ThreadPoolExecutor(2 * context.options.jobs) as pool:
        runs = {pool.submit(run_entry, context, entry): entry for entry in left}
        for done, one in enumerate(concurrent.futures.as_completed(runs), 1):
            result = one.result()
            if result is None:
                continue
            name = runs[one].name
            results[name] = result
            context.save(NAME, state)
            verdict = "passed" if result["passed"] else "FAILED"
            context.step(f"coverage: {done} of {len(left)}: {name}: {verdict}, {result['seconds']} s")
    state["left"] = len(every) - len(results)
    return state


def folder(context):
    return context.build / "coverage"


def merged_folder(context):
    return context.build / "coverage.merged"


def run_entry(context, entry):
    """Runs an entry, twice when it fails: on a busy machine Wine now and then does."""
    for _ in range(2):
        if context.deadline_over():
            return None
        data = folder(context) / entries.file_name(entry.name)
        shutil.rmtree(data, ignore_errors=True)
        data.mkdir(parents=True)
        outcome = entries.run(entry, 3 * entry.timeout, {"QRV_COVERAGE": "Z:" + str(data).replace("/", "\\")})
        if outcome.passed:
            break
        (folder(context) / f"{data.name}.log").write_text(outcome.output, encoding="utf-8")
    lines = executed_lines(context, data)
    (data / "lines.json").write_text(json.dumps(lines), encoding="utf-8")
    lost = len(list(data.glob("lost-*")))
    return {"passed": outcome.passed, "seconds": round(outcome.seconds, 1), "lost": lost}


def executed_lines(context, data, least=1):
    """The lines of src/ that have run at least so often, by file. The compiler made code of each that has run at least
    0 times."""
    objects = link_notes(context, data)
    if not objects:
        return {}
    text = context.require([GCOV, "--json-format", "--stdout", *objects], cwd=data)
    executed = {}
    for line in text.splitlines():
        for file in json.loads(line)["files"]:
            if file["file"].startswith("src/"):
                executed.setdefault(file["file"], set()).update(
                    item["line_number"] for item in file["lines"] if item["count"] >= least)
    return {file: sorted(numbers) for file, numbers in sorted(executed.items())}


def link_notes(context, data):
    """Puts what the compiler has noted of the objects beside their counts, where gcov looks for it."""
    found = sorted(data.rglob("*.gcda"))
    for count in found:
        notes = pathlib.Path("/") / count.relative_to(data).with_suffix(".gcno")
        link = count.with_suffix(".gcno")
        if not link.exists():
            link.symlink_to(notes)
    return [count.relative_to(data) for count in found]


def write_lines(context, results):
    """build/prove/lines.json, by which mutants choose the entries that can notice them."""
    names = sorted(results)
    files = {}
    for index, name in enumerate(names):
        executed = json.loads((folder(context) / entries.file_name(name) / "lines.json").read_text())
        for file, numbers in executed.items():
            lines = files.setdefault(file, {})
            for number in numbers:
                lines.setdefault(str(number), []).append(index)
    context.save("lines", {"key": context.state_of(*FOLDERS), "files": files,
                           "code": executed_lines(context, merged_folder(context), least=0),
                           "entries": [{"name": name, **results[name]} for name in names]})


def merge(context):
    """All entries' counts in one, and gcovr's pages of them; answers its summary."""
    merged = merged_folder(context)
    shutil.rmtree(merged, ignore_errors=True)
    same = {}
    for path in folder(context).rglob("*.gcda"):
        same.setdefault(pathlib.Path(*path.relative_to(folder(context)).parts[1:]), []).append(path)
    for name, paths in same.items():
        (merged / name).parent.mkdir(parents=True, exist_ok=True)
        (merged / name).write_bytes(counts.add_files(paths))
    if not merged.exists():
        raise Failure("coverage: no program has left counts")
    link_notes(context, merged)
    report = context.root / "build" / PRESET / "report"
    shutil.rmtree(report, ignore_errors=True)
    report.mkdir(parents=True)
    context.require(["gcovr", "--root", context.root, "--filter", "src/", "--gcov-executable", GCOV,
                     "--exclude-throw-branches", "--html-details", report / "index.html",
                     "--json", report / "coverage.json", "--json-summary", report / "summary.json",
                     "--object-directory", merged, merged])
    return json.loads((report / "summary.json").read_text())


def judge(context, summary):
    """Compares what has not run with the reasons. Answers what has no reason, reasons without a case, and how many
    lines and branches have one."""
    reasons = read_reasons(context)
    used, unexplained, explained = set(), [], {"line": 0, "branch": 0}
    for kind, file, number, text in uncovered(context):
        reason = (file, kind, text)
        if reason in reasons:
            used.add(reason)
            explained[kind] += 1
        else:
            unexplained.append(f"{file}:{number} | {kind} | {text}")
    stale = [" | ".join(reason) for reason in reasons if reason not in used]
    return unexplained, stale, explained


def uncovered(context):
    """Each line, and each line's branches, that no test runs: kind, file, number, text."""
    report = json.loads((context.root / "build" / PRESET / "report" / "coverage.json").read_text())
    for file in report["files"]:
        source = (context.root / file["file"]).read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            text = source[line["line_number"] - 1].strip()
            if not line["count"]:
                yield "line", file["file"], line["line_number"], text
            elif any(not branch["count"] for branch in line["branches"]):
                yield "branch", file["file"], line["line_number"], text


def read_reasons(context):
    """Lines of FILE | line or branch | TEXT OF THE LINE | REASON; the text may have bars in it."""
    reasons = {}
    path = context.root / REASONS
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines() if path.exists() else [], 1):
        if not line.strip() or line.startswith("#"):
            continue
        match = re.fullmatch(r"(\S+) \| (line|branch) \| (.*\S) \| ([^|]*\S)", line)
        if not match:
            raise Failure(f"{REASONS}:{number}: FILE | line or branch | TEXT | REASON is expected")
        reasons[match[1], match[2], match[3]] = match[4]
    return reasons


def result(record):
    lines, branches = record["lines"], record["branches"]
    return f"{percent(lines)} of {lines[1]:,} lines and {percent(branches)} of {branches[1]:,} branches run"


def percent(part):
    return f"{100 * part[0] / max(part[1], 1):.1f} %"


def describe(record):
    rows = [(f"`{file}`", f"{row[0]:,} of {row[1]:,}", f"{row[2]:,} of {row[3]:,}")
            for file, row in record["files"].items() if row[0] < row[1] or row[2] < row[3]]
    return (f"{record['done']:,} entries of ctest ran, the slow ones apart. Each line and branch that none of them runs has its reason in\n"
            f"`{REASONS}`: {record['reasons']['line']:,} lines, {record['reasons']['branch']:,} lines with a branch. "
            "Files that are not covered whole:\n\n" + table(("file", "lines", "branches"), rows))
