"""The request envelope of the remote method calls, and the answer taken apart."""

import xml.etree.ElementTree as ET
from dataclasses import dataclass, field
from urllib.parse import quote_plus
from xml.sax.saxutils import quoteattr


def attributes(values):
    return "".join(f" {name}={quoteattr(value)}" for name, value in values.items() if value is not None)


def envelope(method="Ping", params="", *, request=None, version="1.2", schema="2.1", root="NorvalithRMI"):
    """A request as bytes. `params` is XML below Method; None as a value leaves the attribute out."""
    return (
        f"<{root}{attributes({'version': version, 'schema': schema})}>"
        f"<Request{attributes(request or {})}>"
        f"<Method{attributes({'name': method})}>{params}</Method>"
        f"</Request></{root}>"
    ).encode()


def form(xml):
    """The same request as a browser's form would send it."""
    return b"CommandBody=" + quote_plus(xml).encode()


@dataclass
class Answer:
    """The Response element of a reply with status 200."""

    attributes: dict
    children: list = field(default_factory=list)

    @property
    def outcome(self):
        """(response, reason), None for an attribute that is not there."""
        return self.attributes.get("response"), self.attributes.get("reason")

    @property
    def uuid(self):
        return self.attributes.get("uuid")


def parse_answer(body):
    """Checks the fixed part of the reply document and returns the Answer."""
    root = ET.fromstring(body)
    assert root.tag == "NorvalithRMI", root.tag
    assert root.attrib == {"version": "1.2", "schema": "2.1"}, root.attrib
    assert [child.tag for child in root] == ["Response"], body
    return Answer(dict(root[0].attrib), list(root[0]))


SUCCESS = ("success", "success")
INVALID_UUID = ("error", "invalid uuid")
FAILED = ("error", "")
