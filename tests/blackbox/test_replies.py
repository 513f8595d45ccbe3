"""What the extension asks and gets, while the main application does not run."""

import datetime
import json
import unittest

from host import Container, Host, request

DEFAULT_STATE = {
    "isInstalled": True, "isRunning": False, "isProtectionEnabled": False, "locale": "en"}
VERSION = {"version": "2.4.8.797", "apiVersion": "1", "platform": "mac"}


def without_each(parameters):
    """The parameters with one left out, for each."""
    return [{key: parameters[key] for key in parameters if key != gone} for gone in parameters]


class Replies(unittest.TestCase):
    def setUp(self):
        Container()
        self.host = self.enterContext(Host())

    def tearDown(self):
        if not self.host.process.stdin.closed:
            self.assertEqual(self.host.finish(), (0, b""))

    def assert_reply(self, reply, **expected):
        """The whole reply, key by key, with the default state of the application."""
        state = reply.pop("appState")
        time = state.pop("lastCheckTime")
        self.assertRegex(time, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}\+00:00$")
        now = datetime.datetime.now(datetime.timezone.utc)
        self.assertLess(abs((now - datetime.datetime.fromisoformat(time)).total_seconds()), 120)
        # As text, because in Python true equals 1.
        self.assertEqual(*(json.dumps(one, sort_keys=True) for one in (state, DEFAULT_STATE)))
        self.assertEqual(*(json.dumps(one, sort_keys=True) for one in (reply, expected)))

    def test_hand_shake_compares_versions_by_number(self):
        cases = [({"apiVersion": version}, True) for version in ("1", "01", "0" * 30 + "1")]
        cases += [({"apiVersion": version}, False)
                  for version in ("2", "10", "1.0", "+1", "1 ", "", str(2**64 + 1), 1, None, ["1"])]
        for serial, (parameters, accepted) in enumerate([*cases, ({}, False), ("x", False)], 1):
            with self.subTest(parameters=parameters):
                outcome = {"result": "error", "data": "Supported api version mismatch"}
                if accepted:
                    outcome = {"result": "ok"}
                self.assert_reply(
                    self.host.ask("init", "v", parameters), id=str(serial), requestId="v",
                    parameters=VERSION | {"isValidatedOnHost": accepted}, **outcome)

    def test_bad_parameters_are_answered(self):
        page = {"url": "u", "port": 443, "forceStartApp": False}
        switch = {"url": "u", "isEnabled": True, "isHttpsEnabled": True}
        report = {"url": "u", "referrer": "r", "userAgent": "a"}
        certificate = {"domain": "d", "port": 443}
        cases = {
            "getCurrentFilteringState": [
                *without_each(page), page | {"forceStartApp": 1}, page | {"forceStartApp": "true"},
                page | {"url": 5}, *(page | {"port": port} for port in ("443", 443.0, True, None))],
            "setProtectionStatus": [{"isEnabled": value} for value in (1, 0, "true", None)],
            "setFilteringStatus": [
                *without_each(switch), switch | {"isEnabled": 1}, switch | {"isHttpsEnabled": 0},
                switch | {"url": False}],
            "addRule": [{"ruleText": 5}, {"RuleText": "||example.org^"}],
            "removeRule": [{"ruleText": None}],
            "removeCustomRules": [{"url": []}],
            "openOriginalCert": [
                *without_each(certificate), certificate | {"domain": 1},
                *(certificate | {"port": port} for port in ("443", 443.0, True))],
            "reportSite": [*without_each(report), *(report | {key: 1} for key in report)],
        }
        serial = 0
        for kind, bad in cases.items():
            for parameters in [None, "x", {}, *bad]:
                with self.subTest(kind=kind, parameters=parameters):
                    serial += 1
                    self.assert_reply(
                        self.host.ask(kind, "p", parameters), id=str(serial), requestId="p",
                        result="error", data="Invalid request paramaters.")

    def test_identifiers_return_as_they_came(self):
        unpaired = [rb"\ud800", rb"\udfff\ud800", rb"a\udc00b", rb"\udbffx"]
        others = [rb"\ud83d\ude00", rb"\\ud800\n\ud83d\ude00\uDFFF", rb"\u0000\u001f",
                  rb"\"\\\/\b", "\u2028\x7f é 漢 😀".encode(), b"x" * 300_000]
        for escaped in unpaired + others:
            with self.subTest(identifier=escaped[:40]):
                self.host.send(b'{"type":"getCurrentAppState","id":"%b"}' % escaped,
                               request("getCurrentAppState", "next"))
                body = self.host.receive_body()
                self.assertEqual(json.loads(body)["requestId"], json.loads(b'"%b"' % escaped))
                if escaped in unpaired:  # the very same escape
                    self.assertIn(b'"requestId":"%b"' % escaped, body)
                self.assertEqual(self.host.receive()["requestId"], "next")
