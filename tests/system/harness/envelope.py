"""The request envelope of the remote method calls, and the answer taken apart."""

import xml.etree.ElementTree as ET
from dataclasses import dataclass
from urllib.parse import quote_plus
from xml.sax.saxutils import quoteattr

SUCCESS = ("success", "success")
INVALID_UUID = ("error", "invalid uuid")
FAILED = ("error", "")
TOO_MANY = ("too many parameters", "")
# The audits of storage, one for each level.
LEVELS = (
    "GetPhysicalDrives", "GetDriveExtents", "GetExtentPools", "GetPlexes", "GetStorageVolumes", "GetStorageAssociations",
)  # fmt: skip


def attributes(values):
    return "".join(f" {name}={quoteattr(value)}" for name, value in values.items() if value is not None)


def envelope(method="Ping", params="", *, request=None, version="1.2"):
    """A request as bytes. `params` is XML below Method; None as a value leaves the attribute out."""
    return (
        f"<NorvalithRMI{attributes({'version': version, 'schema': '2.1'})}><Request{attributes(request or {})}>"
        f"<Method{attributes({'name': method})}>{params}</Method></Request></NorvalithRMI>"
    ).encode()


def form(xml):
    """The same request as a browser's form would send it."""
    return b"CommandBody=" + quote_plus(xml).encode()


@dataclass
class Answer:
    """The Response element of a reply with status 200; (response, reason) is its outcome."""

    attributes: dict
    children: list

    @property
    def outcome(self):
        return self.attributes.get("response"), self.attributes.get("reason")

    @property
    def uuid(self):
        return self.attributes.get("uuid")


def parse_answer(body):
    """Checks the fixed part of the reply document and returns the Answer."""
    root = ET.fromstring(body)
    assert (root.tag, root.attrib) == ("NorvalithRMI", {"version": "1.2", "schema": "2.1"})
    assert [child.tag for child in root] == ["Response"], body
    return Answer(dict(root[0].attrib), list(root[0]))
