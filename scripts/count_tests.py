#!/usr/bin/env python3
"""Counts the results in a report of ctest: count_tests.py STAGE REPORT.xml

Names what failed and what was skipped; the last line is "PASSED FAILED". A missing or unreadable report is one
failure, and so is a report without tests: neither says that anything works.
"""
import sys
import xml.etree.ElementTree as xml


def results_of_report(path):
    """Lists of test names by outcome: passed, failed, skipped."""
    outcome = {"passed": [], "failed": [], "skipped": []}
    for case in xml.parse(path).getroot().iter("testcase"):
        status = case.get("status")
        if status == "run" and case.find("failure") is None:
            kind = "passed"
        elif status == "disabled" or (status == "notrun" and skipped_itself(case)):
            kind = "skipped"
        else:
            kind = "failed"
        outcome[kind].append(case.get("name", "unnamed"))
    return outcome


def skipped_itself(case):
    """A test may skip itself; one whose program could not be started has failed."""
    skipped = case.find("skipped")
    return skipped is not None and skipped.get("message", "").startswith("SKIP_")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    stage, path = sys.argv[1:]
    try:
        outcome = results_of_report(path)
    except (OSError, xml.ParseError) as error:
        print(f"{stage}: ctest left no report: {error}")
        print("0 1")
        return
    for kind in ("skipped", "failed"):
        for name in outcome[kind]:
            print(f"{stage}: {kind}: {name}")
    passed, failed = len(outcome["passed"]), len(outcome["failed"])
    if passed + failed == 0:
        print(f"{stage}: the report names no test")
        failed = 1
    print(f"{stage}: {passed} passed, {failed} failed, {len(outcome['skipped'])} skipped")
    print(passed, failed)


if __name__ == "__main__":
    main()
