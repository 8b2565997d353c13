#!/usr/bin/env python3
"""on_tty.py TTY_FILE COMMAND: runs COMMAND with /bin/sh, its standard error on a
pseudo-terminal, and writes what the terminal received to TTY_FILE. Standard output and the
exit status are the command's own."""
import os
import pty
import subprocess
import sys

master, slave = pty.openpty()
process = subprocess.Popen(["/bin/sh", "-c", sys.argv[2]], stderr=slave)
os.close(slave)
seen = b""
while True:
    try:
        chunk = os.read(master, 4096)
    except OSError:  # the terminal closes when the command ends
        break
    if not chunk:
        break
    seen += chunk
code = process.wait(timeout=120)
with open(sys.argv[1], "wb") as f:
    f.write(seen)
sys.exit(code)
