#!/usr/bin/env python3
"""Writes falctl batch lines that call every operation of every family.

Each operation is called with a null request, with nothing, with an empty body, and with every
pairing of parameters, bodies and documents that the family's fixture rows (tests/fixtures/) and
test lines naming the operation use; each is run on the factory document and again on the documents of those lines, with a
failed lock and a failed save once per operation. Used by scripts/batch_compare.sh to check that
two builds of falctl answer alike.

usage: batch_requests.py FALCTL TESTS_DIR [FAMILY ...] > requests.jsonl
"""
import json
import os
import re
import subprocess
import sys
import tempfile

RAW = re.compile(r'R"\((.*?)\)"', re.S)
NAMED_RAW = re.compile(r'const\s+char\s*\*\s*(?:const\s+)?(\w+)\s*=\s*R"\((.*?)\)"', re.S)
PAIR = re.compile(r'\{\s*"([@!][A-Za-z0-9_]+)"\s*,\s*"([^"\\]*)"\s*\}')
NAMED_PARAMS = re.compile(r'FAL_PARAMS_T\s+(\w+)\s*=\s*\{(.*?)\};', re.S)
CHECK_ALL = re.compile(r'checkAll\(\s*"(\w+)"')
WORD = re.compile(r'\b[A-Za-z_]\w*\b')
MAX_BODIES = 6
MAX_DOCS = 4


def parse(text):
    try:
        value = json.loads(text)
    except ValueError:
        return None
    return value


def family_ops(falctl, root):
    out = subprocess.run([falctl, "--root", root, "ops"], check=True, capture_output=True, text=True).stdout
    ops = {}
    for line in out.splitlines():
        cols = line.split()
        if len(cols) >= 4:
            ops.setdefault(cols[0], []).append(cols[3])
    return ops


def factory_docs(falctl, root, families):
    lines = "".join(json.dumps({"control": "dump", "family": f}) + "\n" for f in families)
    out = subprocess.run([falctl, "--root", root, "batch"], input=lines, check=True, capture_output=True,
                         text=True).stdout.splitlines()
    return {f: json.loads(line)["document"] for f, line in zip(families, out)}


def test_rows(tests_dir, family):
    """(text of a row, named raw strings, named params, checkAll key in force) for each line."""
    rows = []
    directory = os.path.join(tests_dir, family)
    if not os.path.isdir(directory):
        return rows
    for name in sorted(os.listdir(directory)):
        if not name.endswith((".cpp", ".h")):
            continue
        text = open(os.path.join(directory, name), encoding="utf-8").read()
        named = {m.group(1): m.group(2) for m in NAMED_RAW.finditer(text)}
        params = {m.group(1): PAIR.findall(m.group(2)) for m in NAMED_PARAMS.finditer(text)}
        lines = text.splitlines()
        key = None
        for i, line in enumerate(lines):
            found = CHECK_ALL.search(line)
            if found:
                key = found.group(1)
            rows.append((line + "\n" + (lines[i + 1] if i + 1 < len(lines) else ""), named, params, key))
    return rows


def fixture_uses(tests_dir, family, op):
    """Parameter lists, bodies and seeded documents of the JSON fixture rows that run `op`."""
    param_sets, bodies, docs = [], [], []
    directory = os.path.join(tests_dir, "fixtures", family)
    for name in sorted(os.listdir(directory)) if os.path.isdir(directory) else []:
        if not name.endswith(".json"):
            continue
        fixture = json.load(open(os.path.join(directory, name), encoding="utf-8"))
        for case in fixture.get("cases", []):
            if case.get("op") != op:
                continue
            params = case.get("params", {})
            pairs = [tuple(p) for p in params] if isinstance(params, list) else list(params.items())
            if pairs not in param_sets:
                param_sets.append(pairs)
            if "body" in case and case["body"] not in bodies:
                bodies.append(case["body"])
            for seed in (fixture.get("seed", {}), case.get("seed", {})):
                doc = seed.get(family)
                if isinstance(doc, dict) and (None, doc) not in docs:
                    docs.append((None, doc))
    return param_sets, bodies, docs


def uses_of(op, rows, fixture=([], [], [])):
    """Parameter lists, bodies and documents of the test lines that name `op`, after those of the
    fixture rows that run it."""
    quoted = '"%s"' % op
    param_sets, bodies, docs = (list(part) for part in fixture)
    for text, named, params, key in rows:
        if quoted not in text:
            continue
        pairs = PAIR.findall(text)
        for word in WORD.findall(text):
            pairs += params.get(word, [])
        texts = RAW.findall(text) + [named[w] for w in WORD.findall(text) if w in named]
        values = [v for v in (parse(t) for t in texts) if v is not None]
        if pairs not in param_sets:
            param_sets.append(pairs)
        for v in values:
            if v not in bodies:
                bodies.append(v)
            if isinstance(v, dict):
                doc = (key, v)
                if doc not in docs:
                    docs.append(doc)
    return param_sets, bodies[:MAX_BODIES], docs[:MAX_DOCS]


def main():
    falctl, tests_dir = sys.argv[1], sys.argv[2]
    with tempfile.TemporaryDirectory() as root:
        ops = family_ops(falctl, root)
        if sys.argv[3:]:
            ops = {f: ops[f] for f in sys.argv[3:]}
        factory = factory_docs(falctl, root, list(ops))
    out = sys.stdout

    def emit(obj):
        out.write(json.dumps(obj, sort_keys=True) + "\n")

    for family, names in ops.items():
        rows = test_rows(tests_dir, family)
        for op in names:
            param_sets, bodies, docs = uses_of(op, rows, fixture_uses(tests_dir, family, op))
            documents = [factory[family]]
            for key, value in docs:
                documents.append(value)
                if key and isinstance(factory[family], dict):
                    documents.append(dict(factory[family], **{key: value}))
            for document in documents:
                emit({"control": "load", "family": family, "document": document})
                base = {"family": family, "op": op, "requester": "r1"}
                emit(dict(base, nullRequest=True))
                emit(base)
                emit(dict(base, body={}))
                for pairs in param_sets or [[]]:
                    emit(dict(base, params=[list(p) for p in pairs]))
                    for body in bodies:
                        emit(dict(base, params=[list(p) for p in pairs], body=body))
                for control in ("failLock", "failSave"):
                    emit({"control": control, "family": family, "count": 1})
                    emit(dict(base, params=[list(p) for p in (param_sets[0] if param_sets else [])],
                              body=bodies[0] if bodies else {}))
                    emit({"control": control, "family": family, "count": 0})
                emit({"control": "dump", "family": family})


if __name__ == "__main__":
    main()
