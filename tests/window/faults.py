"""faults.py PROGRAM [FAULT...]: what befalls the window from outside in the middle of a session. The user is told, the
session goes on, and no finished line is lost. LINGRELAY_STOP_SECONDS: for how long the window is stopped, 14 without it,
which is longer than a connection may be silent."""

import contextlib
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import time

from desktop import Desktop, Program, eventually
from person import Person

EVERY = 0.5  # seconds: a line
LINE = re.compile(r"[A-L] \d+\.")
# A program that this fills has a disk of its own, and the test sees it as that does.
OWN_DISK = ("unshare", "--user", "--map-current-user", "--keep-caps", "--mount", "sh", "-c",
            'mount -t tmpfs -o size=64k none "$0" && exec "$@"')


class Faults(Person):
    """Its local service speaks by itself: the line "A 1", then "A 2"; the next connection begins with "B 1"."""

    def __init__(self, desktop, program):
        super().__init__(desktop, program, None)

    def begin(self):
        self.program.act("push button", "Start translating")
        self.sees("ready")
        self.program.act("list item", "Transcript")
        self.program.wait("heading", "Transcript")

    def end(self):
        self.program.act("push button", "Stop")
        self.program.wait("push button", "Start translating")

    def shown(self):
        return [text.rstrip(".") for text in self.program.texts() if LINE.fullmatch(text)]

    def goes_on(self, letter=None, limit=20.0):
        """Lines come that were not there before."""
        before = set(self.shown())
        eventually(lambda: [line for line in self.shown() if line not in before and line.startswith(letter or "")],
                   limit, "another line")

    def kept(self, folder):
        """The lines of the newest session, for each connection: none is missing, and none is there twice."""
        newest = max(folder.glob("*.json"), key=lambda path: path.stat().st_mtime)
        lines = {}
        for line in json.loads(newest.read_text())["lines"]:
            letter, number = line["translation"].rstrip(".").split()
            lines.setdefault(letter, []).append(int(number))
        for letter, numbers in lines.items():
            assert numbers == list(range(1, len(numbers) + 1)), (letter, numbers)
        return {letter: len(numbers) for letter, numbers in lines.items()}

    def stopped(self):
        """What came meanwhile is read."""
        length = float(os.environ.get("LINGRELAY_STOP_SECONDS", 14))
        self.begin()
        self.goes_on()
        self.program.process.send_signal(signal.SIGSTOP)
        time.sleep(length)
        self.program.process.send_signal(signal.SIGCONT)
        self.goes_on()
        self.sees("ready")
        self.end()
        lines = self.kept(self.desktop.folder / "data/LingrelayPro/Sessions")
        assert lines["A"] >= length / EVERY, lines

    def sound_server_dies(self):
        self.begin()
        eventually(lambda: self.sound() > 0, what="the sound at the service")
        self.desktop.stop_sound()
        self.sees("the sound server (PipeWire) is not running")
        self.goes_on()
        self.desktop.start_sound()
        eventually(lambda: not any("PipeWire" in text for text in self.program.texts()), what="the end of the warning")
        self.sees("ready")
        before = self.sound()
        eventually(lambda: self.sound() > before + 16000, what="the sound at the service again")
        self.goes_on()
        self.end()
        self.kept(self.desktop.folder / "data/LingrelayPro/Sessions")

    def sound(self):
        """In bytes, as the service wrote it down."""
        record = (self.desktop.folder / "record").read_text().splitlines()
        return sum(json.loads(line)["bytes"] for line in record if '"binary"' in line)

    def service_dies(self):
        """In the middle of a session, which goes on with the one that takes its place."""
        self.begin()
        self.goes_on("A")
        start = time.monotonic()
        os.kill(int(self.service()), signal.SIGKILL)
        self.sees("reconnecting")
        eventually(lambda: set("EFGH") & {line[0] for line in self.shown()}, 30, "a line of the next service")
        print(f"service_dies: another one's line after {time.monotonic() - start:.1f} s")
        log = pathlib.Path(os.environ["LINGRELAY_LOG"])
        assert "[service] it has ended" in log.read_text() and log.stat().st_mode & 0o777 == 0o600
        self.sees("ready")
        self.end()
        lines = self.kept(self.desktop.folder / "data/LingrelayPro/Sessions")
        assert len(lines) == 2, lines

    def service_hangs(self):
        self.begin()
        self.goes_on("A")
        service = int(self.service())
        os.kill(service, signal.SIGSTOP)
        try:
            self.sees("reconnecting", 30)
        finally:
            os.kill(service, signal.SIGCONT)
        eventually(lambda: set("BCD") & {line[0] for line in self.shown()}, 30, "a line of the next connection")
        self.sees("ready")
        self.end()
        lines = self.kept(self.desktop.folder / "data/LingrelayPro/Sessions")
        assert len(lines) == 2, lines

    def full_disk(self):
        disk = pathlib.Path(f"/proc/{self.program.process.pid}/root{self.desktop.folder}/data/LingrelayPro")
        with contextlib.suppress(OSError), open(disk / "filler", "wb", buffering=0) as filler:
            while True:
                filler.write(b"\0" * 4096)
        self.begin()
        self.goes_on()
        self.sees("No space left")
        self.goes_on()
        self.end()
        self.sees("No space left")
        assert not list((disk / "Sessions").glob("*.json"))
        (disk / "filler").unlink()
        self.begin()
        self.goes_on()
        self.end()
        assert len(self.kept(disk / "Sessions")) == 2, "those of the session that did not fit, too"
        assert not any("No space left" in text for text in self.program.texts())


def speaking_service(desktop, binary):
    """Every connection has a letter of its own, also after another process has taken over."""
    def connection(letter):
        def line(number):
            text = f"{letter} {number}."
            tokens = [{"text": text, "is_final": True},
                      {"text": text, "is_final": True, "translation_status": "translation", "language": "es"}]
            return {"at_ms": 1000 * EVERY * number, "send": {"tokens": tokens}}
        return {"steps": [line(number) for number in range(1, 300)]}

    sent = {"stream_id": "$stream_id"}
    voice = [{"after_texts": 2, "tone_ms": 100}, {"send": sent | {"audio_end": True}}, {"send": sent | {"terminated": True}}]
    for generation, letters in enumerate(("ABCD", "EFGH", "IJKL")):
        script = {"stt": [connection(letter) for letter in letters], "record": str(desktop.folder / "record"),
                  "tts": [{"steps": voice}], "http": {"end": [{"offline": True}]}}
        (desktop.folder / f"script{generation}.json").write_text(json.dumps(script))
    place = desktop.folder / "service"
    place.write_text(f"""#!/bin/sh
cd '{desktop.folder}'
echo >> starts
exec '{binary.parent}/lingrelay-service' --script "script$(($(wc -l < starts) - 1)).json" "$@"
""")
    place.chmod(0o755)
    os.environ["LINGRELAY_SERVICE"] = str(place)


def disk_of_its_own(desktop):
    """What stands before a program that this fills; nothing where that is not allowed."""
    place = desktop.folder / "data/LingrelayPro"
    place.mkdir(parents=True, exist_ok=True)
    words = (*OWN_DISK, str(place))
    allowed = subprocess.run((*words, "true"), capture_output=True).returncode == 0
    return words if allowed else None


def main(binary, *chosen):
    with Desktop(sound=True, compositor=False) as desktop:
        os.environ["LINGRELAY_LOG"] = str(desktop.folder / "log")
        speaking_service(desktop, pathlib.Path(binary).resolve())
        for fault in (Faults.stopped, Faults.sound_server_dies, Faults.service_dies, Faults.service_hangs,
                      Faults.full_disk):
            if chosen and fault.__name__ not in chosen:
                continue
            start = time.monotonic()
            (desktop.folder / "starts").unlink(missing_ok=True)
            before = disk_of_its_own(desktop) if fault is Faults.full_disk else ()
            if before is None:
                print("full_disk: skipped, no mounts in a namespace of a program's own are allowed here")
                continue
            with Program(desktop, *before, binary) as program:
                try:
                    fault(Faults(desktop, program))
                except BaseException:
                    print(program.texts(), (desktop.folder / "log").read_text()[-3000:], sep="\n")
                    raise
            print(f"{fault.__name__}: {time.monotonic() - start:.1f} s", flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
