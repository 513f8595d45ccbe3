"""Requests about pages of their own, which the answers name."""

from host import PUSH, request

TIMEOUT = "Can't connect to main app, timeout reached."
PAGE = "getCurrentFilteringState"  # the command whose answers name the page


def page_in(reply):
    """The page that the main application answered for, in a reply to PAGE."""
    return (reply.get("parameters") or {}).get("originalCertIssuer", "")


def send(host, kind, page, **parameters):
    """Asks about `page`, a host name that is the request's identifier, too."""
    common = {"forceStartApp": False, "port": 443, "url": f"https://{page}/",
              "referrer": "", "userAgent": "test"}
    host.send(request(kind, page, common | parameters))


def receive(host, page):
    """The reply to the request about `page`, without the pushes before it; None at the end."""
    while (reply := host.receive()) and reply["requestId"] == PUSH:
        pass
    if reply and reply["requestId"] != page:
        raise AssertionError(f"a reply to {reply['requestId']} in place of {page}")
    return reply
