#!/usr/bin/env python3
"""Checks that a page shows these files as they are: check_page.py PAGE FILE..."""
import sys
from pathlib import Path

page, *files = map(Path, sys.argv[1:])
wrong = [str(file) for file in files if f"\n{file.read_text()}```" not in page.read_text()]
sys.exit(f"{page} shows other text than {wrong}" if wrong else 0)
