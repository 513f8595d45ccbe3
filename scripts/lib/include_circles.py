"""include_circles.py: fails when two folders include from each other, directly or through others."""

import re
import subprocess
import sys
from graphlib import CycleError, TopologicalSorter
from pathlib import PurePath

names = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.cpp", "*.h", "*.mm"],
                       stdout=subprocess.PIPE, check=True, text=True).stdout.split()
includes = {}  # by folder: the folders that it includes from, and a file of each that does
for name in names:
    with open(name, encoding="utf-8") as file:
        wanted = set(re.findall(r'^#include "([^"]+)"', file.read(), re.M)) & set(names)
    for header in wanted:
        own, other = PurePath(name).parent, PurePath(header).parent
        if own != other:
            includes.setdefault(own, {})[other] = name
try:
    TopologicalSorter(includes).prepare()
except CycleError as error:
    circle = error.args[1][::-1]  # each includes from the next one
    sys.exit("folders that include from each other: " + ", ".join(
        f"{own} from {other} in {includes[own][other]}" for own, other in zip(circle, circle[1:])))
