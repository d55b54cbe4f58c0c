#!/usr/bin/env python3
"""lxksql on a terminal: line editing and history.

    terminal_test.py LXKSQL

Types into the shell through a pseudo-terminal: a statement, the same
statement recalled with the up arrow, a line edited with the cursor keys, and
checks the results and the history file left in HOME.
"""
import os
import pty
import select
import sys
import tempfile
import time

UP, LEFT = "\x1b[A", "\x1b[D"

# (keys typed, then Enter; a result the output must hold after them)
TYPED = [
    ("SELECT 40 + 2 AS answer;", "42"),
    (UP, "42"),  # the statement again, from the history
    ("SELECT UPPER('ab') AS x;" + LEFT * 8 + "c", "ABC"),  # 'abc' by moving back
    (".mode list", None),
    ("SELECT lxk_charset('SHIFT_JIS') AS set_name;", "set_name\r\nSHIFT_JIS"),
]


def read_until(fd, wanted, seconds=10.0):
    out = b""
    deadline = time.monotonic() + seconds
    while wanted.encode() not in out and time.monotonic() < deadline:
        ready, _, _ = select.select([fd], [], [], 0.1)
        if ready:
            try:
                chunk = os.read(fd, 4096)
            except OSError:
                break
            if not chunk:
                break
            out += chunk
    return out.decode(errors="replace")


def main():
    lxksql = sys.argv[1]
    failures = []
    with tempfile.TemporaryDirectory() as home:
        pid, fd = pty.fork()
        if pid == 0:
            os.execve(lxksql, [lxksql], {"HOME": home, "TERM": "xterm"})
        read_until(fd, "lxk> ")
        for keys, result in TYPED:
            os.write(fd, (keys + "\r").encode())
            got = read_until(fd, "lxk> ")
            if result is not None and result not in got:
                failures.append(f"typed {keys!r}: wanted {result!r} in {got!r}")
        os.write(fd, b".quit\r")
        read_until(fd, "\x00", 2.0)
        _, status = os.waitpid(pid, 0)
        if status != 0:
            failures.append(f"exit status {status}")
        history_path = os.path.join(home, ".lxksql_history")
        history = open(history_path, encoding="utf-8").read() if os.path.exists(history_path) else ""
        for line in ("SELECT 40 + 2 AS answer;", "SELECT UPPER('abc') AS x;", ".quit"):
            if line not in history:
                failures.append(f"history lacks {line!r}: {history!r}")
    for failure in failures:
        print("FAIL:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
