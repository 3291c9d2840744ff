"""Requests of which two readers could think differently: where they end, or what they say.

    framing_test.py PROGRAM
"""

from attack_case import AttackTest
from command_case import main
from server_case import SERVICE

# The server answers this request with 200. A second reply shows that it took the bytes behind the
# refused request for another request.
NEXT = b"OPTIONS * HTTP/1.1\r\nHost: localhost\r\n\r\n"
LINE = b"POST /cimom HTTP/1.1\r\n"
HEAD = LINE + b"Host: localhost\r\n"


def with_field(field, body=b""):
    return HEAD + field + b"\r\n\r\n" + body


def with_length(length):
    return with_field(b"Content-Length:" + length, b"abc")


def chunks(text):
    return with_field(b"Transfer-Encoding: chunked", text)


REFUSED = {
    "line feeds alone": (400, HEAD.replace(b"\r", b"") + b"\n"),
    "a line feed alone behind the request line": (400, LINE[:-2] + b"\nHost: localhost\r\n\r\n"),
    "a line feed alone within a field": (400, with_field(b"a: b\nc: d")),
    "a line feed alone at the end": (400, HEAD + b"\n"),
    "a carriage return alone": (400, with_field(b"a: b\rc: d")),
    "NUL in a value": (400, with_field(b"a: b\0c")),
    "NUL in the target": (400, b"POST /cimom\0 HTTP/1.1\r\nHost: localhost\r\n\r\n"),
    "a control character": (400, with_field(b"a: \x1b[2J")),
    "delete": (400, with_field(b"a: \x7f")),
    "a folded line": (400, with_field(b"a: b\r\n c")),
    "a folded line by a tab": (400, with_field(b"a: b\r\n\tc")),
    "a folded length": (400, with_field(b"Content-Length:\r\n 3", b"abc")),
    "a blank before the first field": (400, LINE + b" Host: localhost\r\n\r\n"),
    "a blank before the colon": (400, with_field(b"Content-Length : 3", b"abc")),
    "no colon": (400, with_field(b"abc")),
    "no name": (400, with_field(b": abc")),
    "a name in quotes": (400, with_field(b'"a": b')),
    "no version": (400, b"POST /cimom\r\nHost: localhost\r\n\r\n"),
    "two blanks in the request line": (400, HEAD.replace(b" /", b"  /") + b"\r\n"),
    "four words in the request line": (400, HEAD.replace(b" /", b" / /") + b"\r\n"),
    "a tab in the request line": (400, HEAD.replace(b" /", b"\t/") + b"\r\n"),
    "a version in small letters": (400, HEAD.replace(b"HTTP/", b"http/") + b"\r\n"),
    "another version": (505, HEAD.replace(b"1.1", b"2.0") + b"\r\n"),
    "TLS": (400, b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"),
    "many empty lines": (400, b"\r\n" * 20),
    "no Host": (400, LINE + b"\r\n"),
    "two Hosts": (400, with_field(b"Host: localhost")),
    "two methods of CIM": (400, with_field(b"CIMMethod: GetClass\r\nCIMMethod: DeleteClass")),
    "two operations of CIM": (400, with_field(
        b"CIMOperation: MethodCall\r\ncimoperation: MethodCall")),
    "two log-ins": (400, with_field(b"Authorization: Basic YTpi\r\nauthorization: Basic YTpj")),
    "two types of content": (400, with_field(b"Content-Type: text/xml\r\nContent-Type: text/plain")),
    "a long head": (431, with_field(b"a: " + b"b" * 70000)),
    "a long request line": (431, b"POST /" + b"a" * 70000 + b" HTTP/1.1\r\n\r\n"),
    "many fields": (431, with_field(b"\r\n".join([b"a:"] * 5000))),
    "no length": (400, with_length(b"")),
    "a negative length": (400, with_length(b" -3")),
    "a length with a sign": (400, with_length(b" +3")),
    "a hexadecimal length": (400, with_length(b" 0x3")),
    "a length and a word": (400, with_length(b" 3 a")),
    "a list of lengths": (400, with_length(b" 3, 3")),
    "two equal lengths": (400, with_length(b" 3\r\nContent-Length: 3")),
    "two lengths, the first for another request": (400, with_length(b" 3\r\nContent-Length: 45")),
    "two lengths, the second for another request": (400, with_length(b" 45\r\nContent-Length: 3")),
    "a length beyond all": (413, with_length(b" 99999999999999999999999")),
    "a length, then chunks": (400, with_field(
        b"Content-Length: 3\r\nTransfer-Encoding: chunked", b"0\r\n\r\n")),
    "chunks, then a length": (400, with_field(
        b"Transfer-Encoding: chunked\r\nContent-Length: 5", b"0\r\n\r\n")),
    "chunks twice": (400, with_field(
        b"Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked", b"0\r\n\r\n")),
    "chunks in chunks": (400, with_field(b"Transfer-Encoding: chunked, chunked", b"0\r\n\r\n")),
    "chunks within something": (400, with_field(b"Transfer-Encoding: chunked, gzip")),
    "something within chunks": (501, with_field(b"Transfer-Encoding: gzip, chunked")),
    "chunks misspelt": (501, with_field(b"Transfer-Encoding: xchunked", b"0\r\n\r\n")),
    "chunks with a vertical tab": (400, with_field(b"Transfer-Encoding: \x0bchunked")),
    "chunks of HTTP/1.0": (400, chunks(b"0\r\n\r\n").replace(b"1.1", b"1.0")),
    "a blank before a chunk size": (400, chunks(b" 3\r\nabc\r\n0\r\n\r\n")),
    "a blank behind a chunk size": (400, chunks(b"3 \r\nabc\r\n0\r\n\r\n")),
    "a tab before an extension": (400, chunks(b"3\t;a\r\nabc\r\n0\r\n\r\n")),
    "a prefix of a chunk size": (400, chunks(b"0x3\r\nabc\r\n0\r\n\r\n")),
    "a negative chunk size": (400, chunks(b"-3\r\nabc\r\n0\r\n\r\n")),
    "a chunk size beyond all": (400, chunks(b"10000000000000003\r\nabc\r\n0\r\n\r\n")),
    "no chunk size": (400, chunks(b"\r\n\r\n")),
    "a chunk size and a line feed": (400, chunks(b"3\nabc\r\n0\r\n\r\n")),
    "a line feed in an extension": (400, chunks(b"3;a\nabc\r\n0\r\n\r\n")),
    "a long extension": (400, chunks(b"3;" + b"a" * 5000 + b"\r\nabc\r\n0\r\n\r\n")),
    "a chunk longer than its size": (400, chunks(b"3\r\nabcd\r\n0\r\n\r\n")),
    "a chunk without its end": (400, chunks(b"3\r\nabc0\r\n\r\n")),
    "a folded trailer": (400, chunks(b"0\r\na: b\r\n c\r\n\r\n")),
    "a long trailer": (431, chunks(b"0\r\na: " + b"b" * 70000 + b"\r\n\r\n")),
}


class Framing(AttackTest):
    def test_what_is_in_doubt_is_refused_once_and_ends_the_connection(self):
        self.serve("--no-auth")
        for what, (status, sent) in REFUSED.items():
            cuts = [[sent + NEXT]]
            if len(sent) < 200:
                cuts.append([bytes([byte]) for byte in sent + NEXT])
            for pieces in cuts:
                with self.subTest(what, pieces=len(pieces)):
                    client = self.open()
                    self.send_pieces(client, *pieces)
                    replies = self.replies(self.until_closed(client))
                    self.assertEqual([reply[0] for reply in replies], [status])
                    self.assertRegex(replies[0][1], r"(?im)^connection: close\r?$")
        self.assertEqual(self.count(SERVICE), 1)

    def test_requests_in_a_row_are_answered_each(self):
        """The tests above would show nothing without this."""
        self.serve("--no-auth")
        client = self.open()
        empty = b"\r\nContent-Length: 0\r\n"
        last = NEXT.replace(b"\r\n\r\n", b"\r\nConnection: close\r\n\r\n")
        self.send_pieces(client, b"\r\n" + NEXT + NEXT.replace(b"\r\n\r\n", empty + b"\r\n") + last)
        replies = self.replies(self.until_closed(client))
        self.assertEqual([reply[0] for reply in replies], [200] * 3)

    def test_body_of_nobody_ends_the_connection(self):
        """A client that has not logged in cannot keep the server reading."""
        self.serve_users()
        length = with_field(b"Content-Length: 16000000")
        chunk = b"4000\r\n" + b"x" * 0x4000 + b"\r\n"
        for head, piece in [(length, b"x" * 0x4000), (chunks(b""), chunk)]:
            with self.subTest(head):
                client = self.open()
                self.send_pieces(client, head, *[piece] * 5)
                replies = self.replies(self.until_closed(client))
                self.assertEqual([reply[0] for reply in replies], [401])


if __name__ == "__main__":
    main()
