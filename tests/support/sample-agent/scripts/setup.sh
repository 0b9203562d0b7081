#!/bin/bash
# Test fixture: stands where the agent's own setup script goes.
echo "sample setup: nothing to set up"
