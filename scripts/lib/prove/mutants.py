"""One small change of src/ at a time, and whether the tests notice it. A change that none notices needs a test, or a
reason in tests/mutants/equivalent.txt why nobody can."""

import concurrent.futures
import hashlib
import os
import queue
import re
import shutil
import threading
import time

from . import coverage, entries, mutator
from .context import Failure
from .workshop import PROGRAMS, UNIT_TESTS as UNIT_PROGRAM, Plan, Workshop, limit_data
from .report import table

NAME = "mutants"
SUMMARY = "small changes of the source, one at a time, that a test must notice"

SAMPLE = 300
REASONS = "tests/mutants/equivalent.txt"
# Entries that run side by side for one mutant: most of their time is sleep.
SIDE_BY_SIDE = 3
SHORTEST_LIMIT, LIMIT_FACTOR = 60, 5
UNIT_TESTS = "qrvadmin_unit_tests"
COUNTED = ("killed", "survived", "unchanged")


def run(context):
    every = list_mutants(context)
    order = sorted(every, key=lambda mutant: draw(context.options.seed, mutant))
    wanted = SAMPLE if context.options.sample is None else context.options.sample or len(order)
    session = Session(context)
    session.judge(order, wanted)
    return figures(context, order, wanted, session.verdicts)


def draw(seed, mutant):
    """A mutant's place in the order in which they are drawn; it stays when others come and go."""
    return hashlib.sha256(f"{seed} {mutant.key}".encode()).digest()


def list_mutants(context):
    """All mutants of src/, or of the files that are asked for, in the order of their places."""
    files = sorted(context.git("ls-files", "src/*.cpp", "src/*.h").splitlines())
    only = context.options.only_files
    unknown = set(only) - set(files)
    if unknown:
        raise Failure(f"mutants: not a source: {', '.join(sorted(unknown))}")
    return [mutant for file in only or files
            for mutant in mutator.mutants(file, (context.root / file).read_text(encoding="utf-8"))]


class Session:
    """Judges mutants side by side, each in a workshop, and keeps every verdict at once."""

    def __init__(self, context):
        self.context = context
        self.state = context.load(NAME, {"verdicts": {}})
        self.verdicts = self.state["verdicts"]
        self.tests = context.state_of("tests", "lab")
        self.lock = threading.Lock()
        self.begin = time.monotonic()
        self.judged = 0

    def is_open(self, mutant):
        """A kill and what the compiler says stay; what survived other tests is tried again."""
        verdict = self.verdicts.get(mutant.key)
        return (not verdict or verdict["source"] != source_state(self.context, mutant.file) or
                verdict["verdict"] == "survived" and verdict["tests"] != self.tests)

    def judge(self, order, wanted):
        """Goes through the order until as many mutants as wanted are judged: an invalid one does not count."""
        waiting = iter(order)
        pending = {}
        counted = 0
        workshops = queue.SimpleQueue()
        selection = None
        with concurrent.futures.ThreadPoolExecutor(self.context.options.jobs) as pool:
            while True:
                while len(pending) < self.context.options.jobs and counted + len(pending) < wanted:
                    mutant = next(waiting, None)
                    if mutant is None or self.context.deadline_over():
                        break
                    if not self.is_open(mutant):
                        counted += self.verdicts[mutant.key]["verdict"] in COUNTED
                        continue
                    if selection is None:
                        selection = prepare(self.context, workshops)
                    pending[pool.submit(self._judge_one, mutant, workshops, selection)] = mutant
                if not pending:
                    return
                done, _ = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
                for run_ in done:
                    mutant = pending.pop(run_)
                    counted += run_.result()["verdict"] in COUNTED
                    self._say(mutant, run_.result(), wanted - counted)

    def _judge_one(self, mutant, workshops, selection):
        begin = time.monotonic()
        workshop = workshops.get()
        try:
            verdict = judge_mutant(self.context, mutant, workshop, selection)
        finally:
            workshop.restore()
            workshops.put(workshop)
        verdict.update(seconds=round(time.monotonic() - begin), tests=self.tests, file=mutant.file,
                       line=mutant.lines[0], source=source_state(self.context, mutant.file))
        with self.lock:
            self.verdicts[mutant.key] = verdict
            self.context.save(NAME, self.state)
        return verdict

    def _say(self, mutant, verdict, left):
        self.judged += verdict["verdict"] in COUNTED
        pace = (time.monotonic() - self.begin) / max(self.judged, 1)
        self.context.step(f"mutants: {left} left, {left * pace / 3600:.1f} h: {mutant.file}:{mutant.lines[0]} "
                          f"{mutant.kind}: {verdict['verdict']} {verdict.get('by', '')} ({verdict['seconds']} s)")
        if verdict["verdict"] == "survived":
            self.context.step(f"survived\n{mutant.key}")


def source_state(context, file):
    return hashlib.sha256((context.root / file).read_bytes()).hexdigest()[:12]


def prepare(context, workshops):
    """Builds what the mutants are changed copies of, and finds out which entries run which lines."""
    context.require(["scripts/build", "release"])
    if context.load("lines", {}).get("key") != context.state_of(*coverage.FOLDERS):
        context.step("mutants: which entries run which lines is not known of these sources")
        if coverage.run(context)["left"]:
            raise Failure("mutants: coverage comes first, and is not complete")
    context.step("mutants: the unchanged product")
    plan = Plan(context)
    base = Workshop(context, plan, "base")
    for number in range(context.options.jobs):
        workshops.put(Workshop(context, plan, f"job{number + 1}", base))
    return Selection(context, plan)


class Selection:
    """Which entries can notice a mutant, the quickest first."""

    def __init__(self, context, plan):
        lines = context.load("lines", {})
        self.files = lines["files"]
        self.code = {file: set(numbers) for file, numbers in lines["code"].items()}
        self.names = [item["name"] for item in lines["entries"]]
        self.seconds = {item["name"]: item["seconds"] for item in lines["entries"]}
        self.lost = {item["name"] for item in lines["entries"] if item["lost"]}
        self.failed = {item["name"] for item in lines["entries"] if not item["passed"]}
        self.entries = {entry.name: entry for entry in entries.read(context, "release")}
        self.plan = plan
        self.kills = {}       # by file, how many mutants each entry has noticed
        self.trusted = set()  # entries that have passed with the unchanged product in a workshop

    def entries_for(self, mutant):
        # The unit tests read the sources, too.
        names = self._running(mutant) | {UNIT_TESTS}
        # A killed program's lines are not known.
        names |= self.lost & self._in_file(mutant.file)
        usable = [name for name in names if name in self.entries and name not in self.failed]
        kills = self.kills.get(mutant.file, {})
        return [self.entries[name] for name in
                sorted(usable, key=lambda name: (not is_unit(name), -kills.get(name, 0), self.seconds[name], name))]

    def _running(self, mutant):
        """The entries that run the mutant's lines; when no code is made of them, or none runs, those of more."""
        code = self.code.get(mutant.file, set())
        for lines in (mutant.lines, mutant.statement):
            numbers = [number for number in range(lines[0], lines[1] + 1) if number in code] if lines else []
            if numbers:
                return self._of_lines(mutant.file, numbers) or self._in_file(mutant.file)
        return self._in_file(mutant.file)

    def _of_lines(self, file, numbers):
        lines = self.files.get(file, {})
        return {self.names[index] for number in numbers for index in lines.get(str(number), ())}

    def _in_file(self, file):
        """The entries that run anything of the file, or of a source that includes it."""
        files = {file}
        if file.endswith(".h"):
            for target in self.plan.objects_of(file):
                files |= {name for name in self.plan.sources[target] if name.endswith(".cpp")}
        names = set()
        for name in files:
            names |= self._of_lines(name, map(int, self.files.get(name, ())))
        return names

    def note_kill(self, mutant, name):
        kills = self.kills.setdefault(mutant.file, {})
        kills[name] = kills.get(name, 0) + 1

    def limit(self, name):
        return max(SHORTEST_LIMIT, LIMIT_FACTOR * self.seconds[name])


def is_unit(name):
    return name == UNIT_TESTS or name.startswith("LocalTimeText.")


def judge_mutant(context, mutant, workshop, selection):
    verdict = workshop.change(mutant.file, mutant.apply((context.root / mutant.file).read_text(encoding="utf-8")))
    if verdict != "changed":
        return {"verdict": verdict}
    ring = Ring(context, workshop, selection)
    chosen = selection.entries_for(mutant)
    # Most are noticed by the unit tests: the other programs are then not needed.
    for programs, unit in (([UNIT_PROGRAM], True), (PROGRAMS[1:], False)):
        verdict = workshop.link_changed(programs)
        if verdict == "invalid" or verdict == "unchanged" and not unit:
            return {"verdict": verdict}
        killer, outcome = ring.first_failure([entry for entry in chosen if is_unit(entry.name) == unit])
        if killer:
            selection.note_kill(mutant, killer.name)
            return {"verdict": "killed", "by": killer.name, "timed_out": outcome.timed_out, "flaky": ring.flaky,
                    "cases": outcome.failed_cases()[:3]}
    return {"verdict": "survived", "entries": len(chosen), "flaky": ring.flaky}


class Ring:
    """Runs entries on a workshop's programs, some side by side, until one fails, and again in unused prefixes."""

    def __init__(self, context, workshop, selection):
        self.context = context
        self.workshop = workshop
        self.selection = selection
        self.wine = context.build / "mutants.wine" / workshop.root.name
        self.environment = {"QRV_WINE_DIR": str(self.wine), "QRV_LAB_SLOTS": str(SIDE_BY_SIDE),
                            "GTEST_FAIL_FAST": "1"}
        self.flaky = []

    def first_failure(self, chosen):
        """The first entry that fails twice, and its outcome; none when all pass."""
        left = list(chosen)
        while left:
            failed, left = self._run_until_failure(left)
            if not failed:
                return None, None
            self._clear_prefixes()
            outcome = self._run(failed, threading.Event())
            if outcome.passed:
                self.flaky.append(failed.name)
            elif self._is_trusted(failed):
                return failed, outcome
        return None, None

    def _is_trusted(self, entry):
        """Whether the entry passes here with the unchanged product, at the second try at least."""
        if entry.name not in self.selection.trusted:
            with self.workshop.unchanged():
                passed = any(self._passes_afresh(entry) for _ in range(2))
            if not passed:
                self.context.step(f"mutants: {entry.name} fails with the unchanged product, and is left out")
                self.selection.failed.add(entry.name)
                return False
            self.selection.trusted.add(entry.name)
        return True

    def _passes_afresh(self, entry):
        self._clear_prefixes()
        return self._run(entry, threading.Event()).passed

    def _run_until_failure(self, chosen):
        """Answers the entry that failed, and those that have not passed yet."""
        waiting, stop, lock = list(chosen), threading.Event(), threading.Lock()
        passed, failed = set(), []

        def work():
            while not stop.is_set():
                with lock:
                    if not waiting:
                        return
                    entry = waiting.pop(0)
                outcome = self._run(entry, stop)
                with lock:
                    if outcome.passed:
                        passed.add(entry.name)
                    elif not outcome.stopped and not failed:
                        failed.append(entry)
                        stop.set()

        workers = [threading.Thread(target=work) for _ in range(min(SIDE_BY_SIDE, len(chosen)))]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        return (failed[0] if failed else None,
                [entry for entry in chosen if entry.name not in passed and entry not in failed])

    def _run(self, entry, stop):
        self._prepare_wine()
        root = self.context.root
        return entries.run(entry, self.selection.limit(entry.name), self.environment,
                           replaced=[(f"{root}/build/release", self.workshop.build)], stop=stop,
                           prepare=limit_data)

    def _prepare_wine(self):
        """Prefixes of its own, which are cloned from the repository's template."""
        self.wine.mkdir(parents=True, exist_ok=True)
        shared = self.context.root / "build" / "wine"
        for source in [*shared.glob("template-*-*"), shared / "locales"]:
            link = self.wine / source.name
            if not link.is_symlink():
                try:
                    link.symlink_to(source)
                except FileExistsError:
                    pass

    def _clear_prefixes(self):
        for slot in self.wine.glob("slots/*"):
            if not slot.is_dir():
                continue
            self.context.run(["wineserver", "-k"], env={**os.environ, "WINEPREFIX": str(slot)})
            shutil.rmtree(slot, ignore_errors=True)
            slot.with_name(slot.name + ".busy").unlink(missing_ok=True)


def figures(context, order, wanted, verdicts):
    """Counts the first mutants of the order, as many as wanted, that the compiler accepts."""
    reasons = read_reasons(context)
    counts = dict.fromkeys(("tried", "invalid", "unchanged", "unit", "e2e", "timeout", "equivalent", "survivors"), 0)
    kinds, failed, used = {}, [], set()
    for mutant in order:
        if counts["tried"] == wanted:
            break
        verdict = verdicts.get(mutant.key)
        if not verdict or verdict["source"] != source_state(context, mutant.file):
            continue
        what = verdict["verdict"]
        if what == "invalid":
            counts["invalid"] += 1
            continue
        counts["tried"] += 1
        reason = reasons.get(reason_key(mutant))
        kind = kinds.setdefault(mutant.kind, {"tried": 0, "killed": 0})
        kind["tried"] += 1
        if what == "killed":
            counts["timeout" if verdict["timed_out"] else "unit" if is_unit(verdict["by"]) else "e2e"] += 1
            kind["killed"] += 1
            if reason:
                failed.append(f"equivalent, but killed by {verdict['by']}: {mutant.key}")
        elif what == "unchanged":
            counts["unchanged"] += 1
        elif reason:
            counts["equivalent"] += 1
        else:
            counts["survivors"] += 1
            failed.append(f"{mutant.file}:{mutant.lines[0]}: {mutant.key}")
    killed = counts["unit"] + counts["e2e"] + counts["timeout"]
    judged = killed + counts["survivors"]
    return {"done": counts["tried"], "left": min(wanted, len(order)) - counts["tried"], "failed": failed,
            **counts, "killed": killed, "score": round(100 * killed / judged, 1) if judged else 0.0,
            "all": len(order), "kinds": dict(sorted(kinds.items()))}


def reason_key(mutant):
    return mutant.file, mutant.kind, mutant.before, mutant.after


def read_reasons(context):
    """Blocks of four lines: FILE: KIND, - LINE, + CHANGED LINE, = REASON."""
    path = context.root / REASONS
    if not path.exists():
        return {}
    text = re.sub(r"^#.*\n", "", path.read_text(encoding="utf-8"), flags=re.MULTILINE)
    reasons = {}
    for block in filter(None, (part.strip() for part in re.split(r"\n\s*\n", text))):
        match = re.fullmatch(r"(\S+): (\w+)(?: #\d+)?\n- (.*)\n\+ (.*)\n= ((?:.|\n  )*)", block)
        if not match:
            raise Failure(f"{REASONS}: not a block of FILE: KIND, - LINE, + CHANGED LINE, = REASON:\n{block}")
        reasons[match[1], match[2], match[3], match[4]] = match[5]
    return reasons


def result(record):
    return (f"{record['tried']:,} tried: {record['killed']:,} noticed, {record['unchanged']:,} the compiler makes the "
            f"same of, {record['equivalent']:,} equivalent, {record['survivors']:,} survive: {record['score']} %")


def describe(record):
    text = table(("verdict", "mutants"), [
        ("noticed by a unit test", record["unit"]), ("noticed by a test of the program", record["e2e"]),
        ("noticed because it hangs", record["timeout"]), ("no other program for the compiler", record["unchanged"]),
        (f"nobody can notice it, for a reason in `{REASONS}`", record["equivalent"]),
        ("survives", record["survivors"])])
    text += "\n" + table(("kind", "mutants", "noticed"),
                         [(kind, row["tried"], row["killed"]) for kind, row in record["kinds"].items()])
    return text + (f"\n{record['tried']:,} of {record['all']:,} mutants, drawn by the seed; {record['invalid']:,} more do "
                   "not compile.\n")
