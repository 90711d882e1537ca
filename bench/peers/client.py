"""client.py STT-URL TTS-URL FILE.wav STREAMS FOLDER: what lingrelay-cli does with a file, plainly, on asyncio.

Sends the file at the speed of its sound, makes captions of the answers, prints each as a JSON line with the time of the
monotonic clock, has finished clauses spoken and plays them, clause after clause, into a WAV file. Runs until SIGTERM."""

import asyncio
import base64
import json
import signal
import sys
import time
import wave

import websockets

BLOCK = 0.1
LEAD_IN = 24000  # bytes: half a second, before a clause starts


class Clause:
    """A clause on its way to the ears. Its socket is opened before its text is there."""

    def __init__(self, url):
        self.opened = asyncio.ensure_future(websockets.connect(url, ping_interval=None))
        self.blocks = []
        self.ended = False
        self.came = asyncio.Event()

    async def speak(self, text):
        socket = await self.opened
        await socket.send(json.dumps({"language": "es", "audio_format": "pcm_s16le", "sample_rate": 24000}))
        await socket.send(json.dumps({"text": text, "text_end": True}))
        async for message in socket:
            answer = json.loads(message)
            if answer.get("audio"):
                self.blocks.append(base64.b64decode(answer["audio"]))
            self.ended = answer.get("audio_end", False)
            self.came.set()
            if self.ended:
                break
        await socket.close()

    async def until(self, size):
        while not self.ended and sum(map(len, self.blocks)) < size:
            self.came.clear()
            await self.came.wait()


class Captions:
    """Final tokens gather until a clause is complete; a preview is those and the tokens that may still change."""

    def __init__(self):
        self.final = {"source": "", "translation": ""}

    def fold(self, tokens):
        """The previews by kind, and the clauses that are complete."""
        changing = {"source": "", "translation": ""}
        complete = {}
        ended = False
        for token in tokens:
            text = token["text"]
            if text == "<end>":
                ended = True
                continue
            kind = "translation" if token.get("translation_status") == "translation" else "source"
            if not token["is_final"]:
                changing[kind] += text
                continue
            self.final[kind] += text
            last = self.final[kind].rstrip()[-1:]
            if last in ".!?…" or (last in ",;:" and len(self.final[kind]) > 23) or len(self.final[kind]) > 89:
                complete[kind] = True
        previews = {kind: (self.final[kind] + changing[kind]).strip() for kind in changing}
        clauses = {}
        for kind in changing:
            if self.final[kind].strip() and (ended or kind in complete):
                clauses[kind], self.final[kind] = self.final[kind].strip(), ""
        return previews, clauses


def show(kind, text):
    print(json.dumps({"t": time.monotonic(), "event": "caption", "kind": kind, "text": text}, ensure_ascii=False),
          flush=True)


class Stream:
    def __init__(self, stt, tts, sound, voice):
        self.stt, self.tts, self.sound, self.voice = stt, tts, sound, voice
        self.captions = Captions()
        self.spoken = asyncio.Queue()
        self.tasks = set()

    async def run(self):
        async with websockets.connect(self.stt, ping_interval=None) as socket:
            await socket.send(json.dumps({"audio_format": "pcm_s16le", "sample_rate": 16000, "num_channels": 1}))
            await asyncio.gather(self.send(socket), self.receive(socket), self.play())

    async def send(self, socket):
        with wave.open(self.sound) as sound:
            due = time.monotonic()
            while block := sound.readframes(int(sound.getframerate() * BLOCK)):
                await socket.send(block)
                due += BLOCK
                await asyncio.sleep(due - time.monotonic())

    async def receive(self, socket):
        following = Clause(self.tts)
        async for message in socket:
            previews, clauses = self.captions.fold(json.loads(message).get("tokens", ()))
            for kind, text in previews.items():
                if text:
                    show(kind, text)
            for kind, text in clauses.items():
                show(kind, text)
            if "translation" in clauses:
                clause, following = following, Clause(self.tts)
                task = asyncio.create_task(clause.speak(clauses["translation"]))
                self.tasks.add(task)
                task.add_done_callback(self.tasks.discard)
                self.spoken.put_nowait(clause)

    async def play(self):
        with wave.open(self.voice, "wb") as file:
            file.setparams((1, 2, 24000, 0, "NONE", ""))
            while clause := await self.spoken.get():
                await clause.until(LEAD_IN)
                due = time.monotonic()
                while clause.blocks or not clause.ended:
                    await clause.until(1)
                    if clause.blocks:
                        block = clause.blocks.pop(0)
                        file.writeframes(block)
                        due += len(block) / 48000
                        await asyncio.sleep(due - time.monotonic())


async def main(stt, tts, sound, streams, folder):
    running = asyncio.gather(*(Stream(stt, tts, sound, f"{folder}/{i}.wav").run() for i in range(int(streams))))
    asyncio.get_running_loop().add_signal_handler(signal.SIGTERM, running.cancel)
    try:
        await running
    except asyncio.CancelledError:
        pass


if __name__ == "__main__":
    asyncio.run(main(*sys.argv[1:]))
