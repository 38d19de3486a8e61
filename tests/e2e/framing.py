#!/usr/bin/env python3
"""The framing of a message's text, written a second time and by other means, to prove what came through.

  framing.py make FILE             writes about 50 KiB with all that makes framing hard
  framing.py make-tame FILE        the same without lone CR and LF, which not every server hands on
  framing.py show FILE             prints how many lines, cuts and blanks the framing of FILE makes
  framing.py compare SENT GOT      ends with 0 if GOT is what a reader gets of SENT over servers that keep each byte

The rules: only CR LF ends a line; a line of more than 600 characters is cut after each 600; a blank goes in front of
a period that begins a line; a text that doesn't end in CR LF gets one. The reader sees one CR LF in front of it all
and one behind. The last line of a text goes out whole with up to 602 characters when it has no line end of its own,
since the sender looks that far for one.
"""
import random
import re
import sys

LINE = 600
REACH = LINE + len(b"\r\n")


def pieces(line, reach):
    """Cuts a line without its line end. `reach`: the longest rest that still goes out whole."""
    while len(line) > reach:
        yield line[:LINE]
        line = line[LINE:]
    yield line


def framed_lines(text):
    lines = text.split(b"\r\n")
    last = lines.pop()
    for line in lines:
        yield from pieces(line, LINE)
    if last:
        yield from pieces(last, REACH)


def frame(text):
    """What is on the wire between the header's empty line and the end mark."""
    return b"".join((b" " if line.startswith(b".") else b"") + line + b"\r\n" for line in framed_lines(text))


def as_received(text):
    """The reader keeps the line end of the header's empty line in front, and none of the end mark's."""
    return b"\r\n" + frame(text)


def make_text():
    rows = [b".", b"..", b".a period first", b"", b"a lone CR\rwithin", b"a lone LF\nwithin", b"LF\n..\nwithin", b"\r",
            b"\n", b"\n\r", b"x" * 599, b"y" * 600, b"z" * 601, b"w" * 602, b"v" * 603, b"p" * 600 + b".",
            b"q" * 600 + b"." + b"r" * 600 + b"..", b"c" * 599 + b"\r", b"c" * 600 + b"\r", b"." * 1801]
    draw = random.Random(16)
    while sum(map(len, rows)) < 50 * 1024:
        length = draw.choice((0, 1, 40, 72, 76, 598, 601, 1200, 1300))
        rows.append(bytes(draw.choice(b"abcdefghijklmnopqrstuvwxyz0123456789 ....=\r\n") for _ in range(length)))
    text = b".\r\n" + b"\r\n".join(rows) + b"\r\nno line end behind this"
    # A period alone behind a lone LF is the one thing that hosts must not send: some servers end the mail there.
    return re.sub(rb"(?<!\r)\n\.(?=\r?\n)", rb"\n..", text)


def show(text):
    lines = list(framed_lines(text))
    blanks = sum(line.startswith(b".") for line in lines)
    own = len(text.split(b"\r\n")) - (not text or text.endswith(b"\r\n"))
    inside = text.replace(b"\r\n", b"")
    lone = inside.count(b"\r") + inside.count(b"\n")
    print(f"{len(text)} bytes in {own} lines, {lone} lone CR and LF; the framing makes {len(lines) - own} cuts and"
          f" puts {blanks} blanks in front of periods")


def compare(sent, got):
    want = as_received(sent)
    if want == got:
        print(f"{len(got)} bytes came back, exactly as the framing says")
        return 0
    at = next((i for i, (a, b) in enumerate(zip(want, got)) if a != b), min(len(want), len(got)))
    print(f"differs at byte {at} of {len(want)} expected, {len(got)} got")
    print("  expected:", want[max(at - 20, 0):at + 20])
    print("  got:     ", got[max(at - 20, 0):at + 20])
    return 1


def read(path):
    with open(path, "rb") as file:
        return file.read()


def main(args):
    if args[:1] == ["make"] and len(args) == 2:
        with open(args[1], "wb") as file:
            file.write(make_text())
        return 0
    if args[:1] == ["make-tame"] and len(args) == 2:
        with open(args[1], "wb") as file:
            file.write(b"\r\n".join(make_text().replace(b"\r", b"\n").split(b"\n")))
        return 0
    if args[:1] == ["show"] and len(args) == 2:
        return show(read(args[1]))
    if args[:1] == ["compare"] and len(args) == 3:
        return compare(read(args[1]), read(args[2]))
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
