"""A directory that sends large groups in parts, as some do: "member;range=0-1499" first, and the rest
when it is asked for. It has one person and one group, and answers a client at a time.

Under the base dc=large the group has MEMBERS members; under dc=stuck the server goes on sending the
first part. Under dc=small it has three. Who asks under a name needs the password PASSWORD.
"""
import socket
import threading

MEMBERS = 3500
PART = 1500
PASSWORD = "open sesame"


def tlv(tag, *contents):
    body = b"".join(c if isinstance(c, bytes) else c.encode() for c in contents)
    size = len(body)
    length = bytes([size]) if size < 128 else b"\x84" + size.to_bytes(4, "big")
    return bytes([tag]) + length + body


def number(value, tag=2):
    return tlv(tag, value.to_bytes(max(1, value.bit_length() // 8 + 1), "big"))


def split(data):
    """The elements that stand one behind the other in data, as pairs of tag and content."""
    elements = []
    while data:
        tag, size, at = data[0], data[1], 2
        if size & 0x80:
            at += size & 0x7F
            size = int.from_bytes(data[2:at], "big")
        elements.append((tag, data[at:at + size]))
        data = data[at + size:]
    return elements


def entry(dn, attributes):
    return tlv(0x64, tlv(4, dn), tlv(0x30, *(
        tlv(0x30, tlv(4, name), tlv(0x31, *(tlv(4, value) for value in values)))
        for name, values in attributes.items())))


def members(base, wanted):
    """The part of the group's members that begins at the number in an attribute's name."""
    first = 0
    for name in wanted:
        if name.lower().startswith("member;range="):
            first = int(name[len("member;range="):].split("-")[0])
    if base.endswith("dc=stuck"):
        first = 0
    count = 3 if base.endswith("dc=small") else MEMBERS
    after = min(first + PART, count)
    name = f"member;range={first}-" + ("*" if after == count else str(after - 1))
    return {name: [f"cn=Member {i},mail=m{i}@example.org" for i in range(first, after)]}


def answers(operation):
    tag, content = operation
    if tag == 0x60:
        _, (_, name), (_, password) = split(content)
        code = 49 if name and password != PASSWORD.encode() else 0
        return [tlv(0x61, number(code, 10), tlv(4, ""), tlv(4, ""))]
    if tag != 0x63:
        return []
    fields = split(content)
    base = fields[0][1].decode()
    wanted = [value.decode() for _, value in split(fields[7][1])]
    group = f"cn=Large,{base}"
    found = []
    if fields[1][1] == b"\0":  # the base alone: more of the group
        found.append(entry(base, members(base, wanted)))
    else:
        found.append(entry(f"cn=Member 7,mail=m7@example.org", {
            "objectClass": ["person"], "cn": ["Member 7"], "mail": ["m7@example.org"]}))
        found.append(entry(group, {
            "objectClass": ["group"], "cn": ["Large"], **members(base, wanted),
            "description": ["behind the members"]}))
    return found + [tlv(0x65, number(0, 10), tlv(4, ""), tlv(4, ""))]


def read_message(stream):
    head = stream.read(2)
    if len(head) < 2:
        return None
    size = head[1]
    if size & 0x80:
        size = int.from_bytes(stream.read(size & 0x7F), "big")
    return split(stream.read(size))


def serve(listener):
    while True:
        try:
            client, _ = listener.accept()
        except OSError:
            return  # closed: the test is over
        with client, client.makefile("rb") as stream:
            while (message := read_message(stream)) is not None:
                for answer in answers(message[1]):
                    client.sendall(tlv(0x30, tlv(2, message[0][1]), answer))


def start():
    """Starts the server; what is returned says its port and ends it when it is closed."""
    listener = socket.create_server(("127.0.0.1", 0))
    threading.Thread(target=serve, args=(listener,), daemon=True).start()
    return listener
