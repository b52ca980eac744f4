#!/bin/sh
# Stands in for the program: its "script" is Python code. It is no file of the test's own folder,
# because temporary folders may be mounted so that nothing in them can be executed.
exec python3 "$2"
