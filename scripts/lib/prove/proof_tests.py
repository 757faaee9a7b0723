"""The parts whose cases are GoogleTest's: each test in turn, in its whole form, notes what it has run."""

import concurrent.futures
import json
import os
import re
import time

from .context import Failure
from .report import table

PROGRAM = "qrvadmin_proof_tests.exe"
# What all of them run; each part has files of its own beside these.
PRODUCT = ("src", ":!src/run")
FRAME = ("lab", "tests/proof/proof.*", "tests/e2e/support/*.cpp", "tests/e2e/support/*.h")


class ProofTests:
    """The tests that `pattern` selects, which stand in these files of tests/proof."""

    def __init__(self, name, summary, pattern, files, heads, result):
        self.NAME = name
        self.SUMMARY = summary
        self._pattern = pattern
        self.PRODUCT = PRODUCT
        self._sources = (*PRODUCT, *FRAME, *(f"tests/proof/{file}" for file in files))
        self._heads = heads
        self._result = result

    def result(self, figures):
        return self._result.format(**figures)

    def describe(self, figures):
        return table(self._heads, [*figures["rows"].items(), ("all", figures["cases"])])

    def run(self, context):
        context.require(["scripts/build", "release"])
        state = self._state(context)
        results = state["results"]
        left = [test for test in self._tests(context) if not results.get(test, {}).get("passed")]
        context.step(f"{self.NAME}: {len(results)} tests have run, {len(left)} are left")
        with concurrent.futures.ThreadPoolExecutor(context.options.jobs) as pool:
            runs = {pool.submit(self._run_test, context, test, number): test
                    for number, test in enumerate(left)}
            for done, run in enumerate(concurrent.futures.as_completed(runs), 1):
                result = run.result()
                if result is None:
                    continue
                results[runs[run]] = result
                context.save(self.NAME, state)
                verdict = "passed" if result["passed"] else "FAILED"
                context.step(f"{self.NAME}: {done} of {len(left)}: {runs[run]}: {verdict}, "
                             f"{result['cases']} cases, {result['seconds']} s")
        return self._figures(results, len(left) - sum(test in results for test in left))

    def _state(self, context):
        """What has passed is run again when what it ran has changed, or with another seed."""
        key = f"{context.state_of(*self._sources)} {context.options.seed}"
        state = context.load(self.NAME, {})
        if state.get("key") != key:
            state = {"key": key, "results": {}}
        return state

    def _tests(self, context):
        listing = self._lab_exec(context, "--gtest_list_tests", f"--gtest_filter={self._pattern}")
        tests, suite = [], ""
        for line in listing.stdout.splitlines():
            word = line.split("#")[0].rstrip()
            if re.fullmatch(r"\S+\.", word):
                suite = word
            elif re.fullmatch(r"  \S+", word):
                tests.append(suite + word.strip())
        if not tests:
            raise Failure(f"{self.NAME}: there are no tests {self._pattern}: {listing.stdout}{listing.stderr}")
        return tests

    def _run_test(self, context, test, number):
        if context.deadline_over():
            return None
        output = context.build / f"{self.NAME}.{number}.gtest"
        output.unlink(missing_ok=True)
        begin = time.monotonic()
        run = self._lab_exec(context, f"--gtest_filter={test}", f"--gtest_output=json:Z:{output}",
                             QRV_PROOF="whole", QRV_SEED=str(context.options.seed))
        seconds = round(time.monotonic() - begin)
        rows = _rows(output)
        output.unlink(missing_ok=True)
        passed = run.returncode == 0 and rows is not None
        if not passed:
            log = context.build / f"{re.sub('[^A-Za-z0-9.]', '_', test)}.log"
            log.write_text(run.stdout + run.stderr, encoding="utf-8")
            context.step(f"{test}: see build/prove/{log.name}")
        return {"passed": passed, "rows": rows or {}, "cases": sum(rows.values() if rows else ()), "seconds": seconds}

    def _lab_exec(self, context, *arguments, **variables):
        return context.run([context.root / "scripts/lab-exec", PROGRAM, *arguments],
                           cwd=context.root / "build/release/lab", env={**os.environ, **variables})

    @staticmethod
    def _figures(results, left):
        rows = {}
        for result in results.values():
            for row, count in result["rows"].items():
                rows[row] = rows.get(row, 0) + count
        return {"done": len(results), "left": left, "rows": dict(sorted(rows.items())), "cases": sum(rows.values()),
                "failed": sorted(test for test, result in results.items() if not result["passed"])}


def _rows(output):
    """What the test has noted, by row; none when it did not end."""
    try:
        suites = json.loads(output.read_text(encoding="utf-8"))["testsuites"]
    except (FileNotFoundError, json.JSONDecodeError):
        return None
    tests = [test for suite in suites for test in suite["testsuite"] if "row" in test]
    return {test["row"]: int(test["cases"]) for test in tests}


FAULTS = ProofTests("faults", "each kind of call fails at its 1st, 2nd, 3rd ... place", "*FaultSweep*",
                    ("*sweep*", "*model*", "*steps*"), ("command", "faults injected, one a run"),
                    "{cases:,} faults: the lines of each as required")
INTERRUPTION = ProofTests("interruption", "Ctrl+C and a kill at random moments", "*Interruption*",
                          ("interruption*", "hostile.h", "generated.h", "known*"), ("command", "runs interrupted"),
                          "{cases:,} runs: whole lines, nothing damaged")
HOSTILE = ProofTests("hostile", "hostile input, generated", "*Hostile*", ("hostile*", "generated.h", "known*"),
                     ("input", "runs"), "{cases:,} runs: no crash, no leak, no line lost")
