#!/usr/bin/env python3
"""Test fixture: stands where the always-on service script goes. Runs until stopped, as the real
watcher does: one line on each stream at start, then a heartbeat line every few seconds."""
import sys
import time

print("sample service: watching", flush=True)
print("sample service: started", file=sys.stderr, flush=True)
while True:
    time.sleep(5)
    print("sample service: still watching", flush=True)
