#!/bin/sh
# What a change must pass before each commit; tools/test.sh runs the sanitizers as well. Usage: tools/check.sh
exec "$(dirname "$0")/test.sh" format texts rooms dev tidy shell docs
