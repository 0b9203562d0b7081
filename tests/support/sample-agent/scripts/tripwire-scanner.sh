#!/bin/bash
# Test fixture: stands where the tripwire-scanner job's script goes.
echo "sample tripwire-scanner: nothing to do"
