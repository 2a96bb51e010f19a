"""The measurements behind scripts/measure-desktop. See that script.

Latency is the time from sending the last key of an abbreviation to the target window holding
the whole expansion. The target (wordloom-test-window) saves its text to a file on every change;
that file lives on a tmpfs so the target's own fsync is not counted, and the script waits for it
with inotify instead of polling, so neither the measurer's polling interval nor its CPU use
enters the figure. With --trace, Wordloom's debug log of the stages of each expansion is read
back and each stage's median time after the key is printed.

Memory is read from /proc/PID/smaps_rollup: RSS counts every page a process maps, shared
libraries included, so summing RSS over processes counts shared pages twice; PSS splits each
shared page between its users and sums honestly."""

import argparse
import ctypes
import os
import re
import select
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
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


class FileWatch:
    """Wakes up when a file in a folder is written or renamed into place (inotify)."""

    IN_CLOSE_WRITE = 0x8
    IN_MOVED_TO = 0x80

    def __init__(self, folder):
        self.libc = ctypes.CDLL("libc.so.6", use_errno=True)
        self.fd = self.libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if self.fd < 0:
            raise OSError(ctypes.get_errno(), "inotify_init1")
        if self.libc.inotify_add_watch(self.fd, folder.encode(),
                                       self.IN_CLOSE_WRITE | self.IN_MOVED_TO) < 0:
            raise OSError(ctypes.get_errno(), "inotify_add_watch")

    def drain(self):
        try:
            while os.read(self.fd, 65536):
                pass
        except BlockingIOError:
            pass

    def wait_until(self, condition, timeout, what):
        """Returns the monotonic time at which `condition` was first seen true."""
        deadline = time.monotonic() + timeout
        while True:
            self.drain()
            if condition():
                return time.monotonic()
            remaining = deadline - time.monotonic()
            if remaining <= 0:
                raise TimeoutError("timed out waiting for " + what)
            select.select([self.fd], [], [], remaining)

    def close(self):
        os.close(self.fd)


def children(pid):
    """The processes `pid` started, from any of its threads (the script helper is started from
    a worker thread, and /proc lists a child under the thread that made it)."""
    found = []
    try:
        threads = os.listdir("/proc/%d/task" % pid)
    except FileNotFoundError:
        return []
    for thread in threads:
        try:
            with open("/proc/%d/task/%s/children" % (pid, thread)) as stream:
                found += [int(child) for child in stream.read().split()]
        except FileNotFoundError:
            pass
    return found


def wordloom_processes(supervisor):
    """[(name, pid)]: the supervisor, the application process it runs, and the helpers the
    application started (the script helper)."""
    processes = [("supervisor", supervisor)]
    for application in children(supervisor):
        processes.append(("application", application))
        pending = children(application)
        while pending:
            helper = pending.pop(0)
            processes.append(("helper " + process_name(helper), helper))
            pending += children(helper)
    return processes


def process_name(pid):
    try:
        with open("/proc/%d/comm" % pid) as stream:
            return stream.read().strip()
    except FileNotFoundError:
        return "?"


def cpu_seconds(pid):
    """0 for a process that has ended (an idle script helper retires after a minute)."""
    try:
        with open("/proc/%d/stat" % pid) as stream:
            fields = stream.read().rsplit(")", 1)[1].split()
    except FileNotFoundError:
        return 0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory_kib(pid):
    """{"Rss": ..., "Pss": ..., "Pss_Anon": ..., ...} in KiB."""
    values = {}
    with open("/proc/%d/smaps_rollup" % pid) as stream:
        for line in stream:
            parts = line.split()
            if len(parts) == 3 and parts[2] == "kB":
                values[parts[0].rstrip(":")] = int(parts[1])
    return values


def smaps_breakdown(pid, top=12):
    """[(mapping, Rss KiB, Pss KiB)], largest PSS first: where one process's memory is, by file
    mapped or kind of anonymous memory ([heap], [stack], anonymous)."""
    totals = {}
    name = None
    with open("/proc/%d/smaps" % pid) as stream:
        for line in stream:
            parts = line.split()
            if "-" in parts[0] and len(parts) >= 5 and not parts[0].endswith(":"):
                name = parts[5] if len(parts) > 5 else "anonymous"
                name = os.path.basename(name) if name.startswith("/") else name
                totals.setdefault(name, [0, 0])
            elif parts[0] in ("Rss:", "Pss:") and name is not None:
                totals[name][0 if parts[0] == "Rss:" else 1] += int(parts[1])
    rows = sorted(((n, v[0], v[1]) for n, v in totals.items()), key=lambda r: -r[2])
    return rows[:top]


def load_average():
    return "load average %.2f, %.2f, %.2f" % os.getloadavg()


def start(desktop, options, library):
    log = log_path(desktop, options)
    process = desktop.spawn([options.wordloom, "--data-dir", library, "start"])
    wait_for(lambda: "Wordloom is running" in (read(log) or ""), timeout=60, what="wordloom")
    return process


def log_path(desktop, options):
    return os.path.join(desktop.folder, os.path.basename(options.wordloom) + ".log")


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
    latency = {"id": str(uuid.uuid4()).upper(), "abbreviation": ";lat", "label": "Latency",
               "content": expansion, "contentType": "plainText", "tags": [], "isEnabled": True,
               "caseSensitivity": "auto", "triggerMode": "immediate", "createdAt": now,
               "modifiedAt": now, "useCount": 0, "matchType": "exact", "appFilterMode": "all",
               "filteredApps": []}
    snippets.append(latency)
    with open(os.path.join(folder, "snippets.json"), "w") as stream:
        json_dump(snippets, stream)


def json_dump(value, stream):
    import json
    json.dump(value, stream, indent=2, sort_keys=True)


TRACE_LINE = re.compile(r"Latency: (.+?) at ([0-9.]+) ms")


def stage_delays(log_text, sent_times):
    """For every traced stage, its delays (ms) after the key that started each sample."""
    stamps = [(float(at), stage) for stage, at in TRACE_LINE.findall(log_text)]
    delays = {}
    order = []
    for index, sent in enumerate(sent_times):
        end = sent_times[index + 1] if index + 1 < len(sent_times) else float("inf")
        seen = set()
        for at, stage in stamps:
            at_seconds = at / 1000
            if sent <= at_seconds < end and stage not in seen:
                seen.add(stage)
                delays.setdefault(stage, []).append((at_seconds - sent) * 1000)
                if stage not in order:
                    order.append(stage)
    return [(stage, delays[stage]) for stage in order]


def press(typist, name, hold):
    """Presses a key and lets it go `hold` seconds later, as a finger does, from another
    thread: the caller watches the window meanwhile. Returns that thread."""
    code = typist.x11.XKeysymToKeycode(typist.display, typist.x11.XStringToKeysym(name.encode()))
    typist.xtst.XTestFakeKeyEvent(typist.display, code, 1, 0)
    typist.x11.XSync(typist.display, 0)

    def release():
        time.sleep(hold)
        typist.xtst.XTestFakeKeyEvent(typist.display, code, 0, 0)
        typist.x11.XSync(typist.display, 0)

    releaser = threading.Thread(target=release)
    releaser.start()
    return releaser


def measure_latency(desktop, options, typist, expansion):
    output_folder = tempfile.mkdtemp(prefix="wordloom-measure-", dir="/dev/shm")
    output = os.path.join(output_folder, "qt.txt")
    watch = FileWatch(output_folder)
    try:
        desktop.spawn([options.test_window, "editor", output])
        watch.wait_until(lambda: read(output) is not None, 10, "the Qt window")
        for attempt in range(30):
            typist.type("_")
            try:
                watch.wait_until(lambda: read(output) == "_", 1, "focus")
                break
            except TimeoutError:
                pass
        typist.key("BackSpace")
        watch.wait_until(lambda: read(output) == "", 10, "empty window")

        latencies = []
        sent_times = []
        for sample in range(options.samples):
            typist.type(";la")
            watch.wait_until(lambda: read(output) == ";la", 10, "typed text")
            time.sleep(0.05)  # the typed keys are handled before the measured one
            sent = time.monotonic()
            releaser = press(typist, "t", options.hold) if options.hold else None
            if not releaser:
                typist.key("t")
            visible = watch.wait_until(lambda: read(output) == expansion, 10, "the expansion")
            if releaser:
                releaser.join()
            latencies.append((visible - sent) * 1000)
            sent_times.append(sent)
            typist.wait_keys_released()
            time.sleep(0.4)  # let the clipboard be restored before the next sample
            typist.key("a", control=True)
            typist.key("BackSpace")
            watch.wait_until(lambda: read(output) == "", 10, "empty window")
            time.sleep(options.pause)
        return latencies, sent_times
    finally:
        watch.close()
        shutil.rmtree(output_folder, ignore_errors=True)


HOTKEY = ("Super_L", "Shift_L", "y")


def bind_hotkey(desktop, options, library):
    """Gives the measured snippet the global shortcut Super+Shift+Y."""
    subprocess.run([options.wordloom, "--data-dir", library, "edit", ";lat", "--hotkey",
                    "Super+Shift+Y"], env=desktop.env, check=True, stdout=subprocess.DEVNULL)


def measure_hotkey_latency(desktop, options, typist, expansion):
    """Like measure_latency, from the key that completes the snippet's global shortcut (Y, with
    Super and Shift already down) to the expansion visible in the Qt window. The keys are let
    go right after, or `--hold` seconds later."""
    wait_for(lambda: "global shortcut" in (read(log_path(desktop, options)) or ""), timeout=60,
             what="the global shortcuts to be held")
    output_folder = tempfile.mkdtemp(prefix="wordloom-measure-", dir="/dev/shm")
    output = os.path.join(output_folder, "qt.txt")
    watch = FileWatch(output_folder)
    x11, xtst, display = typist.x11, typist.xtst, typist.display
    codes = [x11.XKeysymToKeycode(display, x11.XStringToKeysym(name.encode()))
             for name in HOTKEY]

    def send(code, down):
        xtst.XTestFakeKeyEvent(display, code, 1 if down else 0, 0)
        x11.XSync(display, 0)

    try:
        desktop.spawn([options.test_window, "editor", output])
        watch.wait_until(lambda: read(output) is not None, 10, "the Qt window")
        for attempt in range(30):
            typist.type("_")
            try:
                watch.wait_until(lambda: read(output) == "_", 1, "focus")
                break
            except TimeoutError:
                pass
        typist.key("BackSpace")
        watch.wait_until(lambda: read(output) == "", 10, "empty window")

        latencies = []
        sent_times = []
        for sample in range(options.samples):
            for code in codes[:-1]:
                send(code, True)
            time.sleep(0.05)  # the modifiers are down before the measured key
            sent = time.monotonic()
            send(codes[-1], True)
            releaser = None
            if options.hold:
                releaser = threading.Thread(
                    target=lambda: (time.sleep(options.hold),
                                    [send(code, False) for code in reversed(codes)]))
                releaser.start()
            else:
                for code in reversed(codes):
                    send(code, False)
            visible = watch.wait_until(lambda: read(output) == expansion, 10, "the expansion")
            if releaser:
                releaser.join()
            latencies.append((visible - sent) * 1000)
            sent_times.append(sent)
            typist.wait_keys_released()
            time.sleep(0.4)  # let the clipboard be restored before the next sample
            typist.key("a", control=True)
            typist.key("BackSpace")
            watch.wait_until(lambda: read(output) == "", 10, "empty window")
            time.sleep(options.pause)
        return latencies, sent_times
    finally:
        watch.close()
        shutil.rmtree(output_folder, ignore_errors=True)


TYPED_ON = " and more"


def inserter_oversleep(log_text, sent_times):
    """How much longer than asked the inserter's fixed waits took, per sample (ms): the four
    Backspaces (4 x (5 + 1) ms) and the two waits before the paste keystroke (5 + 5 ms), read
    from the traced stages."""
    stamps = [(float(at) / 1000, stage) for stage, at in TRACE_LINE.findall(log_text)]
    spans = {"backspaces": ("first segment on the clipboard", "abbreviation erased", 24.0),
             "before the paste": ("abbreviation erased", "paste keystroke down", 10.0)}
    result = {name: [] for name in spans}
    for index, sent in enumerate(sent_times):
        end = sent_times[index + 1] if index + 1 < len(sent_times) else float("inf")
        first = {}
        for at, stage in stamps:
            if sent <= at < end:
                first.setdefault(stage, at)
        for name, (begin, finish, asked) in spans.items():
            if begin in first and finish in first:
                result[name].append((first[finish] - first[begin]) * 1000 - asked)
    return result


def measure_typing_on(desktop, options, expansion):
    """The abbreviation, then at once " and more" at `options.typing_on_interval` per key on
    the server's keyboard device, as a fast typist goes on: how often the window ends up with
    the expansion followed by exactly what was typed, the latency from the abbreviation's last
    key to the expansion, and how long the last typed key waited to appear."""
    from keyboard_device import KeyboardTypist
    typist = KeyboardTypist(desktop.display)
    output_folder = tempfile.mkdtemp(prefix="wordloom-typing-on-", dir="/dev/shm")
    output = os.path.join(output_folder, "qt.txt")
    watch = FileWatch(output_folder)
    expected = expansion + TYPED_ON
    correct = 0
    latencies = []
    last_key_waits = []
    try:
        desktop.spawn([options.test_window, "editor", output])
        watch.wait_until(lambda: read(output) is not None, 10, "the Qt window")
        for attempt in range(30):
            typist.type("_")
            try:
                watch.wait_until(lambda: read(output) == "_", 1, "focus")
                break
            except TimeoutError:
                pass
        typist.key("BackSpace")
        watch.wait_until(lambda: read(output) == "", 10, "empty window")
        for sample in range(options.samples):
            typist.type(";la", delay=options.typing_on_interval)
            time.sleep(options.typing_on_interval)
            sent = time.monotonic()
            typist.key("t")
            # Typed on from another thread while this one watches the window.
            typer = threading.Thread(target=lambda: (
                time.sleep(options.typing_on_interval),
                typist.type(TYPED_ON, delay=options.typing_on_interval)))
            typer.start()
            try:
                visible = watch.wait_until(lambda: (read(output) or "").startswith(expansion),
                                           10, "the expansion")
                latencies.append((visible - sent) * 1000)
            except TimeoutError:
                pass
            typer.join()
            typed_last = time.monotonic()
            try:
                done = watch.wait_until(lambda: read(output) == expected, 3, "the typed text")
                correct += 1
                last_key_waits.append(max(0.0, done - typed_last) * 1000)
            except TimeoutError:
                print("  sample %d: %r" % (sample, read(output)), flush=True)
            typist.wait_keys_released()
            time.sleep(0.5)  # the clipboard restored, and Backspace no longer takes it back
            typist.key("a", control=True)
            typist.key("BackSpace")
            watch.wait_until(lambda: read(output) == "", 10, "empty window")
            time.sleep(options.pause)
    finally:
        watch.close()
        typist.close()
        shutil.rmtree(output_folder, ignore_errors=True)
    return correct, latencies, last_key_waits


def report_memory(when, memory, options):
    """Each process, then the supervisor and application together: the helper is reported on
    its own, it belongs to the scripting back end and runs only while scripts may be asked
    for."""
    print("memory with %d snippets, %s:" % (options.snippets, when))
    for name, values in memory:
        print("  %-22s RSS %5.1f MB, PSS %5.1f MB (anonymous %5.1f MB, files %5.1f MB)"
              % (name, values.get("Rss", 0) / 1024, values.get("Pss", 0) / 1024,
                 values.get("Pss_Anon", 0) / 1024, values.get("Pss_File", 0) / 1024))
    ours = [values for name, values in memory if not name.startswith("helper")]
    print("  supervisor+application RSS %5.1f MB, PSS %5.1f MB"
          % (sum(values.get("Rss", 0) for values in ours) / 1024,
             sum(values.get("Pss", 0) for values in ours) / 1024))
    print("  whole process tree     RSS %5.1f MB, PSS %5.1f MB (%d processes)"
          % (sum(values.get("Rss", 0) for _, values in memory) / 1024,
             sum(values.get("Pss", 0) for _, values in memory) / 1024, len(memory)))


def print_typing_on(desktop, options, expansion):
    correct, latencies, waits = measure_typing_on(desktop, options, expansion)
    line = ("typing on at %.0f ms per key right after the abbreviation: %d of %d correct"
            % (options.typing_on_interval * 1000, correct, options.samples))
    if latencies:
        line += ("; last abbreviation key to expansion visible median %.1f ms (min %.1f, max "
                 "%.1f)" % (statistics.median(latencies), min(latencies), max(latencies)))
    if waits:
        line += "; the last typed key visible %.1f ms (median) after it was sent" % (
            statistics.median(waits))
    print(line, flush=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wordloom", required=True)
    parser.add_argument("--test-window", required=True)
    parser.add_argument("--samples", type=int, default=30)
    parser.add_argument("--idle", type=float, default=60.0)
    parser.add_argument("--snippets", type=int, default=10000)
    parser.add_argument("--pause", type=float, default=0.1,
                        help="seconds between samples, after the window was emptied")
    parser.add_argument("--hold", type=float, default=0.0,
                        help="seconds the last key stays down (a typist's finger: about 0.08)")
    parser.add_argument("--smaps", action="store_true",
                        help="also show where the application's memory is, mapping by mapping")
    parser.add_argument("--hotkey", action="store_true",
                        help="expand with a snippet's global shortcut (Super+Shift+Y) instead "
                             "of typing its abbreviation")
    parser.add_argument("--trace", action="store_true",
                        help="turn on Wordloom's debug log and show when each stage was reached")
    parser.add_argument("--typing-on-interval", type=float, default=0.030,
                        help="seconds between the keys typed on after the abbreviation")
    parser.add_argument("--only-typing-on", action="store_true",
                        help="measure typing on through an expansion only")
    options = parser.parse_args()
    expansion = ("The quick brown fox jumps over the lazy dog. " * 3)[:100]
    print("before: " + load_average(), flush=True)

    with Desktop() as desktop:
        library = os.path.join(desktop.folder, "library")
        write_library(library, options.snippets, expansion)
        if options.trace:
            subprocess.run([options.wordloom, "--data-dir", library, "settings", "set",
                            "debugLoggingEnabled", "true"], env=desktop.env, check=True,
                           stdout=subprocess.DEVNULL)
        if options.hotkey:
            bind_hotkey(desktop, options, library)
        supervisor = start(desktop, options, library)
        typist = desktop.typist()
        time.sleep(2)
        started = wordloom_processes(supervisor.pid)
        start_memory = [(name, memory_kib(pid)) for name, pid in started]
        application = [pid for name, pid in started if name == "application"]
        start_smaps = smaps_breakdown(application[0]) if options.smaps and application else []
        cpu_before = sum(cpu_seconds(pid) for _, pid in started)
        if options.only_typing_on:
            print_typing_on(desktop, options, expansion)
            typist.close()
            print("after: " + load_average())
            return
        measure = measure_hotkey_latency if options.hotkey else measure_latency
        latencies, sent_times = measure(desktop, options, typist, expansion)
        if not options.hotkey:
            print_typing_on(desktop, options, expansion)
        time.sleep(2)  # the library's save after the last use
        cpu_during = sum(cpu_seconds(pid) for _, pid in started) - cpu_before

        time.sleep(2)
        processes = wordloom_processes(supervisor.pid)
        busy_memory = [(name, memory_kib(pid)) for name, pid in processes]
        before = sum(cpu_seconds(pid) for _, pid in processes)
        time.sleep(options.idle)
        after = sum(cpu_seconds(pid) for _, pid in processes)
        idle_memory = [(name, memory_kib(pid)) for name, pid in wordloom_processes(supervisor.pid)]
        idle_smaps = smaps_breakdown(application[0]) if options.smaps and application else []
        typist.close()
        log_text = read(log_path(desktop, options)) or ""

    trigger = ("hotkey press (Super+Shift+Y)" if options.hotkey
               else "last key, 4-character abbreviation,")
    print("latency, %s to expansion visible (%d samples, 100-character expansion): median "
          "%.1f ms, min %.1f ms, max %.1f ms"
          % (trigger, len(latencies), statistics.median(latencies), min(latencies),
             max(latencies)))
    if options.trace:
        for stage, delays in stage_delays(log_text, sent_times):
            print("  %-32s median %7.1f ms after the key (min %.1f, max %.1f, %d samples)"
                  % (stage, statistics.median(delays), min(delays), max(delays), len(delays)))
        for name, extra in inserter_oversleep(log_text, sent_times).items():
            if extra:
                print("  oversleep of the waits %-17s median %5.2f ms, min %.2f, max %.2f"
                      % (name, statistics.median(extra), min(extra), max(extra)))
    print("CPU used by Wordloom per expansion (typing, insertion, and the library's work after "
          "each use): %.1f ms" % (1000 * cpu_during / len(latencies)))
    print("idle CPU over %.0f s: %.3f%% of one core" % (options.idle,
                                                        100 * (after - before) / options.idle))
    report_memory("2 s after start, before any expansion", start_memory, options)
    if start_smaps:
        print("  the application's largest mappings then (RSS, PSS):")
        for name, rss, pss in start_smaps:
            print("    %-34s %6.1f MB %6.1f MB" % (name[:34], rss / 1024, pss / 1024))
    report_memory("2 s after the last expansion", busy_memory, options)
    report_memory("after the idle %.0f s" % options.idle, idle_memory, options)
    if idle_smaps:
        print("  the application's largest mappings then (RSS, PSS):")
        for name, rss, pss in idle_smaps:
            print("    %-34s %6.1f MB %6.1f MB" % (name[:34], rss / 1024, pss / 1024))
    print("after: " + load_average())


if __name__ == "__main__":
    main()
