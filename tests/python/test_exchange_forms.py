"""The exchange forms against independent readers and writers: Debian's
cbor2 reads what the library writes and writes what it reads, tags
included, and Python's json does the same for JSON. The library's side is
the lumcore_exchange_peer program, which converts one file through a tree."""

import json
import math
import os
import struct
import subprocess
import tempfile
import unittest

try:
    import cbor2
    from cbor2 import CBORTag
except ImportError:
    cbor2 = None

PEER = os.environ.get("LUMCORE_EXCHANGE_PEER")


def convert(mode, data):
    with tempfile.TemporaryDirectory() as work:
        source, target = os.path.join(work, "in"), os.path.join(work, "out")
        with open(source, "wb") as f:
            f.write(data)
        done = subprocess.run([PEER, mode, source, target], capture_output=True, text=True, timeout=60)
        if done.returncode != 0:
            raise ValueError(done.stderr.strip())
        with open(target, "rb") as f:
            return f.read()


def typed(tag, fmt, values):
    return CBORTag(tag, struct.pack("<%d%s" % (len(values), fmt), *values))


@unittest.skipIf(cbor2 is None or not PEER, "needs Debian's python3-cbor2 and the peer program")
class CborBothWays(unittest.TestCase):
    def test_cbor2_reads_what_the_library_writes(self):
        document = {"name": "rig", "rate": 50.5, "count": -3, "on": True, "none": None,
                    "grid": [[1, 2, 3], [4, 5, 6]], "reals": [0.5, 1.5], "texts": ["a", "é"], "empty": []}
        read = cbor2.loads(convert("json-to-cbor", json.dumps(document).encode()))
        self.assertEqual(list(read), list(document))  # the map's order
        self.assertEqual((read["name"], read["rate"], read["count"], read["on"], read["none"]),
                         ("rig", 50.5, -3, True, None))
        self.assertEqual(read["grid"], CBORTag(40, [[2, 3], typed(79, "q", [1, 2, 3, 4, 5, 6])]))
        self.assertEqual(read["reals"], CBORTag(40, [[2], typed(86, "d", [0.5, 1.5])]))
        self.assertEqual(read["texts"], CBORTag(40, [[2], CBORTag(27, ["string", ["a", "é"]])]))
        self.assertEqual(read["empty"], [])

    def test_the_library_reads_what_cbor2_writes(self):
        written = cbor2.dumps({
            "half": 1.0,  # canonical: float16
            "big": 2 ** 64 - 1,
            "row": CBORTag(40, [[2, 2], typed(86, "d", [1, 2, 3, 4])]),
            "column": CBORTag(1040, [[2, 2], typed(78, "i", [1, 2, 3, 4])]),
            "bigEndian": CBORTag(65, struct.pack(">2H", 258, 3)),
            "plain": CBORTag(40, [[3], [1, 2.5, 3]]),
            "bytes": b"\x01\x02",
            "list": [None, False, "x", [1, "y"]],
        }, canonical=False)
        written = written.replace(cbor2.dumps(1.0), cbor2.dumps(1.0, canonical=True))
        read = json.loads(convert("cbor-to-json", written))
        self.assertEqual(read, {"half": 1.0, "big": 2 ** 64 - 1, "row": [[1.0, 2.0], [3.0, 4.0]],
                                "column": [[1, 3], [2, 4]], "bigEndian": [258, 3], "plain": [1.0, 2.5, 3.0],
                                "bytes": [1, 2], "list": [None, False, "x", [1, "y"]]})

    def test_tags_without_a_json_form_come_back_as_cbor2_wrote_them(self):
        # What the library writes for these is what cbor2 wrote: the same
        # bytes come back from a decode and an encode.
        for item in [CBORTag(43000, [1.5, -2.0]),
                     CBORTag(40, [[2], CBORTag(43001, typed(85, "f", [1, 2, 3, 4]))]),
                     CBORTag(27, ["duration", -5, 250]),
                     CBORTag(40, [[2], CBORTag(27, ["timePoint", [1, 2, 3, 4]])]),
                     # A path's index is a uint64: a typed array of one element.
                     CBORTag(27, ["PropertyPath", {"path": ["sensors", typed(71, "Q", [0]), "rate"]}]),
                     CBORTag(27, ["string", b"\xff\xfe"]),
                     CBORTag(72, b"\xff"),
                     math.inf]:
            with self.subTest(item=item):
                written = cbor2.dumps({"v": item})
                self.assertEqual(cbor2.loads(convert("cbor-to-cbor", written)), {"v": item})

    def test_refusals_name_the_byte(self):
        with self.assertRaisesRegex(ValueError, "CBOR at byte 1: a map key that is not text"):
            convert("cbor-to-json", cbor2.dumps({1: 2}))
        with self.assertRaisesRegex(ValueError, "CBOR at byte 0: the tag 2, which has no meaning here"):
            convert("cbor-to-json", cbor2.dumps(2 ** 70))


@unittest.skipIf(not PEER, "needs the peer program")
class JsonBothWays(unittest.TestCase):
    DOCUMENT = {"site": "lab 2", "sensors": [{"rate": 50.0, "gain": [[1, 2], [3, 4]], "tags": ["a", "b"]}],
                "ragged": [[1, 2], [3]], "mixed": [1, "x", None, True], "empty": {}, "none": None,
                "escaped": "quote \" slash \\ tab \t é \u2603 \U0001f600", "tiny": 5e-324, "neg": -0.0}

    def test_json_reads_what_the_library_writes_and_back(self):
        text = json.dumps(self.DOCUMENT, ensure_ascii=False).encode()
        written = convert("cbor-to-json", convert("json-to-cbor", text))
        self.assertEqual(json.loads(written), self.DOCUMENT)
        self.assertEqual(math.copysign(1, json.loads(written)["neg"]), -1)
        # Python's escapes and its ASCII-only form read the same.
        ascii = json.dumps(self.DOCUMENT).encode()
        self.assertEqual(convert("cbor-to-json", convert("json-to-cbor", ascii)), written)

    def test_malformed_text_names_line_and_column(self):
        with self.assertRaisesRegex(ValueError, "JSON at line 2, column 3: a key that is not a string"):
            convert("json-to-cbor", b'{"a": 1,\n  b: 2}')


if __name__ == "__main__":
    unittest.main()


@unittest.skipIf(cbor2 is None, "needs Debian's python3-cbor2")
class DumpsAndLoads(unittest.TestCase):
    """lumcore.dumps/loads in the module, against cbor2 and json in the same process."""

    PLAIN = {"name": "rig", "rate": 2.5, "count": -3, "on": True, "none": None,
             "sensors": [{"id": 1, "tags": ["a", "b"]}, [], {}], "big": 2 ** 63 - 1, "\u00e9": "\u00fc"}

    def test_cbor_both_ways_with_cbor2(self):
        import lumcore
        tree = lumcore.Tree.from_python(self.PLAIN)
        self.assertEqual(cbor2.loads(lumcore.dumps(tree)), self.PLAIN)
        self.assertEqual(lumcore.loads(cbor2.dumps(self.PLAIN)), tree)
        self.assertEqual(lumcore.dumps(self.PLAIN), lumcore.dumps(tree))
        # cbor2's own tags: a float16, a big-endian typed array, a byte string.
        self.assertEqual(lumcore.loads(cbor2.dumps(1.5, canonical=True)), lumcore.Variant(1.5, dtype="float"))
        self.assertEqual(lumcore.loads(cbor2.dumps(CBORTag(65, b"\x00\x01\x00\x02"))), lumcore.Variant([1, 2], dtype="uint16"))
        self.assertEqual(lumcore.loads(bytearray(cbor2.dumps(b"\x01\x02"))), lumcore.Variant([1, 2], dtype="uint8"))

    def test_variants_travel_as_typed_arrays(self):
        import lumcore
        v = lumcore.Variant([[1.0, 2.0], [3.0, 4.0]], ordering="ColumnMajor")
        data = lumcore.dumps(v)
        self.assertEqual(cbor2.loads(data), CBORTag(1040, [[2, 2], typed(86, "d", [1.0, 3.0, 2.0, 4.0])]))
        back = lumcore.loads(data)
        self.assertEqual((back, back.ordering), (v, "ColumnMajor"))
        self.assertEqual(lumcore.loads(lumcore.dumps(lumcore.Variant("t\u00e9xt"))), lumcore.Variant("t\u00e9xt"))
        self.assertEqual(json.loads(lumcore.dumps(v, format="json")), [[1.0, 2.0], [3.0, 4.0]])

    def test_json_both_ways_with_json(self):
        import lumcore
        plain = dict(self.PLAIN, big=2 ** 63)
        text = lumcore.dumps(plain, format="json")
        self.assertIsInstance(text, str)
        self.assertEqual(json.loads(text), plain)
        # Read back, a list of numbers (or of texts) is an array; [] a list.
        expected = dict(plain, sensors=[{"id": 1, "tags": lumcore.Variant(["a", "b"])}, [], {}])
        self.assertEqual(lumcore.loads(json.dumps(plain)), lumcore.Tree.from_python(expected))
        self.assertEqual(lumcore.loads(json.dumps(plain).encode(), format="json"), lumcore.loads(text))
        self.assertEqual(lumcore.loads("[[1, 2], [3, 4.5]]"), lumcore.Variant([[1.0, 2.0], [3.0, 4.5]]))
        self.assertIsNone(lumcore.loads("null"))

    def test_failures_name_the_problem(self):
        import lumcore
        with self.assertRaisesRegex(lumcore.LumValueError, "CBOR at byte 3"):
            lumcore.loads(cbor2.dumps({"a": [1, 2, 3]})[:-1])
        with self.assertRaisesRegex(lumcore.LumValueError, "line 2, column 6"):
            lumcore.loads('{"a": 1,\n "b" 2}')
        with self.assertRaisesRegex(lumcore.LumValueError, "NaN"):
            lumcore.dumps({"a": float("nan")}, format="json")
        with self.assertRaisesRegex(ValueError, "format is 'cbor' or 'json', not 'xml'"):
            lumcore.dumps({}, format="xml")
        with self.assertRaisesRegex(TypeError, "CBOR is read from bytes"):
            lumcore.loads("{}", format="cbor")
        with self.assertRaises(TypeError):
            lumcore.loads(5)
