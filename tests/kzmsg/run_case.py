#!/usr/bin/env python3
"""Runs one case of cases.txt against kzmsg and checks what it did.

  run_case.py --cases cases.txt --name NAME --kzmsg PROGRAM
              [--emulator WINE] [--var KEY=VALUE]...

Under an emulator (the Windows build under Wine) paths in the arguments
stay POSIX paths, which Wine reads on its Z: drive, and "\\r\\n" line ends
count as "\\n".
"""
import argparse
import json
import os
import re
import shlex
import subprocess
import sys


def read_case(path, name):
    """The fields of block [name], in order: a list of (key, value)."""
    fields = None
    with open(path, encoding="utf-8") as f:
        for raw in f:
            line = raw.rstrip("\n")
            if line.startswith("["):
                if fields is not None:
                    break
                if line == "[" + name + "]":
                    fields = []
                continue
            if fields is None or not line or line.startswith("#"):
                continue
            key, sep, value = line.partition(":")
            if not sep:
                raise SystemExit(f"{path}: [{name}]: no key in {line!r}")
            # One blank separates the key from the value; the rest is kept.
            fields.append((key.strip(), value[1:] if value.startswith(" ")
                           else value))
    if fields is None:
        raise SystemExit(f"{path}: no case [{name}]")
    return fields


def substitute(text, variables):
    for key, value in variables.items():
        text = text.replace("@" + key + "@", value)
    return text


def member(document, path):
    """The member at a dotted path; '#' is the length of an array."""
    node = document
    for part in path.split("."):
        if part == "#":
            node = len(node)
        elif isinstance(node, list):
            node = node[int(part)]
        else:
            node = node[part]
    return node


SKIPPED = 77  # CTest's SKIP_RETURN_CODE for these tests

EXPECT = re.compile(r"//\s*expect\s+(-?\d+|file)\s*:\s*([\w\s-]+?)\s*$")


def expected_findings(rc_path, file_name):
    """(file, id, kind) for each "// expect" comment of an .rc file."""
    found = []
    with open(rc_path, encoding="utf-8") as f:
        for line in f:
            m = EXPECT.search(line)
            if not m:
                continue
            ident = None if m.group(1) == "file" else int(m.group(1))
            for kind in m.group(2).split():
                found.append((file_name, ident, kind))
    return sorted(found, key=repr)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--cases", required=True)
    parser.add_argument("--name", required=True)
    parser.add_argument("--kzmsg", required=True)
    parser.add_argument("--emulator", default="")
    parser.add_argument("--var", action="append", default=[])
    options = parser.parse_args()
    variables = dict(v.split("=", 1) for v in options.var)

    fields = read_case(options.cases, options.name)
    args = []
    status = None
    environment = dict(os.environ)
    for key, value in fields:
        if key == "args":
            args = shlex.split(substitute(value, variables))
        elif key == "exit":
            status = int(value)
        elif key == "env":
            name, _, setting = value.partition("=")
            environment[name] = setting
        elif key == "only" and value == "native" and options.emulator:
            print(f"[{options.name}] skipped: native only")
            return SKIPPED
    if status is None:
        raise SystemExit(f"[{options.name}]: no exit status")

    command = ([options.emulator] if options.emulator else []) + \
        [options.kzmsg] + args
    run = subprocess.run(command, capture_output=True, timeout=120,
                         env=environment)
    out = run.stdout.decode("utf-8", "replace").replace("\r\n", "\n")
    err = run.stderr.decode("utf-8", "replace").replace("\r\n", "\n")

    failures = []
    if run.returncode != status:
        failures.append(f"exit status {run.returncode}, expected {status}")
    out_lines = [v for k, v in fields if k == "out"]
    if out_lines and out.split("\n")[:-1] != [substitute(v, variables)
                                              for v in out_lines]:
        failures.append("stdout differs from the out: lines")
    if status == 0 and not out_lines and not any(
            k in ("out-has", "json") for k, _ in fields) and out:
        failures.append("stdout should be empty")
    document = None
    for key, value in fields:
        value = substitute(value, variables)
        if key == "out-has" and value not in out:
            failures.append(f"stdout lacks {value!r}")
        elif key == "err-has" and value not in err:
            failures.append(f"stderr lacks {value!r}")
        elif key in ("json", "findings") and document is None:
            try:
                document = json.loads(out)
            except ValueError as e:
                failures.append(f"stdout is not JSON: {e}")
                break
        if key == "json":
            path, _, expected = value.partition(" = ")
            try:
                actual = member(document, path.strip())
            except (KeyError, IndexError, TypeError, ValueError):
                failures.append(f"no member {path.strip()}")
                continue
            if actual != json.loads(expected):
                failures.append(f"{path.strip()} is {actual!r}, "
                                f"expected {expected}")
    expected = []
    for key, value in fields:
        if key == "findings":
            file_name, _, rc_path = substitute(value, variables).partition(
                " = ")
            expected += expected_findings(rc_path.strip(), file_name.strip())
    if any(k == "findings" for k, _ in fields) and document is not None:
        actual = sorted(((f["file"], f["id"], f["kind"])
                         for f in document["findings"]), key=repr)
        if actual != sorted(expected, key=repr):
            failures.append("findings differ:\n  expected " +
                            "\n           ".join(map(repr, sorted(
                                expected, key=repr))) +
                            "\n  reported " +
                            "\n           ".join(map(repr, actual)))

    if failures:
        print("$ " + " ".join(shlex.quote(c) for c in command))
        print("--- stdout\n" + out + "--- stderr\n" + err + "---")
        for failure in failures:
            print("FAILED: " + failure)
        return 1
    print(f"[{options.name}] ok")
    return 0


if __name__ == "__main__":
    sys.exit(main())
