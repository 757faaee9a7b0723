"""Proves what the program promises, and writes down what was proved."""

import argparse
import os
import pathlib
import sys
import time

from . import coverage, fuzz, mutants, proof_tests, report, static
from .context import Context, Failure

PARTS = (proof_tests.FAULTS, proof_tests.INTERRUPTION, proof_tests.HOSTILE, fuzz, coverage, mutants, static)


def parse(arguments):
    names = [part.NAME for part in PARTS]
    parser = argparse.ArgumentParser(
        prog="scripts/prove", formatter_class=argparse.RawDescriptionHelpFormatter, description=__doc__,
        epilog="parts:\n" + "\n".join(f"  {part.NAME:14}{part.SUMMARY}" for part in PARTS) +
        "\n  report        writes docs/proof.md from what has been proved\n"
        "  status        says what has been proved and what is left\n\n"
        "Without a part: all of them, and the report. A run that is cut off goes on where it was.")
    parser.add_argument("parts", nargs="*", metavar="PART", help="what to prove")
    parser.add_argument("--seed", type=int, default=1, help="of whatever is drawn at random (default 1)")
    parser.add_argument("--sample", type=int, help="how many mutants; 0 is all of them (default 300)")
    parser.add_argument("--jobs", type=int, default=(os.cpu_count() or 1) + 1, help="how many cases side by side")
    parser.add_argument("--hours", type=float, help="stop after that, and say what is left")
    parser.add_argument("--fuzz-seconds", type=int, help="of the fuzzer for each target (default 60)")
    parser.add_argument("--only-files", nargs="+", default=[], metavar="FILE", help="only mutants of these files")
    parser.add_argument("--again", action="store_true", help="forget what the parts have proved before")
    options = parser.parse_args(arguments)
    unknown = set(options.parts) - {*names, "report", "status"}
    if unknown:
        parser.error(f"unknown part: {', '.join(sorted(unknown))}")
    options.parts = options.parts or [*names, "report"]
    return options


def prove(context, part):
    """Runs a part and keeps its figures under the commit that they belong to."""
    changes = context.git("status", "--porcelain", "--", "src", "lab", "tests")
    if changes:
        raise Failure(f"commit these first, so that the figures belong to a commit:\n{changes}")
    if context.options.again:
        context.save(part.NAME, {})
    context.step(f"{part.NAME}: {part.SUMMARY}")
    commit = context.commit()
    figures = part.run(context)
    context.save(f"{part.NAME}.figures", {
        "commit": commit, "product": context.state_of(*report.product(part)), "version": context.version(),
        "date": time.strftime("%Y-%m-%d"), "seed": context.options.seed, "figures": figures})
    context.step(f"{part.NAME}: {figures['done']} done, {figures['left']} left, {len(figures['failed'])} failed")
    return not figures["failed"] and not figures["left"]


def main(arguments):
    options = parse(arguments)
    context = Context(pathlib.Path(__file__).resolve().parents[3], options)
    parts = [part for part in PARTS if part.NAME in options.parts]
    try:
        whole = all([prove(context, part) for part in parts])
        if "status" in options.parts:
            report.print_status(context, PARTS)
        if "report" in options.parts:
            report.write(context, PARTS)
    except Failure as failure:
        sys.exit(f"prove: {failure}")
    except KeyboardInterrupt:
        sys.exit("prove: stopped; the same command goes on from here")
    sys.exit(0 if whole else 1)


if __name__ == "__main__":
    main(sys.argv[1:])
