#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares JSON of trxctl on standard input, one object or one in each line, with the schemas of a
folder: valid.py FOLDER. Prints how many objects of which command there were, or what is wrong."""
import collections
import json
import pathlib
import sys

import jsonschema


def objects(text):
    try:
        return [json.loads(text)]
    except json.JSONDecodeError:
        return [json.loads(line) for line in text.splitlines()]


def main():
    folder = pathlib.Path(sys.argv[1])
    valid, checkers = collections.Counter(), {}
    for one in objects(sys.stdin.read()):
        command = one["command"]
        if command not in checkers:
            schema = json.loads((folder / f"{command}.schema.json").read_text(encoding="utf-8"))
            jsonschema.Draft202012Validator.check_schema(schema)
            checkers[command] = jsonschema.Draft202012Validator(schema)
        for error in checkers[command].iter_errors(one):
            sys.exit(f"{command}: {error.json_path}: {error.message[:200]}")
        valid[command] += 1
    for command, count in valid.items():
        print(f"{command}: {count} valid")
    return 0 if valid else "nothing was printed"


if __name__ == "__main__":
    sys.exit(main())
