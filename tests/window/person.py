"""person.py PROGRAM [FOLDER]: a person's first hour with the window, by pointer, keyboard and accessibility tree, on a
desktop with sound. What was seen goes to FOLDER as pictures."""

import contextlib
import os
import pathlib
import subprocess
import sys

from desktop import Desktop, Program, eventually, key, xdotool
from gi.repository import Gio, GLib

BUS = "org.freedesktop.DBus"
GET = BUS + ".Properties.Get"
ITEM = "org.kde.StatusNotifierItem"
WATCHER = "org.kde.StatusNotifierWatcher"
CLIPS = pathlib.Path("/usr/share/pocketsphinx/test/data/librivox")


def call(name, path, method, kind, *arguments, part=0):
    answer = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
        name, path, *method.rsplit(".", 1), GLib.Variant(kind, arguments), None, Gio.DBusCallFlags.NONE, 2000, None)
    return answer.unpack()[part] if answer.n_children() else None


class Person:
    def __init__(self, desktop, program, folder):
        self.desktop, self.program, self.folder = desktop, program, folder

    def look(self, name):
        if self.folder:
            self.desktop.screenshot(self.folder / f"{name}.png")

    def section(self, name):
        self.program.press("list item", name)
        self.program.wait("heading", name)

    def sees(self, text, limit=20.0):
        return eventually(lambda: next((seen for seen in self.program.texts() if text in seen), None), limit,
                          f"the text \"{text}\"")

    def first_hour(self):
        self.first_start()
        self.session()
        self.transcript()
        self.history()
        self.keyboard()
        self.vietnamese_and_dark()

    def first_start(self):
        assert "Idle" in self.program.texts()
        window = eventually(lambda: self.desktop.windows("Dashboard"), what="the window")[0]
        x, y, width, height = self.desktop.geometry(window)
        assert abs(x + width / 2 - 800) < 120 and abs(y + height / 2 - 500) < 120, (x, y, width, height)
        button = self.program.box("push button", "Start translating")
        assert button.x + button.width < 420 or button.y > 880 or button.y + button.height < 730, "under the panel"
        self.program.press("radio button", "Watch a video")
        eventually(lambda: self.desktop.stored("preset") == "watchVideo", what="the scenario")
        assert self.program.chosen("radio button", "Watch a video")
        self.look("first-start")

    def session(self):
        self.program.press("push button", "Start translating")
        self.program.wait("push button", "Stop")
        self.sees("ready")
        clip = self.desktop.spawn("pw-play", str(CLIPS / "sense_and_sensibility_01_austen_64kb-0870.wav"))
        eventually(lambda: self.desktop.windows("Captions"), what="the captions panel")
        self.sees("dashwood", 30)
        self.look("live")
        for name in ("Audio Routing", "Languages"):
            self.section(name)
        clip.wait()

    def transcript(self):
        self.section("Transcript")
        self.sees("john dashwood", 30)
        # The panel shows a clause before it is finished and recorded.
        eventually(lambda: "Nothing recorded yet" not in self.program.texts(), 30, "a line")
        self.look("transcript")
        self.program.press("push button", "Stop")
        self.program.wait("push button", "Start translating")
        self.program.press("push button", "Copy")
        copied = subprocess.run(("xclip", "-o", "-selection", "clipboard"), capture_output=True, text=True, timeout=5)
        assert "THEM" in copied.stdout and "→" in copied.stdout, copied.stdout
        self.export()

    def export(self):
        self.program.press("push button", "Export")
        self.program.press("menu item", "Text")
        dialog = eventually(lambda: self.desktop.windows("Save As"), what="the save dialog")[0]
        xdotool("windowfocus", "--sync", dialog)
        for role, name in (("push button", "Export"), ("menu item", "Text")):  # once more
            self.program.act(role, name)
        assert self.desktop.windows("Save As") == [dialog]
        owner = subprocess.run(("xprop", "-id", dialog, "WM_TRANSIENT_FOR"), capture_output=True, text=True).stdout
        assert owner.split()[-1] == hex(int(self.desktop.windows("Transcript")[0])), owner
        place = self.desktop.folder / "kept.txt"
        key("ctrl+a")
        xdotool("type", str(place))
        key("Return")
        eventually(place.exists, what="the exported file")
        assert "dashwood" in place.read_text(), place.read_text()
        self.sees("Saved: ")

    def history(self):
        self.section("History")
        self.program.press("text", "Search transcripts")
        xdotool("type", "dashwood")
        row = eventually(lambda: next((seen.name for seen in self.program.walk()
                                       if seen.getRoleName() == "list item" and "English → Spanish" in
                                       (seen.description or "")), None), what="the session in the history")
        self.look("history")
        xdotool("type", "x")
        self.sees("No session holds these words")
        key("Escape")
        eventually(lambda: self.program.find("list item", row), what="the session again")
        self.program.press("list item", row)
        self.program.press("push button", "Summarise")
        eventually(lambda: self.program.find("push button", "Summarise") and
                   not self.program.find("push button", "Summarising"), 20, "the minutes")
        self.look("minutes")

    def vietnamese_and_dark(self):
        self.section("General")
        self.program.press("radio button", "Tiếng Việt")
        self.sees("Ngôn ngữ giao diện")
        self.program.wait("push button", "Bắt đầu dịch")
        before = self.brightness()
        self.desktop.turn_scheme()
        eventually(lambda: self.brightness() < before / 2, what="the dark window")
        self.look("dark-vietnamese")
        self.desktop.turn_scheme()
        self.program.press("radio button", "English")
        self.program.wait("push button", "Start translating")

    def brightness(self):
        window = xdotool("getactivewindow").strip()
        shot = subprocess.run(("import", "-window", window, "-resize", "1x1!", "-colorspace", "gray", "txt:-"),
                              capture_output=True, text=True, check=True).stdout
        return float(shot.rsplit("(", 1)[1].rstrip(")\n%"))

    def keyboard(self):
        """Every section by arrow keys alone; the main button by its key."""
        self.section("Dashboard")
        for name in ("Audio Routing", "Languages", "Transcript", "History", "General", "Shortcuts", "About"):
            key("Down")
            self.program.wait("heading" if name != "About" else "list item", name)
        eventually(lambda: self.desktop.stored("sidebarSection") == "about", what="the section by keyboard")
        key("ctrl+comma")
        self.program.wait("heading", "General")

    def service(self):
        return subprocess.run(("pgrep", "-P", str(self.program.process.pid), "-f", "lingrelay-service"),
                              capture_output=True, text=True).stdout.strip()

    def icons(self):
        """Those that the tray shows."""
        with contextlib.suppress(GLib.Error):
            known = call(WATCHER, "/StatusNotifierWatcher", GET, "(ss)", WATCHER, "RegisteredStatusNotifierItems")
            return [icon for icon in known if call(BUS, "/", BUS + ".NameHasOwner", "(s)", icon)]
        return []

    def icon(self):
        return eventually(self.icons, what="the icon")[-1]

    def picture(self):
        return call(self.icon(), "/StatusNotifierItem", GET, "(ss)", ITEM, "IconPixmap")

    def choose(self, entry):
        """In the menu of the tray's icon. What its entries are."""
        menu = (self.icon(), "/MenuBar")
        entries = {properties.get("label", "").replace("_", ""): (number, properties) for number, properties, _ in
                   call(*menu, "com.canonical.dbusmenu.GetLayout", "(iias)", 0, -1, [], part=1)[2]}
        call(*menu, "com.canonical.dbusmenu.Event", "(isvu)", entries[entry][0], "clicked", GLib.Variant("i", 0), 0)
        return {label: properties for label, (_, properties) in entries.items()}

    def tray_is_seen(self, there=True):
        for name in ("General", "Shortcuts"):
            self.section(name)
        self.sees("keeps running in the tray" if there else "There is no tray icon")

    def close_and_find(self, find):
        key("ctrl+w")
        eventually(lambda: not self.desktop.windows("Shortcuts"), what="the closed window")
        found = find()
        eventually(lambda: self.desktop.windows("Shortcuts"), what="the window again")
        return found

    def tray(self):
        """It comes late, and another one takes its place. It starts and stops, finds the closed window again, and quits."""
        self.tray_is_seen(False)
        self.desktop.start_portal()
        idle = self.picture()
        self.choose("Start translating")
        self.program.wait("push button", "Stop")
        eventually(lambda: self.picture() != idle, what="the picture of a session")
        self.tray_is_seen()
        self.desktop.stop_portal()
        self.tray_is_seen(False)
        self.desktop.start_portal()
        self.icon()
        self.tray_is_seen()
        menu = self.close_and_find(lambda: self.choose("Open Lingrelay Pro"))
        assert menu["Lingrelay Pro — Translating · Watch a video"]["enabled"] is False, menu
        assert menu[""]["type"] == "separator" and "shortcut" in menu["Quit"], menu
        self.choose("Stop translating")
        self.program.wait("push button", "Start translating")
        eventually(lambda: self.picture() == idle, what="the first picture")
        self.close_and_find(lambda: call(self.icon(), "/StatusNotifierItem", ITEM + ".Activate", "(ii)", 1, 1))
        self.section("General")
        self.program.press("check box", "Show tray icon")
        eventually(lambda: not self.icons(), what="no icon")
        self.program.press("check box", "Show tray icon")
        self.choose("Quit")


def second_launch(desktop, binary):
    window = desktop.windows("General")[0]
    aside = lambda: desktop.geometry(window)[0] < 200
    xdotool("windowmove", window, 40, 60)
    eventually(aside, what="the window at the side")
    xdotool("windowminimize", "--sync", window)
    again = desktop.spawn(binary)
    assert again.wait(10) == 0
    eventually(lambda: xdotool("getactivewindow").strip() == window, what="the raised window")
    eventually(aside, what="the window where it was, not centred again")


def odd_stores(desktop, binary, folder):
    """What the store holds may be cut off, or from another version of the program."""
    store = desktop.config / "lingrelay/defaults.json"
    store.write_text('{"tts": fal')
    with Program(desktop, binary) as program:
        program.wait("heading", "Dashboard")
        assert store.with_suffix(".json.damaged").exists()
    desktop.defaults(sidebarSection="nowhere", sourceLang="xx-nobody", targetLang="\u202ezz", preset="fancy",
                     mode="sideways", overlayFrame="here", uiLang=["en"], latencyAdjustment="soon", endpointSensitivity={})
    with Program(desktop, binary) as program:
        person = Person(desktop, program, folder)
        program.wait("heading", "Dashboard")
        person.section("Languages")
        person.look("odd-store")
        program.press("push button", "Start translating")
        person.sees("the local service cannot translate from", 3)
        eventually(lambda: desktop.windows("Captions"), what="the captions panel")
        assert not program.find("push button", "Stop")


def main(binary, folder=None):
    folder = pathlib.Path(folder) if folder else None
    if folder:
        folder.mkdir(parents=True, exist_ok=True)
    with Desktop(sound=True) as desktop:
        os.environ["LINGRELAY_LOG"] = str(desktop.folder / "log")
        xdotool("mousemove", 100, 100)
        with Program(desktop, binary) as program:
            person = Person(desktop, program, folder)
            try:
                person.first_hour()
            except BaseException:
                person.look("failed")
                raise
            second_launch(desktop, binary)
            key("ctrl+q")
            assert program.process.wait(10) == 0
        desktop.stop_portal()
        with Program(desktop, binary) as program:
            Person(desktop, program, folder).tray()
            assert program.process.wait(10) == 0
        desktop.defaults(overlayFrame="{{5000, 300}, {760, 150}}")  # a screen that has gone
        with Program(desktop, binary) as program:
            program.press("push button", "Start translating")
            panel = eventually(lambda: desktop.windows("Captions"), what="the captions panel")[0]
            assert desktop.geometry(panel) == (420, 730, 760, 150), desktop.geometry(panel)
            program.process.terminate()
            assert program.process.wait(10) == 0, "a logout ends it as the user does"
        odd_stores(desktop, binary, folder)
    print("all done")


if __name__ == "__main__":
    main(*sys.argv[1:])
