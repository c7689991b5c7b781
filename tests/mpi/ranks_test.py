#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs gas-mpi with 1, 2 and 4 ranks, kills some, and compares the pictures with those of gas.

usage: ranks_test.py GAS GAS_MPI MPIRUN
"""

import json
import os
import signal
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
GAS, GAS_MPI, MPIRUN = map(os.path.abspath, sys.argv[1:4])
# More ranks than processors, in a container, too.
ENVIRONMENT = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
SCENE = ["--detail", "0.001", "--size", "96x64", "--ao", "1", "--threads", "1"]
SPP = ["--spp", "2"]


def read(path):
    with open(path, "rb") as file:
        return file.read()


def expect(is_so, what):
    if not is_so:
        sys.exit(f"FAILED: {what}")


def mpi(ranks, options, *of_mpirun):
    return [MPIRUN, "--oversubscribe", *of_mpirun, "-n", str(ranks), GAS_MPI, "render", *options]


def run(command):
    done = subprocess.run(command, capture_output=True, text=True, env=ENVIRONMENT, check=False)
    expect(done.returncode == 0, f"{command}: exit code {done.returncode}: {done.stderr}")
    return done.stdout


def children(process):
    with open(f"/proc/{process}/task/{process}/children", encoding="ascii") as file:
        return [int(number) for number in file.read().split()]


def compare_ranks():
    for name, options, tiles in (("light.png", [], ["--tiles", "9"]), ("heat.png", ["--heatmap"], [])):
        options = SCENE + SPP + options
        run([GAS, "render", *options, "-o", "one_" + name, "--quiet"])
        for ranks in (1, 2, 4):
            report = json.loads(run(mpi(ranks, options + tiles + ["-o", name, "--json"])))
            expect(report["ranks"] == ranks, "the number of ranks")
            expect(report["made"] == report["tiles"] == len(report["each"]), "each tile made once")
            expect(read(name) == read("one_" + name), f"{name} of {ranks} ranks")
            expect(not os.path.exists(name + ".tiles"), "tiles that are not asked for stay")


def compare_frames():
    options = SCENE + SPP + ["--frames", "15-17"]
    run([GAS, "render", *options, "-o", "one_%d.ppm", "--quiet"])
    run(mpi(2, options + ["--tiles", "3", "--tiles-folder", "kept", "-o", "all_%d.ppm"]))
    for frame in (15, 16, 17):
        expect(read(f"one_{frame}.ppm") == read(f"all_{frame}.ppm"), f"frame {frame}")
    again = json.loads(run(mpi(2, options + ["--tiles", "3", "--tiles-folder", "kept", "--json",
                                             "-o", "all_%d.ppm"])))
    expect(again["already_there"] == 9, "tiles of frames are taken up")


def kill_a_rank(*of_mpirun):
    """Kills the last of three ranks when some tiles are there; the exit code of mpirun."""
    job = subprocess.Popen(
        mpi(3, SCENE + ["--spp", "24", "--tiles", "24", "-o", "killed.ppm", "--quiet"], *of_mpirun),
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=ENVIRONMENT)
    while job.poll() is None and not os.path.exists("killed.ppm.tiles/tile-04-of-24.gastile"):
        os.sched_yield()
    ranks = children(job.pid) if job.poll() is None else []
    if ranks:
        os.kill(ranks[-1], signal.SIGKILL)
    return job.wait(), bool(ranks)


def outlive_a_rank():
    run([GAS, "render", *SCENE, "--spp", "24", "-o", "whole.ppm", "--quiet"])
    exit_code, was_killed = kill_a_rank()
    expect(was_killed, "the job was over before a rank was killed")
    # Usually Open MPI ends the other ranks, too; what they had finished is there.
    expect(exit_code != 0, "a killed job says so")
    expect(os.path.exists("killed.ppm.tiles/tile-04-of-24.gastile"), "finished tiles stay")
    expect(not os.path.exists("killed.ppm"), "no picture yet")
    report = json.loads(run(mpi(2, SCENE + ["--spp", "24", "--tiles", "24", "-o", "killed.ppm",
                                            "--json"])))
    expect(report["already_there"] >= 4, "finished tiles are taken up")
    expect(read("killed.ppm") == read("whole.ppm"), "the picture of a killed job")
    # It can leave them running.
    os.remove("killed.ppm")
    _, was_killed = kill_a_rank("--enable-recovery")
    expect(was_killed, "the job was over before a rank was killed")
    expect(read("killed.ppm") == read("whole.ppm"), "the picture that the other ranks finished")


def run_job_files():
    """The examples for Slurm, as its jobs run them."""
    folder = os.path.join(ROOT, "packaging", "slurm")
    # The programs as they are installed.
    os.mkdir("bin")
    os.symlink(GAS, "bin/gas")
    os.symlink(GAS_MPI, "bin/gas-mpi")
    options = SCENE[:-2] + SPP
    path = os.path.abspath("bin") + ":" + ENVIRONMENT["PATH"]

    def submit(name, picture, task, count):
        job = dict(ENVIRONMENT, PATH=path, SLURM_ARRAY_TASK_ID=str(task),
                   SLURM_ARRAY_TASK_COUNT=str(count), SLURM_CPUS_PER_TASK="1")
        subprocess.run([os.path.join(folder, name), picture, *options], env=job, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    for task in (1, 2, 3):
        submit("gas-tiles.sbatch", "job.png", task, 3)
    run([GAS, "merge", "job.png.tiles", "-o", "job.png", "--quiet"])
    run([GAS, "render", *options, "-o", "alone.png", "--quiet"])
    expect(read("job.png") == read("alone.png"), "the picture of an array of jobs")
    submit("gas-frames.sbatch", "job_%d.ppm", 1, 2)
    run([GAS, "render", *options, "--frames", "16-31", "-o", "alone_%d.ppm", "--quiet"])
    expect(all(read(f"job_{frame}.ppm") == read(f"alone_{frame}.ppm") for frame in range(16, 32)),
           "the frames of a job")
    submit("gas-mpi.sbatch", "ranks.png", 1, 1)
    expect(read("ranks.png") == read("alone.png"), "the picture of a job of ranks")


def refuse():
    for options, exit_code in ((["none.obj", "-o", "none.png"], 1),
                               (["-o", "none.png", "--tiles", "1/2"], 2)):
        done = subprocess.run(mpi(2, options), capture_output=True, text=True, env=ENVIRONMENT,
                              check=False)
        expect(done.returncode == exit_code, f"{options}: exit code {done.returncode}")
        expect("gas: " in done.stderr, f"{options}: a message")
        expect(exit_code == 1 or done.stderr.count("gas: ") == 1, f"{options}: one message")


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    for check in (compare_ranks, compare_frames, outlive_a_rank, run_job_files, refuse):
        check()
        print(f"{check.__name__}: done", flush=True)
