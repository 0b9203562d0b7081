#!/usr/bin/env python3
"""Test fixture: stands where the always-on service script goes. Prints one line and exits."""
print("sample service: nothing to watch")
