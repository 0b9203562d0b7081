#!/usr/bin/env python3
"""Test fixture: stands where the AI scanner goes. Prints one line and exits."""
print("sample AI scanner: nothing to scan")
