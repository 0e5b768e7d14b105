"""Variants and trees on a distributed engine with no code of ours in
between: a Dask LocalCluster of two worker processes on the loopback
interface maps a function over them (Dask ships them by pickle, protocol-5
buffers included) and gathers the results."""

import unittest
import warnings

import lumcore

try:
    import numpy
    from distributed import Client, LocalCluster, wait
except ImportError:
    Client = None

TIMEOUT = 120  # seconds for any one step; ctest bounds the whole run too


def summarised(value):
    """Runs in a worker process."""
    if isinstance(value, lumcore.Tree):
        data = numpy.asarray(value["data"])
        return lumcore.Tree.from_python({"name": value["name"], "sum": float(data.sum()), "shape": list(data.shape)})
    return lumcore.Variant(numpy.asarray(value) * 2)


@unittest.skipIf(Client is None, "needs NumPy and Debian's python3-distributed")
class DaskLocalCluster(unittest.TestCase):
    def test_map_and_gather(self):
        warnings.filterwarnings("ignore", category=DeprecationWarning, module="tornado")
        trees = [lumcore.Tree.from_python({"name": f"run{i}", "data": numpy.full((100, 200), float(i))})
                 for i in range(4)]
        variants = [lumcore.Variant(numpy.arange(10_000, dtype=numpy.int32) + i, ordering="ColumnMajor")
                    for i in range(4)]
        with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                          dashboard_address=None, protocol="tcp", silence_logs=40,
                          timeout=TIMEOUT) as cluster, Client(cluster, timeout=TIMEOUT) as client:
            client.wait_for_workers(2, timeout=TIMEOUT)
            workers = client.scheduler_info()["workers"]
            self.assertTrue(all(address.startswith("tcp://127.0.0.1:") for address in workers))
            futures = client.map(summarised, trees + variants)
            wait(futures, timeout=TIMEOUT)
            got = client.gather(futures)
            ran_on = client.run(lambda: lumcore.library_path)
        self.assertEqual(got[:4], [{"name": lumcore.Variant(f"run{i}"), "sum": 20_000.0 * i, "shape": [100, 200]}
                                   for i in range(4)])
        self.assertEqual(got[4:], [lumcore.Variant((numpy.arange(10_000, dtype=numpy.int32) + i) * 2)
                                   for i in range(4)])
        self.assertEqual(len(ran_on), 2)


if __name__ == "__main__":
    unittest.main()
