"""Text of any bytes in a document: what XML cannot carry, or is no UTF-8, is one code point from U+EF00 on for each byte."""

from xml.sax.saxutils import escape


def to_text(data):
    out, at = "", 0
    while at < len(data):
        for length in (1, 2, 3, 4):
            try:
                character = data[at : at + length].decode()
            except UnicodeDecodeError:
                continue
            if len(character) == 1 and (character >= " " or character in "\t\n\r") and not (
                "\uef00" <= character <= "\uefff" or character in "\ufffe\uffff"
            ):
                out, at = out + character, at + length
                break
        else:
            out, at = out + chr(0xEF00 + data[at]), at + 1
    return out


def to_xml(data):
    """As it stands between tags."""
    return escape(to_text(data), {"\r": "&#13;"})


def to_bytes(text):
    return b"".join(bytes([ord(c) - 0xEF00]) if "\uef00" <= c <= "\uefff" else c.encode() for c in text)
