"""Runs corvane-nmctl, and holds its JSON against docs/nmctl.schema.json."""

import json
import re
import signal
import subprocess
from pathlib import Path

from host import DEADLINE, EXECUTABLE

TOOL = Path(EXECUTABLE).with_name("corvane-nmctl")

SCHEMA = json.loads(Path(__file__).parents[2].joinpath("docs/nmctl.schema.json").read_text())
TYPES = {dict: "object", list: "array", str: "string", int: "integer", float: "number", bool: "boolean",
         type(None): "null"}


def conforms(value, schema):
    """Whether it is as `schema` says, in what docs/nmctl.schema.json uses of JSON schemas."""
    if "$ref" in schema:
        return conforms(value, SCHEMA["$defs"][schema["$ref"].rpartition("/")[2]])
    if "oneOf" in schema:
        return sum(conforms(value, one) for one in schema["oneOf"]) == 1
    if "enum" in schema or "const" in schema:
        return value in schema.get("enum", [schema.get("const")])
    kind = TYPES[type(value)]
    if kind not in schema["type"] and not (kind == "integer" and "number" in schema["type"]):
        return False
    if kind == "object" and "properties" in schema:
        return set(schema["required"]) <= set(value) <= set(schema["properties"]) and all(
            conforms(one, schema["properties"][name]) for name, one in value.items())
    if kind == "array":
        return all(conforms(one, schema["items"]) for one in value)
    if kind == "string":
        return re.search(schema.get("pattern", ""), value) is not None
    return kind in ("object", "null", "boolean") or value >= schema.get("minimum", value)


def parsed(line):
    """A line of JSON from corvane-nmctl, which must be as documented."""
    value = json.loads(line)
    assert conforms(value, SCHEMA), value
    return value


class Tool:
    """One that goes on until it is interrupted. Leaving the `with` block kills what still runs."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen([TOOL, *arguments], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE)
        self.lines = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def next(self):
        """The next line of JSON."""
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError("it has ended")
        self.lines.append(parsed(line))
        return self.lines[-1]

    def interrupt(self):
        """Its exit status then."""
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(DEADLINE)
