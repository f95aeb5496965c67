#!/usr/bin/env python3
"""Refreshes the examples of fald's OpenAPI schema data from a factory-default root.

    python3 tools/fald/openapi/capture.py BUILD_DIR

For every route: the example path parameters (the "params" of each family file), a request body
(kept when the file has one, else seeded from the read of the same resource), the reply the
operation gives to them on a fresh factory root ("data"), and the HTTP codes it can answer
("codes"). Hand edits of "body", "summary" and "params" are kept; "data" and "codes" are
recomputed unless "keep" is true.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import urllib.request

HERE = os.path.dirname(os.path.abspath(__file__))
HTTP = {0: 200, 3: 200, 1: 201, 2: 202, 4: 409, 8: 500, 9: 404, 10: 400}


def routes(build):
    root = tempfile.mkdtemp()
    proc = subprocess.Popen([os.path.join(build, "fald"), "--root", root, "--listen",
                             "127.0.0.1:0", "--no-auth"], stdout=subprocess.PIPE, text=True)
    try:
        line = proc.stdout.readline()
        url = line.split(" on ")[1].split(" ")[0]
        with urllib.request.urlopen(url + "api/v1") as r:
            return json.load(r)["routes"]
    finally:
        proc.terminate()
        proc.wait()
        shutil.rmtree(root)


def batch(build, root, lines):
    out = subprocess.run([os.path.join(build, "falctl"), "--root", root, "batch"], text=True,
                         input="".join(json.dumps(l) + "\n" for l in lines), capture_output=True)
    return [json.loads(l) for l in out.stdout.splitlines()]


def variables(path):
    return [s[1:-1] for s in path.split("/") if s.startswith("{")]


def seed(data, method, path):
    """A request body from the read of the same resource."""
    if data is None:
        return {}
    one = path.endswith("}") and method in ("PATCH", "PUT")
    if method == "POST" or one:
        items = data if isinstance(data, list) else next(
            (v for v in data.values() if isinstance(v, list)), None) if isinstance(data, dict) else None
        if items and isinstance(items[0], dict):
            item = dict(items[0])
            item.pop("id", None)
            return item
        return {} if method == "POST" else data
    return data


def main():
    build = sys.argv[1]
    table = routes(build)
    top = tempfile.mkdtemp()
    factory = top + "/root"
    batch(build, factory, [])
    files = {}
    for fam in sorted({r["family"] for r in table}):
        path = os.path.join(HERE, fam + ".json")
        files[fam] = json.load(open(path)) if os.path.exists(path) else {"params": {}, "operations": {}}
    reads = {(r["path"]): r for r in table if r["method"] == "GET"}
    for r in table:
        fam, name = r["family"], r["operation"]
        doc = files[fam]
        op = doc["operations"].setdefault(name, {})
        if op.get("keep"):
            continue
        rel = r["path"][len("/api/v1"):]
        params = [["@" + v, str(doc["params"].get(v, {}).get("example", "0"))] for v in variables(rel)]
        root = tempfile.mkdtemp()
        shutil.rmtree(root)
        shutil.copytree(factory, root)
        if not r["implemented"]:
            op.pop("data", None)
            op["codes"] = [501]
            continue
        body = op.get("body")
        if body is None and r["method"] != "GET" and r["method"] != "DELETE":
            base = rel if "/api/v1" + rel in reads else rel.rsplit("/", 1)[0]
            read = reads.get("/api/v1" + base) or reads.get("/api/v1" + rel.rsplit("/", 1)[0])
            data = None
            if read:
                rp = [["@" + v, str(doc["params"].get(v, {}).get("example", "0"))]
                      for v in variables(read["path"])]
                got = batch(build, root, [{"family": fam, "op": read["operation"], "params": rp}])[0]
                data = got and got.get("data")
            body = seed(data, r["method"], rel)
            op["body"] = body
        line = {"family": fam, "op": name, "params": params}
        if body is not None:
            line["body"] = body
        reply = batch(build, root, [line])[0]
        shutil.rmtree(root)
        if reply is None:  # gives no response at all: answers 501 whatever it is sent
            op.pop("body", None)
            op.pop("data", None)
            op["codes"] = [501]
            continue
        code = HTTP.get(reply["status"], 500)
        op["data"] = reply.get("data")
        codes = {code}
        # What the operation answers when its document cannot be locked, or saved.
        for control in ("failLock", "failSave") if r["method"] != "GET" else ("failLock",):
            root = tempfile.mkdtemp()
            shutil.rmtree(root)
            shutil.copytree(factory, root)
            got = batch(build, root, [{"control": control, "family": fam, "count": 1}, line])[-1]
            shutil.rmtree(root)
            if got:
                codes.add(HTTP.get(got["status"], 500))
        if code >= 300:
            # The example fails on a factory root (a missing record, say); the operation can still
            # succeed, with data the capture has not seen.
            print("%s %s: %d %s" % (r["method"], rel, code, reply.get("message")), file=sys.stderr)
            codes.add(201 if name.endswith("Create") else 200)
            del op["data"]
        if variables(rel):
            codes.add(404)
        if r["method"] != "GET":
            codes.update((400, 409))
        op["codes"] = sorted(codes)
    shutil.rmtree(top)
    for fam, doc in files.items():
        with open(os.path.join(HERE, fam + ".json"), "w") as f:
            json.dump(doc, f, indent=1)
            f.write("\n")


main()
