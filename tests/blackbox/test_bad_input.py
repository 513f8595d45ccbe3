"""Whatever arrives, the host drops it, says so in the log where that is due, and goes on."""

import struct
import unittest

from host import Container, Host, frame, request

NO_MESSAGE = "(main: listen()) Can't convert browser message to dictionary: "
CUT_SHORT = ("(main: listen()) Message from browser invalid. "
             "Must be %dbytes length, but received %dbytes.")
STATE = request("getCurrentAppState", "s")


def nested(depth):
    """An acceptable request that nests to `depth`, itself included."""
    filling = b"[" * (depth - 1) + b"]" * (depth - 1)
    return b'{"type":"getCurrentAppState","id":"deep","parameters":%b}' % filling


class CutInput(unittest.TestCase):
    def test_input_that_ends_within_a_frame(self):
        whole = frame(STATE)
        cases = [(whole[:count], []) for count in (1, 2, 3)]
        cases += [(whole[:count], [CUT_SHORT % (38, count - 4)]) for count in (4, 5, 20)]
        cases += [(struct.pack("=I", 0xFFFFFFFF) + b"few", [CUT_SHORT % (0xFFFFFFFF, 3)])]
        for sent, lines in cases:
            with self.subTest(sent=sent):
                container = Container()
                with Host() as host:
                    host.send_bytes(sent)
                    self.assertEqual(host.finish(), (0, b""))
                self.assertEqual(container.log(), lines)


class BadInput(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        self.host = self.enterContext(Host())

    def test_frames_that_are_dropped(self):
        parse_failures = [
            b"", b" ", b"{", b"not JSON", b'{"type":"init","id":"1"', b"{'type':'init','id':'1'}",
            b'{"type":"init","id":"1"} x', b'{"type":"init","id":"1",}', b'{"type":"init","id":01}',
            b"5", b"true", b"null", b'"text"', b'{"type":"init","id":"\xff"}',
            b'{"type":"init","id":"\xed\xa0\x80"}', b'{"type":"init","id":"\x01"}',
            b'{"type":"init","id":"\\x"}', b'{"type":"init","id":NaN}', nested(513),
            nested(100_000), nested(100_000)[:50_000], b"[" * 1_000_000, b'{"a":' * 100_000]
        dropped_silently = [
            b"[]", b'[{"type":"init","id":"1"}]', {}, {"type": "init"}, {"id": "1"},
            *({"type": "init", "id": identifier} for identifier in (1, True, None, {"id": "1"})),
            *({"type": kind, "id": "1"}
              for kind in (5, None, ["init"], "unknown", "Init", "init ", "init\0", ""))]
        cases = [(case, [NO_MESSAGE]) for case in parse_failures]
        cases += [(case, []) for case in dropped_silently]
        known = 0
        for serial, (case, lines) in enumerate(cases, 1):
            with self.subTest(case=case[:60] if isinstance(case, bytes) else case):
                self.host.send(case, STATE)
                self.assertEqual(self.host.receive()["id"], str(serial))
                log = self.container.log()
                self.assertEqual([line[: len(NO_MESSAGE)] for line in log[known:]], lines)
                known = len(log)
        self.assertTrue(all(len(line) < 1000 for line in self.container.log()))
        self.assertEqual(self.host.finish(), (0, b""))

    def test_nesting_to_the_limit_is_accepted(self):
        self.host.send(nested(512), {})  # the answer does not wait for one to the last
        self.assertEqual(self.host.receive()["requestId"], "deep")
        self.assertEqual(self.container.log(), [])

    def test_browser_that_closes_its_end_of_the_replies(self):
        self.host.send(STATE)
        self.host.receive()
        self.host.process.stdout.close()
        self.host.process.stdout = None
        # More than the pipe holds: goes only to a host that still reads.
        self.host.send(*[STATE] * 20, *[{"dropped": "x" * 1000}] * 300)
        self.assertEqual(self.host.finish(), (0, b""))
        lines = self.container.log()
        self.assertEqual(len(lines), 1, lines)
        self.assertRegex(lines[0], r"^\(main: send\(_:\)\) .")
