"""What the main application sets off by its notifications."""

import signal
import unittest

from host import Container, Host, Observers, request

PUSH = "CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID"
STATE = request("getCurrentAppState", "s")


class Pushes(unittest.TestCase):
    def setUp(self):
        self.container = Container()
        self.app_state = Observers(self.container, "appState")
        self.app_reconfig = Observers(self.container, "appReconfig")

    def start(self, count):
        hosts = [self.enterContext(Host()) for _ in range(count)]
        for observers in (self.app_state, self.app_reconfig):
            observers.wait_for(count)
        return hosts

    def reconfigure(self, hosts, level):
        """Sets the level and returns when it is in force in all `hosts`."""
        self.container.write_settings({"DefaultsKeyLogLevel": level})
        self.app_reconfig.post()
        self.app_state.post()  # handled after it
        for host in hosts:
            self.assertEqual(host.receive()["requestId"], PUSH)
            host.send(b"bad", STATE)  # the line of the first waits for the change before it
            host.receive()

    def test_the_level_is_applied_at_once(self):
        (host,) = self.start(1)
        self.reconfigure([host], 15)
        self.app_state.post()
        host.receive()
        lines = len(self.container.log())
        self.reconfigure([host], 0)  # leaves it as it is
        self.assertGreater(len(self.container.log()), lines + 5)
        self.assertIn("(main: raiseAppSate()) Response sending (count: 4)", self.container.log())
        self.container.write_settings({"DefaultsKeyLogLevel": -1})
        self.app_reconfig.post()
        self.assertEqual(host.wait(), -signal.SIGABRT)

    def test_eight_hosts_that_are_reconfigured_together_begin_one_file(self):
        hosts = self.start(8)
        for host in hosts:
            host.send(b"bad", STATE)
            host.receive()
        files = len(list(self.container.logs.iterdir()))
        self.reconfigure(hosts, 7)
        self.assertEqual((files, len(list(self.container.logs.iterdir()))), (1, 2))
