#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Simulates gas-mpi on more ranks than there are at hand, from the report of a run with one rank.

usage: farm_model.py REPORT.json [--ranks 1,2,...] [--tiles N] [--work F] [--scene F] [options]

REPORT.json is what `gas-mpi render --json` printed for one rank, or `gas render --tiles 1-N/N --json`.
Its tiles are dealt again: to ranks that ask rank 0, which answers one at a time. Each rank first reads
the scene from a file system that all share, then builds the tree, or reads a saved one; tiles are written
to it, and rank 0 reads them all and writes the picture. A table tells for each number of ranks how long
that takes and what it waits for.
"""

import argparse
import heapq
import json

PIXEL_BYTES = 24  # of a tile: three doubles
TILE_HEADER = 256


class Farm:
    """What the machines are like. Seconds, and bytes per second."""

    def __init__(self, disk=2e9, link=1e9, answer=5e-6, latency=0.5e-3, launch=0.0, write=0.2e-3,
                 per_node=1):
        self.disk = disk  # of the file system, for all ranks together
        self.link = link  # of one node to it
        self.per_node = per_node  # ranks, which share what their node has read
        self.answer = answer  # that rank 0 takes to answer a question
        self.latency = latency  # from a question to its answer where nobody else asks
        self.launch = launch  # of the job, before ranks ask
        self.write = write  # to make a file, beside its bytes


class Scene:
    """What each rank has to do before its first tile."""

    def __init__(self, mesh_bytes, read, build, tree_bytes, check):
        self.mesh_bytes = mesh_bytes
        self.read = read  # seconds to parse the mesh
        self.build = build  # seconds
        self.tree_bytes = tree_bytes  # of a saved tree
        self.check = check  # seconds to map and check it, without reading it

    def times(self, factor):
        return Scene(*(factor * value for value in
                       (self.mesh_bytes, self.read, self.build, self.tree_bytes, self.check)))


def prepare(scene, farm, ranks, is_mapped):
    """Seconds until each rank has its scene and tree; all read at once."""
    def load(size):
        return size / min(farm.link, farm.disk / -(-ranks // farm.per_node))

    seconds = load(scene.mesh_bytes) + scene.read
    return seconds + (load(scene.tree_bytes) + scene.check if is_mapped else scene.build)


def simulate(tiles, scene, farm, ranks, is_mapped, join=0.0):
    """`tiles`: (seconds, bytes) of each in the order of dealing; `join`: seconds of rank 0 per tile.

    Ranks ask, rank 0 answers in turn, and files are written one after the other by the file system.
    """
    # What happens when: a rank asks, or has made a tile of so many bytes that is to be written.
    events = [(farm.launch, rank, None) for rank in range(ranks)]
    heapq.heapify(events)
    is_ready = [False] * ranks
    ready = prepare(scene, farm, ranks, is_mapped)
    leader_free = disk_free = 0.0
    left = iter(tiles)
    ends = []
    idle_since = []
    while events:
        now, rank, size = heapq.heappop(events)
        if size is not None:
            disk_free = max(disk_free, now) + size / farm.disk
            ends.append(max(disk_free, now + size / farm.link) + farm.write)
            heapq.heappush(events, (ends[-1], rank, None))
            continue
        tile = next(left, None)
        if tile is None:
            idle_since.append(now)
            continue
        leader_free = max(leader_free, now) + farm.answer
        done = leader_free + farm.latency + (0.0 if is_ready[rank] else ready) + tile[0]
        is_ready[rank] = True
        heapq.heappush(events, (done, rank, tile[1]))
    work = sum(seconds for seconds, _ in tiles)
    last = max(ends)
    # From the moment at which the first rank finds no more tile to the last tile's end.
    tail = last - min(idle_since)
    used = -(-min(ranks, len(tiles)) // farm.per_node)
    moved = used * (scene.mesh_bytes + (scene.tree_bytes if is_mapped else 0))
    moved += 2 * sum(size for _, size in tiles)
    return {"seconds": last + join * len(tiles), "tail": tail, "ready": ready, "bytes": moved,
            "share": work / (ranks * (last + join * len(tiles)))}


def take_tiles(report, wanted, factor):
    """The tiles of a report, `factor` times the work, joined or repeated to be `wanted`."""
    each = sorted((tile for tile in report["each"] if not tile["was_there"]),
                  key=lambda tile: (tile.get("frame", 0), tile["tile"]))
    seconds = [factor * tile["seconds"] for tile in each]
    size = report["width"] * report["height"] * PIXEL_BYTES / report["tiles"]
    wanted = wanted or len(seconds)
    if wanted < len(seconds):
        cuts = [index * len(seconds) // wanted for index in range(wanted + 1)]
        return [(sum(seconds[start:end]), (end - start) * size + TILE_HEADER)
                for start, end in zip(cuts, cuts[1:])]
    # A finer cut has tiles that are alike where the coarse one had one.
    parts = [(index + 1) * wanted // len(seconds) - index * wanted // len(seconds)
             for index in range(len(seconds))]
    return [(time / part, size / part + TILE_HEADER)
            for time, part in zip(seconds, parts) for _ in range(part)]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("report")
    parser.add_argument("--ranks", default="1,2,4,16,64,256,1000")
    parser.add_argument("--tiles", type=int, default=0, help="cut into so many; 0: as in the report")
    parser.add_argument("--work", type=float, default=1.0, help="times the work of each tile")
    parser.add_argument("--scene", type=float, default=1.0, help="times the scene")
    parser.add_argument("--mesh-bytes", type=float, default=0.0)
    parser.add_argument("--tree-bytes", type=float, default=0.0)
    parser.add_argument("--read", type=float, default=0.0, help="seconds to parse the mesh")
    parser.add_argument("--build", type=float, default=0.0, help="seconds to build the tree")
    parser.add_argument("--check", type=float, default=0.0, help="seconds to map and check it")
    parser.add_argument("--disk", type=float, default=2e9, help="bytes per second, for all ranks")
    parser.add_argument("--link", type=float, default=1e9, help="bytes per second, for one node")
    parser.add_argument("--per-node", type=int, default=1, help="ranks of a node")
    parser.add_argument("--launch", type=float, default=0.0, help="seconds before ranks ask")
    arguments = parser.parse_args()
    with open(arguments.report, encoding="utf-8") as file:
        report = json.load(file)
    tiles = take_tiles(report, arguments.tiles, arguments.work)
    scene = Scene(arguments.mesh_bytes, arguments.read, arguments.build, arguments.tree_bytes,
                  arguments.check).times(arguments.scene)
    farm = Farm(disk=arguments.disk, link=arguments.link, launch=arguments.launch,
                per_node=arguments.per_node)
    join = report["seconds"]["join"] / report["tiles"] * report["tiles"] / len(tiles)
    print("| ranks | tree | s | of it first tree | last tiles | share of work | GB moved |")
    print("|---|---|---|---|---|---|---|")
    for ranks in map(int, arguments.ranks.split(",")):
        for name, is_mapped in (("built", False), ("mapped", True)):
            if is_mapped and not scene.tree_bytes:
                continue
            end = simulate(tiles, scene, farm, ranks, is_mapped, join)
            print(f"| {ranks} | {name} | {end['seconds']:.2f} | {end['ready']:.2f} | "
                  f"{end['tail']:.2f} | {100 * end['share']:.0f} % | {end['bytes'] * 1e-9:.2f} |")


if __name__ == "__main__":
    main()
