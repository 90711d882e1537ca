"""window.py PROGRAM EMPTY BUSY [PAIRS]: start and memory of the window beside an empty one, in pairs on one desktop;
then the window under a busy conversation."""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/window"))
from desktop import Desktop  # noqa: E402

FRAME = "rendered"


def memory(pid):
    """Proportional share of the process and its children, MiB."""
    total = 0.0
    for process in [pid] + [int(child) for child in
                            subprocess.run(("pgrep", "-P", str(pid)), capture_output=True, text=True).stdout.split()]:
        with open(f"/proc/{process}/smaps_rollup") as lines:
            total += next(int(line.split()[1]) for line in lines if line.startswith("Pss:")) / 1024
    return total


def resident(pid):
    with open(f"/proc/{pid}/status") as lines:
        return next(int(line.split()[1]) for line in lines if line.startswith("VmRSS:")) / 1024


def start(desktop, binary):
    """Seconds from the process's start to its first frame, resident MiB, proportional MiB with children."""
    environment = dict(os.environ, QT_LOGGING_RULES="qt.scenegraph.time.renderloop.debug=true",
                       QT_LINUX_ACCESSIBILITY_ALWAYS_ON="0")
    begin = time.monotonic()
    process = subprocess.Popen((binary,), stderr=subprocess.PIPE, text=True, env=environment)
    try:
        first = next(time.monotonic() - begin for line in process.stderr if FRAME in line)
        time.sleep(1.5)
        return first, resident(process.pid), memory(process.pid)
    finally:
        process.terminate()
        process.wait()
        process.stderr.close()


def add_rows(result, path):
    """For the table that bench/run closes with. The window's memory is held to half more than the empty one's; what
    lingrelay-cli takes may come on top of that and is not asked for."""
    limits = {"first frame, s": 1.5, "resident, MiB": 1.5}
    with open(path, "a") as file:
        for figure, row in result.items():
            name, unit = figure.rsplit(", ", 1)
            print(json.dumps({"figure": "the window: " + name, "unit": unit, "ours": row["ours"], "beside": "empty window",
                              "other": row["floor"], "judge": "ratio", "ratio": row["ratio"],
                              "most": limits.get(figure, 0)}), file=file)


def main(program, empty, busy, pairs="9"):
    with Desktop(compositor=False) as desktop:
        desktop.defaults(sidebarSection="dashboard", targetLang="es", sourceLang="en")
        rows = []
        for _ in range(int(pairs)):
            rows.append((start(desktop, program), start(desktop, empty)))
        subprocess.run((busy,), check=True)
    result = {}
    for index, name in enumerate(("first frame, s", "resident, MiB", "with its service, MiB")):
        ours = statistics.median(row[0][index] for row in rows)
        floor = statistics.median(row[1][index] for row in rows)
        ratio = statistics.median(row[0][index] / row[1][index] for row in rows)
        result[name] = {"ours": ours, "floor": floor, "ratio": ratio}
        print(f"{name:24} ours {ours:8.3f}  empty window {floor:8.3f}  ratio {ratio:5.2f}")
    if "LINGRELAY_BENCH_ROWS" in os.environ:
        add_rows(result, os.environ["LINGRELAY_BENCH_ROWS"])


if __name__ == "__main__":
    main(*sys.argv[1:])
