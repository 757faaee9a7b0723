"""What is found without running anything: clang-tidy with clang's analyzer, and cppcheck."""

import re

from .report import table

NAME = "static"
SUMMARY = "clang-tidy with clang's analyzer, and cppcheck, over src and lab"


def run(context):
    tidy = context.run(["scripts/check", "lint", "src", "lab"], capture_output=False)
    cppcheck = context.run(["scripts/check", "cppcheck"], capture_output=False)
    failed = [name for name, check in (("lint", tidy), ("cppcheck", cppcheck)) if check.returncode]
    return {"done": 2, "left": 0, "failed": failed, "files": len(_sources(context)), **_exemptions(context)}


def _sources(context):
    return context.git("ls-files", "src/*.cpp", "lab/*.cpp").splitlines()


def _exemptions(context):
    """How many checks are switched off, each with its reason beside it."""
    tidy = (context.root / ".clang-tidy").read_text(encoding="utf-8")
    cppcheck = (context.root / "cmake/cppcheck.txt").read_text(encoding="utf-8")
    places = context.run(["git", "grep", "-hE", r"NOLINT|cppcheck-suppress", "--", "src", "lab"]).stdout
    return {"tidy_off": len(re.findall(r"^  -(?!\*)", tidy, re.MULTILINE)),
            "cppcheck_off": len(re.findall(r"^[a-z]\w+", cppcheck, re.MULTILINE)),
            "places": len(places.splitlines())}


def result(figures):
    return f"clean: {figures['files']:,} sources"


def describe(figures):
    return table(("exempt, each with its reason beside it", "number"), (
        ("checks of clang-tidy that are off (.clang-tidy)", figures["tidy_off"]),
        ("kinds and places that cppcheck is not asked (cmake/cppcheck.txt)", figures["cppcheck_off"]),
        ("places in the sources that say so themselves", figures["places"])))
