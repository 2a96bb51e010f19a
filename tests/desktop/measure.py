"""The measurements behind scripts/measure-desktop. See that script."""

import argparse
import json
import os
import statistics
import subprocess
import sys
import time
import uuid

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from harness import Desktop, wait_for  # noqa: E402


def read(path):
    try:
        with open(path, encoding="utf-8") as stream:
            return stream.read()
    except FileNotFoundError:
        return None


def wordloom_processes(supervisor):
    """The supervisor and the application process it runs."""
    pids = [supervisor]
    children = "/proc/%d/task/%d/children" % (supervisor, supervisor)
    if os.path.exists(children):
        with open(children) as stream:
            pids += [int(pid) for pid in stream.read().split()]
    return pids


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as stream:
        fields = stream.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_kib(pid):
    with open("/proc/%d/status" % pid) as stream:
        for line in stream:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


def start(desktop, options, library):
    log = os.path.join(desktop.folder, os.path.basename(options.wordloom) + ".log")
    process = desktop.spawn([options.wordloom, "--data-dir", library, "start"])
    wait_for(lambda: "Wordloom is running" in (read(log) or ""), timeout=60, what="wordloom")
    return process


def write_library(folder, count, expansion):
    os.makedirs(folder, exist_ok=True)
    now = "2026-01-15T10:00:00Z"
    snippets = []
    for index in range(count):
        snippets.append({
            "id": str(uuid.uuid4()).upper(), "abbreviation": ";s%05d" % index,
            "label": "Snippet %d" % index, "content": "Content of snippet %d" % index,
            "contentType": "plainText", "tags": [], "isEnabled": True,
            "caseSensitivity": "auto", "triggerMode": "immediate", "createdAt": now,
            "modifiedAt": now, "useCount": 0, "matchType": "exact", "appFilterMode": "all",
            "filteredApps": []})
    snippets.append(dict(snippets[0], id=str(uuid.uuid4()).upper(), abbreviation=";lat",
                         content=expansion, label="Latency"))
    with open(os.path.join(folder, "snippets.json"), "w") as stream:
        json.dump(snippets, stream, indent=2, sort_keys=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wordloom", required=True)
    parser.add_argument("--test-window", required=True)
    parser.add_argument("--samples", type=int, default=30)
    parser.add_argument("--idle", type=float, default=60.0)
    options = parser.parse_args()
    expansion = ("The quick brown fox jumps over the lazy dog. " * 3)[:100]

    with Desktop() as desktop:
        library = os.path.join(desktop.folder, "library")
        write_library(library, 10000, expansion)
        supervisor = start(desktop, options, library)
        typist = desktop.typist()
        output = os.path.join(desktop.folder, "qt.txt")
        desktop.spawn([options.test_window, "editor", output])
        wait_for(lambda: read(output) is not None, what="the Qt window")
        for attempt in range(30):
            typist.type("_")
            try:
                wait_for(lambda: read(output) == "_", timeout=1, what="focus")
                break
            except TimeoutError:
                pass
        typist.key("BackSpace")
        wait_for(lambda: read(output) == "", what="empty window")

        latencies = []
        for sample in range(options.samples):
            typist.type(";la")
            wait_for(lambda: read(output) == ";la", what="typed text")
            started = time.perf_counter()
            typist.key("t")
            wait_for(lambda: read(output) == expansion, timeout=10, interval=0.0005,
                     what="the expansion")
            latencies.append((time.perf_counter() - started) * 1000)
            typist.wait_keys_released()
            time.sleep(0.4)  # let the clipboard be restored before the next sample
            typist.key("a", control=True)
            typist.key("BackSpace")
            wait_for(lambda: read(output) == "", what="empty window")
            time.sleep(0.1)

        rss = sum(resident_kib(pid) for pid in wordloom_processes(supervisor.pid))
        time.sleep(2)
        pids = wordloom_processes(supervisor.pid)
        before = sum(cpu_seconds(pid) for pid in pids)
        time.sleep(options.idle)
        after = sum(cpu_seconds(pid) for pid in pids)
        typist.close()

    print("latency, last key to expansion visible (%d samples, 4-character abbreviation, "
          "100-character expansion): median %.1f ms, min %.1f ms, max %.1f ms"
          % (len(latencies), statistics.median(latencies), min(latencies), max(latencies)))
    print("idle CPU over %.0f s: %.3f%% of one core" % (options.idle,
                                                        100 * (after - before) / options.idle))
    print("resident memory with 10,000 snippets (supervisor + application): %.1f MB"
          % (rss / 1024))


if __name__ == "__main__":
    main()
