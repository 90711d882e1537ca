"""screenshots.py PROGRAM FOLDER: every section in both languages, light and dark, at the normal and the smallest size,
as PNG files in FOLDER."""

import json
import pathlib
import sys
import time

from desktop import Desktop, Program, eventually, xdotool

SECTIONS = ("dashboard", "devices", "languages", "transcript", "history", "general", "shortcuts", "about")
TITLES = {
    "en": ("Dashboard", "Audio Routing", "Languages", "Transcript", "History", "General", "Shortcuts", "About"),
    "vi": ("Bảng điều khiển", "Định tuyến âm thanh", "Ngôn ngữ", "Biên bản", "Lịch sử", "Chung", "Phím tắt",
           "Giới thiệu"),
}
SIZES = {"normal": (1060, 700), "small": (900, 600)}
LINES = (
    ("listen", "Shall we move the release to Thursday?", "¿Movemos el lanzamiento al jueves?"),
    ("speak", "Thursday works for us.", "El jueves nos viene bien."),
    ("listen", "Great. I will tell the others.", "Genial. Se lo diré a los demás."),
)


def archive(desktop):
    folder = desktop.folder / "data/LingrelayPro/Sessions"
    folder.mkdir(parents=True)
    for number, name in enumerate(("Weekly with Lisbon", "", "Customer call")):
        start = f"2026-03-0{number + 1}T09:30:00Z"
        session = {
            "id": f"00000000-0000-4000-8000-00000000000{number}", "startedAt": start,
            "endedAt": f"2026-03-0{number + 1}T10:12:34Z", "mode": "both", "sourceLang": "en", "targetLang": "es",
            "profileName": name,
            "lines": [{"id": f"00000000-0000-4000-8000-0000000{number}000{index}", "at": start, "direction": direction,
                       "source": source, "translation": translation, "speaker": ""}
                      for index, (direction, source, translation) in enumerate(LINES)],
        }
        (folder / (session["id"] + ".json")).write_text(json.dumps(session))


def shoot(desktop, program, window, titles, folder, name):
    for size, (width, height) in SIZES.items():
        xdotool("windowsize", "--sync", window, width, height)
        for section, title in zip(SECTIONS, titles):
            program.act("list item", title)
            time.sleep(0.5)
            desktop.screenshot(folder / f"{section}-{name}-{size}.png", window)
            if section == "history" and size == "normal":
                program.act("list item", "Weekly with Lisbon")
                time.sleep(0.5)
                desktop.screenshot(folder / f"history-open-{name}.png", window)
                program.act("list item", "Weekly with Lisbon")


def main(binary, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    with Desktop(sound=True, compositor=False) as desktop:
        archive(desktop)
        for language, titles in TITLES.items():
            desktop.defaults(uiLang=language, sidebarSection="dashboard", sourceLang="en", targetLang="es",
                             myLang="en", theirLang="es", mode="both", preset="videoCall", pushToTalk=True)
            with Program(desktop, binary) as program:
                window = eventually(lambda: desktop.windows(titles[0]), what="the window")[0]
                for scheme in ("light", "dark"):
                    shoot(desktop, program, window, titles, folder, f"{language}-{scheme}")
                    desktop.turn_scheme()


if __name__ == "__main__":
    main(*sys.argv[1:])
