#!/usr/bin/env python3
"""Tells whether the tests that failed never began: neverBegan.py CTEST'S-JUNIT-FILE

Exit code 0 when some failed and none of them said a word; each is named. A test that begins says so at once.
"""
import sys
import xml.etree.ElementTree as ElementTree

failed = [case for case in ElementTree.parse(sys.argv[1]).iter("testcase") if case.get("status") == "fail"]
silent = [case.get("name") for case in failed if not (case.findtext("system-out") or "").strip()]
for name in silent:
    print(f"never began: {name}")
sys.exit(0 if silent and len(silent) == len(failed) else 1)
