"""A desktop of its own for the window program: X server, window manager, accessibility, sound, all in a temporary
folder and ended with it. What a test does here, a person could do: keys, pointer, the accessibility tree."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

LAB = pathlib.Path(__file__).parents[1] / "support/lab"  # made-up sound devices


def eventually(condition, limit=10.0, what="what was waited for"):
    """The first true value of `condition()`."""
    end = time.monotonic() + limit
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"{what} did not come in {limit:g} s")
        time.sleep(0.05)


class Desktop:
    """Use with `with`. One a process, since accessibility is."""

    def __init__(self, size="1600x1000", scheme="light", sound=False, compositor=True):
        self.size, self.scheme, self.with_sound, self.compositor = size, scheme, sound, compositor
        self.processes = []

    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="lingrelay-desktop-"))
        run = self.folder / "run"
        run.mkdir(mode=0o700)
        self.config = self.folder / "config"
        for name in ("WAYLAND_DISPLAY", "PIPEWIRE_REMOTE", "PULSE_SERVER", "XAUTHORITY"):
            os.environ.pop(name, None)
        os.environ.update(
            HOME=str(self.folder), XDG_RUNTIME_DIR=str(run), XDG_CONFIG_HOME=str(self.config),
            XDG_DATA_HOME=str(self.folder / "data"), XDG_STATE_HOME=str(self.folder / "state"),
            PIPEWIRE_RUNTIME_DIR=str(run), DBUS_SESSION_BUS_ADDRESS=f"unix:path={run}/bus", LANG="C.UTF-8",
            QT_QUICK_BACKEND="software", QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
            QT_ACCESSIBILITY="1", DISABLE_RTKIT="y", TZ="UTC")
        try:
            self.start_desktop()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
        for process in reversed(self.processes):
            try:
                process.wait(3)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def spawn(self, *words, **options):
        log = open(self.folder / (pathlib.Path(words[0]).name + ".log"), "ab")
        process = subprocess.Popen(words, stdout=options.pop("stdout", log), stderr=log, **options)
        self.processes.append(process)
        return process

    def start_desktop(self):
        read, write = os.pipe()
        # Without -noreset the server begins anew, and sends away who comes then, when its first guest leaves.
        self.spawn("Xvfb", "-displayfd", str(write), "-screen", "0", self.size + "x24", "-nolisten", "tcp", "-noreset",
                   pass_fds=(write,))
        os.close(write)
        with os.fdopen(read) as number:
            os.environ["DISPLAY"] = ":" + number.readline().strip()
        bus = os.environ["XDG_RUNTIME_DIR"] + "/bus"
        self.spawn("dbus-daemon", "--session", "--nofork", "--address=unix:path=" + bus)
        eventually(lambda: os.path.exists(bus), what="the session bus")
        self.start_portal()
        # Left to itself it centres a first window, and hides whether the program does.
        rules = pathlib.Path("/etc/xdg/openbox/rc.xml").read_text()
        (self.folder / "openbox.xml").write_text(rules.replace("<policy>Smart<", "<policy>UnderMouse<"))
        manager = self.spawn("openbox", "--config-file", str(self.folder / "openbox.xml"))
        if self.compositor:
            self.spawn("picom", "--backend", "xrender", "--config", "/dev/null")
        self.spawn("/usr/libexec/at-spi-bus-launcher", "--launch-immediately")
        eventually(lambda: self.managed(manager), what="the window manager")
        if self.with_sound:
            self.start_sound()

    def start_portal(self):
        self.portal = self.spawn(sys.executable, str(pathlib.Path(__file__).with_name("portal.py")), self.scheme)

    def stop_portal(self):
        self.portal.kill()
        self.portal.wait()

    def managed(self, manager):
        assert manager.poll() is None, "the window manager ended"
        check = subprocess.run(("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), capture_output=True, text=True)
        return "window id" in check.stdout

    def start_sound(self):
        shutil.copytree(LAB, self.config, dirs_exist_ok=True)
        self.sound = [self.spawn("pipewire")]
        eventually(lambda: os.path.exists(os.environ["XDG_RUNTIME_DIR"] + "/pipewire-0"), what="the sound server")
        self.sound.append(self.spawn("wireplumber"))
        eventually(lambda: b"lab.mic2" in subprocess.run(("pw-cli", "ls", "Node"), capture_output=True).stdout,
                   what="the devices")

    def stop_sound(self):
        """As if it had crashed."""
        for process in reversed(self.sound):
            process.kill()
            process.wait()
        pathlib.Path(os.environ["XDG_RUNTIME_DIR"], "pipewire-0").unlink(missing_ok=True)

    def turn_scheme(self):
        """From light to dark, and back."""
        self.scheme = "light" if self.scheme == "dark" else "dark"
        self.portal.send_signal(signal.SIGUSR1)
        time.sleep(0.5)

    def defaults(self, **values):
        """Settings as a former run has left them."""
        path = self.config / "lingrelay/defaults.json"
        path.parent.mkdir(parents=True, exist_ok=True)
        old = json.loads(path.read_text()) if path.exists() else {}
        path.write_text(json.dumps(old | values))

    def stored(self, key):
        return json.loads((self.config / "lingrelay/defaults.json").read_text()).get(key)

    def screenshot(self, path, window=None):
        subprocess.run(("import", "-window", str(window or "root"), str(path)), check=True)

    def windows(self, name):
        """Ids of the visible windows that are called so."""
        found = subprocess.run(("xdotool", "search", "--onlyvisible", "--name", f"^{name}$"), capture_output=True,
                               text=True)
        return found.stdout.split()

    def geometry(self, window):
        text = subprocess.run(("xdotool", "getwindowgeometry", "--shell", window), capture_output=True, text=True,
                              check=True).stdout
        values = dict(line.split("=") for line in text.split())
        return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))


def xdotool(*words):
    return subprocess.run(("xdotool", *map(str, words)), capture_output=True, text=True, check=True).stdout


def key(*combinations):
    for combination in combinations:
        xdotool("key", "--clearmodifiers", combination)
        time.sleep(0.05)


def click(x, y, times=1):
    xdotool("mousemove", x, y, "click", "--repeat", times, "--delay", 60, 1)


class Program:
    """The running program as assistive technology and a pointer see it. Use with `with`."""

    def __init__(self, desktop, *words):
        self.desktop, self.words = desktop, words

    def __enter__(self):
        self.process = self.desktop.spawn(*self.words)
        eventually(lambda: self.root() is not None, what="the program's accessibility tree")
        eventually(lambda: self.find("push button", "Start translating") or self.find("push button", "Bắt đầu dịch")
                   or self.find("push button", "Stop"), what="the window")
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.terminate()
            with contextlib.suppress(subprocess.TimeoutExpired):
                self.process.wait(5)
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()

    def root(self):
        import pyatspi
        for application in pyatspi.Registry.getDesktop(0):
            if application is not None and application.name == "lingrelay":
                return application
        return None

    def walk(self, node=None):
        node = node or self.root()
        if node is None:
            return
        with contextlib.suppress(Exception):
            node.clearCache()
        yield node
        with contextlib.suppress(Exception):
            for child in node:
                if child is not None:
                    yield from self.walk(child)

    def find(self, role, name):
        """The element on show with this role and a name that begins so."""
        import pyatspi
        # Releases differ in what they call a button, and one that opens a menu.
        names = {words + kind for words in (role, role.removeprefix("push ")) for kind in ("", " menu")}
        for node in self.walk():
            with contextlib.suppress(Exception):
                if node.getRoleName() in names and node.name.startswith(name) \
                        and node.getState().contains(pyatspi.STATE_SHOWING):
                    return node
        return None

    def wait(self, role, name, limit=10.0):
        return eventually(lambda: self.find(role, name), limit, f"{role} \"{name}\"")

    def chosen(self, role, name):
        """As a screen reader tells of it."""
        import pyatspi
        return self.wait(role, name).getState().contains(pyatspi.STATE_CHECKED)

    def texts(self):
        """All that is written on the window."""
        import pyatspi
        found = []
        for node in self.walk():
            with contextlib.suppress(Exception):
                if node.getState().contains(pyatspi.STATE_SHOWING) and node.name:
                    found.append(node.name)
        return found

    def box(self, role, name):
        import pyatspi
        return self.wait(role, name).queryComponent().getExtents(pyatspi.DESKTOP_COORDS)

    def press(self, role, name):
        """With the pointer, in the middle of it."""
        box = self.box(role, name)
        click(box.x + box.width // 2, box.y + box.height // 2)

    def act(self, role, name):
        """With assistive technology, without a pointer."""
        action = self.wait(role, name).queryAction()
        names = [action.getName(index) for index in range(action.nActions)]
        action.doAction(next(names.index(word) for word in ("Press", "Toggle") if word in names))
