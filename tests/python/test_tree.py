"""Trees both ways: from Python values and back, read as a Mapping and a
Sequence, by path, compared, printed, and pickled (also through a spawned
process)."""

import collections.abc
import gc
import multiprocessing
import pickle
import unittest

import lumcore
from lumcore import Tree, TreeList, TreeMap, Variant

try:
    import numpy
except ImportError:
    numpy = None

CONFIG = {"name": "rig", "sensors": [{"rate": 2.5, "on": True}, {"rate": 3, "tags": ["a", "b"]}, None],
          "limits": {"low": -1, "high": 2 ** 63}, "empty": {}, "none": [], "z": 1 + 2j}


def rates(tree):
    """Runs in a worker process."""
    return Tree.from_python({"rates": [float(s["rate"]) for s in tree["sensors"] if s is not None],
                             "first": tree["sensors", 0]})


class FromAndToPython(unittest.TestCase):
    def test_kinds_and_reading(self):
        t = Tree.from_python(CONFIG)
        self.assertIsInstance(t, TreeMap)
        self.assertIsInstance(t, collections.abc.Mapping)
        self.assertIsInstance(t["sensors"], collections.abc.Sequence)
        self.assertIsInstance(t["sensors"], TreeList)
        self.assertEqual(list(t), list(CONFIG))
        self.assertEqual(t.keys(), list(CONFIG))
        self.assertEqual(len(t), 6)
        self.assertTrue("limits" in t and "nope" not in t and 3 not in t)
        self.assertEqual(t["limits"]["high"], Variant(2 ** 63))
        self.assertEqual(t["limits"]["high"].type, "unsignedInt64")
        self.assertIsNone(t["sensors"][2])
        self.assertEqual(t["sensors"][-2]["tags"][1], Variant("b"))
        self.assertEqual(len(t["sensors"][0:3:2]), 2)
        self.assertEqual([k for k, _ in t.items()], list(CONFIG))
        self.assertEqual(t.values()[0], Variant("rig"))
        self.assertEqual(t.get("nope", 5), 5)
        self.assertIsNone(t.get(("sensors", 7)))
        self.assertIn(None, t["sensors"])

    def test_paths_go_on_into_variants(self):
        t = Tree.from_python({"grid": Variant([[1, 2], [3, 4]]), "list": [{"x": [10, 20]}]})
        self.assertEqual(t["grid", 1, 0], 3)
        self.assertEqual(t["grid", 1], Variant([3, 4]))
        self.assertEqual(t["list", 0, "x", 1], Variant(20))
        self.assertIs(t[()], t)
        with self.assertRaises(KeyError):
            t["list", 0, "y"]
        with self.assertRaises(IndexError):
            t["list", 1]
        with self.assertRaises(TypeError):
            t["list", "x"]
        with self.assertRaises(KeyError):
            t[0]

    def test_round_trip_keeps_structure_and_values(self):
        t = Tree.from_python(CONFIG)
        back = t.to_python()
        self.assertEqual(list(back), list(CONFIG))
        self.assertEqual(back["sensors"][1]["tags"], [Variant("a"), Variant("b")])
        self.assertEqual(back["z"], Variant(1 + 2j))
        self.assertEqual(back["none"], [])
        self.assertEqual(Tree.from_python(back), t)
        # A value alone is a Variant, None the null node.
        self.assertEqual(Tree.from_python(5), Variant(5))
        self.assertIsNone(Tree.from_python(None))
        self.assertEqual(Tree.from_python((1, "a")), Tree.from_python([1, "a"]))

    @unittest.skipIf(numpy is None, "needs NumPy")
    def test_numpy_arrays_are_copied_in_and_shared_out(self):
        a = numpy.arange(12.0).reshape(3, 4)
        t = Tree.from_python({"a": a, "s": numpy.float32(1.5)})
        a[0, 0] = 99
        self.assertEqual(t["a", 0, 0], 0.0)
        self.assertEqual(t["s"].type, "float")
        out = t.to_python(numpy=True)
        self.assertIsInstance(out["a"], numpy.ndarray)
        self.assertTrue(numpy.shares_memory(out["a"], numpy.asarray(t["a"])))
        self.assertIsInstance(out["s"], Variant)

    def test_refusals(self):
        with self.assertRaisesRegex(TypeError, "tree map keys are str, not int"):
            Tree.from_python({1: 2})
        with self.assertRaisesRegex(TypeError, "has no LumCore element type"):
            Tree.from_python({"a": object()})
        with self.assertRaisesRegex(TypeError, "Tree.from_python"):
            TreeMap()
        deep = []
        for _ in range(100_000):
            deep = [deep]
        with self.assertRaises(RecursionError):
            Tree.from_python(deep)

    def test_parts_outlive_the_tree_they_came_from(self):
        t = Tree.from_python({"a": {"b": [1.5, "x"]}, "v": 7})
        inner, value = t["a"], t["v"]
        del t
        gc.collect()
        self.assertEqual(inner["b", 1], Variant("x"))
        self.assertEqual(int(value), 7)
        self.assertEqual(pickle.loads(pickle.dumps(value)), Variant(7))


class EqualityAndText(unittest.TestCase):
    def test_equal_by_content_and_key_order(self):
        t = Tree.from_python({"a": 1, "b": [2.5, None]})
        self.assertEqual(t, Tree.from_python({"a": 1, "b": [2.5, None]}))
        self.assertEqual(t, {"a": 1, "b": [2.5, None]})
        self.assertNotEqual(t, Tree.from_python({"b": [2.5, None], "a": 1}))
        self.assertNotEqual(t, Tree.from_python({"a": 1.0, "b": [2.5, None]}))
        self.assertNotEqual(t, {"a": object()})
        self.assertNotEqual(t["b"], t)
        # Values compare as Variants: the layout does not count, NaN equals nothing.
        rows = Variant([[1, 2], [3, 4]])
        cols = Variant([[1, 2], [3, 4]], ordering="ColumnMajor")
        self.assertEqual(Tree.from_python([rows]), Tree.from_python([cols]))
        self.assertNotEqual(Tree.from_python([float("nan")]), Tree.from_python([float("nan")]))
        with self.assertRaises(TypeError):
            hash(t)

    def test_text_is_the_library_outline(self):
        t = Tree.from_python({"a": 1, "b": {"c": 2, "d": "x"}})
        self.assertEqual(str(t), "|---> 'a': 1\n|---> 'b': \n|    `--> 'c': 2\n\n|    `--> 'd': 'x'\n")
        self.assertEqual(repr(t), "<lumcore.TreeMap {{'a', 1}, {'b', {{'c', 2}, {'d', 'x'}}}}>")
        self.assertTrue(repr(Tree.from_python(list(range(1000)))).endswith(" ...>"))


class Pickling(unittest.TestCase):
    @unittest.skipIf(numpy is None, "needs NumPy")
    def test_large_arrays_leave_the_stream(self):
        big = numpy.arange(100_000.0)
        t = Tree.from_python({"meta": {"n": 3}, "data": [big, numpy.arange(4)], "more": big.reshape(100, 1000).T})
        for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
            self.assertEqual(pickle.loads(pickle.dumps(t, protocol=protocol)), t)
        buffers = []
        data = pickle.dumps(t, protocol=5, buffer_callback=buffers.append)
        self.assertEqual(len(buffers), 2)
        self.assertLess(len(data), 4096)
        back = pickle.loads(data, buffers=buffers)
        self.assertEqual(back, t)
        self.assertTrue(numpy.shares_memory(numpy.asarray(back["data", 0]), numpy.asarray(buffers[0])))

    def test_a_forged_layout_is_refused(self):
        from lumcore._lumcore import _tree_from_cbor
        skeleton = lumcore.dumps({"a": None, "b": 1})
        for paths in [((5,),), ((1,),), ((0, 0),), ((),), (("x",),)]:
            with self.assertRaises((ValueError, TypeError)):
                _tree_from_cbor(skeleton, paths, (Variant([1.0]),))
        with self.assertRaises(ValueError):
            _tree_from_cbor(skeleton, ((0,),), ())

    def test_through_a_spawned_process(self):
        trees = [Tree.from_python(dict(CONFIG, sensors=[{"rate": float(i)}, {"rate": 1}])) for i in range(3)]
        with multiprocessing.get_context("spawn").Pool(2) as pool:
            got = pool.map(rates, trees, chunksize=1)
        self.assertEqual(got, [{"rates": [float(i), 1.0], "first": {"rate": float(i)}} for i in range(3)])


if __name__ == "__main__":
    unittest.main()
