#!/bin/bash
# Test fixture: stands where the session-wal job's script goes.
echo "sample session-wal: nothing to do"
