"""The page in a browser without a window, with a profile of its own and no way to other machines."""

import asyncio
import json
import pathlib
import subprocess
import tempfile
import urllib.request

import websockets

PAGE = pathlib.Path(__file__).with_name("page.html")
SWITCHES = ("--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
            "--disable-component-update", "--disable-sync", "--disable-default-apps", "--disable-extensions",
            "--disable-breakpad", "--no-proxy-server", "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
            "--autoplay-policy=no-user-gesture-required", "--remote-debugging-port=0")


class Browser:
    def __init__(self, stt, tts, streams):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        url = f"{PAGE.as_uri()}#stt={stt}&tts={tts}&streams={streams}"
        self.process = subprocess.Popen(("chromium", *SWITCHES, f"--user-data-dir={self.profile.name}", url),
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)

    def captions(self):
        """Pairs of monotonic seconds and text."""
        return asyncio.run(self._captions())

    async def _captions(self):
        port = (pathlib.Path(self.profile.name) / "DevToolsActivePort").read_text().split()[0]
        with urllib.request.urlopen(f"http://127.0.0.1:{port}/json/list") as answer:
            page = next(each for each in json.load(answer) if each["type"] == "page")
        async with websockets.connect(page["webSocketDebuggerUrl"], max_size=None) as socket:
            async def call(method, **parameters):
                await socket.send(json.dumps({"id": 1, "method": method, "params": parameters}))
                while "id" not in (message := json.loads(await socket.recv())):
                    pass
                return message["result"]
            await call("Performance.enable")
            metrics = {each["name"]: each["value"] for each in (await call("Performance.getMetrics"))["metrics"]}
            seen = await call("Runtime.evaluate", expression="JSON.stringify(seen)")
        # The browser's clock for this is the monotonic one; the page counts from its navigation.
        return [(metrics["NavigationStart"] + at / 1000, text) for at, text in json.loads(seen["result"]["value"])]

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.profile.cleanup()
