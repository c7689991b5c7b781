#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Cases of bench/farm_model.py whose answer is known.

usage: farm_model_test.py FOLDER_OF_THE_MODEL
"""

import sys
import unittest

sys.path.insert(0, sys.argv.pop(1))
import farm_model  # noqa: E402  # pylint: disable=wrong-import-position

IDEAL = farm_model.Farm(disk=1e30, link=1e30, answer=0.0, latency=0.0, launch=0.0, write=0.0)
NOTHING = farm_model.Scene(0, 0, 0, 0, 0)


def run(tiles, ranks, scene=NOTHING, farm=IDEAL, is_mapped=False, join=0.0):
    return farm_model.simulate(tiles, scene, farm, ranks, is_mapped, join)


class FarmModel(unittest.TestCase):
    def test_one_rank_takes_the_sum(self):
        tiles = [(0.5, 0), (1.0, 0), (2.0, 0)]
        end = run(tiles, 1, farm_model.Scene(0, 0.25, 1, 0, 0), join=0.125)
        self.assertAlmostEqual(end["seconds"], 3.5 + 1.25 + 3 * 0.125)

    def test_equal_tiles_divide(self):
        tiles = [(1.0, 0)] * 64
        for ranks in (1, 2, 4, 8, 64):
            end = run(tiles, ranks)
            self.assertAlmostEqual(end["seconds"], 64 / ranks)
            self.assertAlmostEqual(end["tail"], 0)
            self.assertAlmostEqual(end["share"], 1)

    def test_a_long_last_tile_is_the_tail(self):
        end = run([(1.0, 0)] * 4 + [(9.0, 0)], 4)
        self.assertAlmostEqual(end["seconds"], 10)
        self.assertAlmostEqual(end["tail"], 9)

    def test_tiles_go_to_ranks_that_ask(self):
        self.assertAlmostEqual(run([(4.0, 0)] + [(1.0, 0)] * 4, 2)["seconds"], 4)

    def test_more_ranks_than_tiles_wait(self):
        self.assertAlmostEqual(run([(1.0, 0)] * 3, 10)["seconds"], 1)

    def test_rank_0_answers_in_turn(self):
        farm = farm_model.Farm(disk=1e30, link=1e30, answer=0.5, latency=0.0, launch=2.0, write=0.0)
        self.assertAlmostEqual(run([(1.0, 0)] * 8, 8, farm=farm)["seconds"], 2 + 8 * 0.5 + 1)

    def test_ranks_share_the_file_system(self):
        farm = farm_model.Farm(disk=10, link=5, answer=0.0, latency=0.0, launch=0.0, write=0.0)
        scene = farm_model.Scene(100, 1, 7, 50, 2)
        self.assertAlmostEqual(farm_model.prepare(scene, farm, 1, False), 20 + 1 + 7)
        self.assertAlmostEqual(farm_model.prepare(scene, farm, 4, False), 40 + 1 + 7)
        self.assertAlmostEqual(farm_model.prepare(scene, farm, 4, True), 40 + 1 + 20 + 2)
        nodes = farm_model.Farm(disk=10, link=5, per_node=2)
        self.assertAlmostEqual(farm_model.prepare(scene, nodes, 4, True), 20 + 1 + 10 + 2)
        end = run([(1.0, 20)] * 4, 4, scene, farm)
        # The four tiles are written one after the other.
        self.assertAlmostEqual(end["seconds"], 48 + 1 + 4 * 2)
        self.assertAlmostEqual(end["bytes"], 4 * 100 + 2 * 4 * 20)

    def test_cuts_keep_the_work(self):
        each = [{"tile": tile, "was_there": False, "seconds": tile} for tile in (2, 1, 3, 4)]
        report = {"width": 4, "height": 4, "tiles": 4, "each": each}
        self.assertEqual([time for time, _ in farm_model.take_tiles(report, 0, 2.0)], [2, 4, 6, 8])
        for count in (1, 2, 3, 4, 7, 16):
            tiles = farm_model.take_tiles(report, count, 1.0)
            self.assertEqual(len(tiles), count)
            self.assertAlmostEqual(sum(time for time, _ in tiles), 10)


if __name__ == "__main__":
    unittest.main()
