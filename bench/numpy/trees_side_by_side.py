#!/usr/bin/env python3
"""LumCore's trees and exchange forms beside pickle, cbor2, json and dicts,
as a Python user meets them, in one process.

Each row times one whole operation on LumCore's side and on each peer's,
interleaved so that all sides see the same machine state; rows that move a
large array also time the limit, a copy of its bytes into memory already
mapped (once per copy the operation cannot avoid). Printed are the medians
and the ratios of time (LumCore / peer: below 1, LumCore is faster).

    PYTHONPATH=build/release/python /usr/bin/python3 bench/numpy/trees_side_by_side.py
"""

import argparse
import json
import pickle
import statistics
import sys
import time

from side_by_side import duration, warm_copy


class Row:
    def __init__(self, name, lumcore, peers, check, limit=None, inner=1):
        self.name, self.lumcore, self.peers, self.check, self.limit, self.inner = name, lumcore, peers, check, limit, inner


def seconds(call, inner):
    started = time.perf_counter()
    for _ in range(inner):
        call()
    return (time.perf_counter() - started) / inner


def measure(row, repeats):
    sides = [("LumCore", row.lumcore)] + list(row.peers.items()) + ([("limit", row.limit)] if row.limit else [])
    for _, call in sides:
        call()
    if not row.check():
        raise SystemExit(f"{row.name}: LumCore's result differs from the peer's")
    times = {name: [] for name, _ in sides}
    for _ in range(repeats):
        for name, call in sides:
            times[name].append(seconds(call, row.inner))
    return {name: statistics.median(values) for name, values in times.items()}


def big_array_rows(np, lumcore, cbor2):
    """A tree holding a 16 Mi double array, written and read back."""
    n = 16 << 20
    array = np.arange(n, dtype=np.float64)
    tree = lumcore.Tree.from_python({"data": array})

    # cbor2 writes the same bytes as LumCore (a typed array under tag 40)
    # and reads them back into a NumPy array.
    def cbor2_dumps():
        return cbor2.dumps({"data": cbor2.CBORTag(40, [[n], cbor2.CBORTag(86, array.tobytes())])})

    def cbor2_hook(decoder, tag):
        if tag.tag == 86:
            return np.frombuffer(tag.value, dtype=np.float64)
        if tag.tag == 40:
            return tag.value[1].reshape(tag.value[0])
        return tag

    def lum_round_trip():
        return lumcore.loads(lumcore.dumps(tree))

    def check():
        back = lum_round_trip()
        peer = cbor2.loads(cbor2_dumps(), tag_hook=cbor2_hook)
        return (lumcore.dumps(tree) == cbor2_dumps() and back == tree and
                np.array_equal(np.asarray(back["data"]), peer["data"]) and
                np.array_equal(pickle.loads(pickle.dumps(array, protocol=5)), array))

    copy = warm_copy(np, n * 8)
    return [Row("dumps + loads, tree of a 16 Mi double array", lum_round_trip,
                {"pickle 5 in band": lambda: pickle.loads(pickle.dumps(array, protocol=5)),
                 "cbor2": lambda: cbor2.loads(cbor2_dumps(), tag_hook=cbor2_hook)},
                check, limit=lambda: (copy(), copy()), inner=1)]


def configuration(np):
    """100,000 values in 1,000 maps of 100 keys: numbers, flags and text."""
    rng = np.random.default_rng(7)
    reals = rng.random(100_000).tolist()
    sections = {}
    for s in range(1000):
        entries = {}
        for k in range(100):
            i = s * 100 + k
            kind = k % 4
            entries[f"key{k}"] = (reals[i] if kind == 0 else i if kind == 1 else bool(i & 1) if kind == 2
                                  else f"value {i}")
        sections[f"section{s}"] = entries
    return sections


def configuration_rows(np, lumcore, cbor2):
    config = configuration(np)
    tree = lumcore.Tree.from_python(config)
    as_cbor, as_json = lumcore.dumps(tree), lumcore.dumps(tree, format="json")
    peer_cbor, peer_json = cbor2.dumps(config), json.dumps(config, separators=(",", ":"))

    def walk(root):
        count = 0
        for section in root.values():
            for value in section.values():
                count += 1
        return count

    last = ("section999", "key98")
    return [
        Row("dumps to CBOR, configuration tree", lambda: lumcore.dumps(tree),
            {"cbor2": lambda: cbor2.dumps(config)},
            lambda: lumcore.dumps(tree) == peer_cbor, inner=3),
        Row("loads from CBOR, configuration tree", lambda: lumcore.loads(as_cbor),
            {"cbor2": lambda: cbor2.loads(peer_cbor)},
            lambda: lumcore.loads(as_cbor) == tree and cbor2.loads(peer_cbor) == config, inner=3),
        Row("dumps to JSON, configuration tree", lambda: lumcore.dumps(tree, format="json"),
            {"json": lambda: json.dumps(config, separators=(",", ":"))},
            lambda: json.loads(as_json) == config, inner=3),
        Row("loads from JSON, configuration tree", lambda: lumcore.loads(as_json),
            {"json": lambda: json.loads(peer_json)},
            lambda: lumcore.loads(peer_json) == tree, inner=3),
        Row("  loads, then read every value (CBOR)", lambda: walk(lumcore.loads(as_cbor)),
            {"cbor2": lambda: walk(cbor2.loads(peer_cbor))},
            lambda: walk(lumcore.loads(as_cbor)) == 100_000, inner=1),
        Row("Tree.from_python, configuration dicts", lambda: lumcore.Tree.from_python(config),
            {"cbor2.dumps": lambda: cbor2.dumps(config)},
            lambda: lumcore.Tree.from_python(config) == tree, inner=1),
        Row("walk all 100,000 values", lambda: walk(tree), {"dicts": lambda: walk(config)},
            lambda: walk(tree) == walk(config) == 100_000 and tree[last] == lumcore.Variant(config[last[0]][last[1]]), inner=3),
    ]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repeats", type=int, default=7)
    args = parser.parse_args()
    try:
        import numpy as np
        import cbor2
    except ImportError as missing:
        print(f"skipped: {sys.executable} cannot import {missing.name}; install Debian's python3-numpy and "
              "python3-cbor2 and run this with /usr/bin/python3")
        return 0
    import lumcore
    from importlib.metadata import version

    print(f"NumPy {np.__version__}, cbor2 {version('cbor2')}, Python {sys.version.split()[0]}, "
          f"medians of {args.repeats}")
    print(f"{'case':46} {'LumCore':>10}   peers (time, LumCore/peer)")
    for row in big_array_rows(np, lumcore, cbor2) + configuration_rows(np, lumcore, cbor2):
        medians = measure(row, args.repeats)
        ours = medians.pop("LumCore")
        peers = "   ".join(f"{name} {duration(t).strip()} ({ours / t:.2f}x)" for name, t in medians.items())
        print(f"{row.name:46} {duration(ours)}   {peers}", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
