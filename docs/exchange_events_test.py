#!/usr/bin/env python3
"""Holds every line of -view json to docs/exchange-events.schema.json.

usage: exchange_events_test.py FAIRLEAD SCHEMA

Runs send, recv and listen in situations that succeed and fail, on loopback.
Then breaks each kind of line, and expects the schema to reject it. Is skipped, with status 77, without the package
jsonschema.
"""

import base64
import json
import os
import random
import resource
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import unittest

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is missing")
    sys.exit(77)

FAIRLEAD, SCHEMA = sys.argv[1:3]
FOREVER = ["-idle", "86400", "-timeout", "86400"]

with open(SCHEMA, encoding="utf-8") as file:
    VALIDATOR = jsonschema.Draft202012Validator(json.load(file))


class Server(threading.Thread):
    """Serves one connection with a script, which gets the socket."""

    def __init__(self, script):
        super().__init__()
        self.script = script
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start()

    def run(self):
        connection, _ = self.listener.accept()
        with connection:
            self.script(connection)

    def __enter__(self):
        return ["-host", "127.0.0.1", "-port", str(self.port)]

    def __exit__(self, *_):
        self.join()
        self.listener.close()


def receive_all(connection):
    data = b""
    while piece := connection.recv(65536):
        data += piece
    return data


def receive_exactly(connection, count):
    while count > 0:
        count -= len(connection.recv(min(count, 65536)))


def reset(connection):
    connection.setsockopt(
        socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def forbid_files_to_grow():
    resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))


def run(arguments, data=b"", **options):
    return subprocess.run(
        [FAIRLEAD, *arguments, "-view", "json"], input=data,
        capture_output=True, check=False, **options)


def payload(events, kind):
    return b"".join(
        base64.b64decode(event["data"]) for event in events
        if event["event"] == kind)


def kinds(events):
    """The kinds of the events, each once where it repeats."""
    names = [event["event"] for event in events]
    return [name for i, name in enumerate(names) if i == 0 or names[i - 1] != name]


class EventsTest(unittest.TestCase):

    def check_bytes(self, event):
        data = base64.b64decode(event["data"], validate=True)
        self.assertEqual(base64.b64encode(data).decode(), event["data"])
        self.assertEqual(len(data), event["bytes"])
        try:
            self.assertEqual(event.get("text"), data.decode("utf-8"))
        except UnicodeDecodeError:
            self.assertNotIn("text", event)

    def events(self, output):
        self.assertTrue(output == b"" or output.endswith(b"\n"))
        events = [json.loads(line) for line in output.splitlines()]
        for event in events:
            VALIDATOR.validate(event)
            if "data" in event:
                self.check_bytes(event)
        return events

    def check(self, done, status, expected):
        """Returns the events of a process that has ended."""
        events = self.events(done.stdout)
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertEqual(kinds(events), expected)
        errors = [event for event in events if event["event"] == "error"]
        self.assertEqual(len(errors), 0 if status == 0 else 1)
        for error in errors:
            self.assertEqual(error["status"], status)
            self.assertIn(error["message"] + "\n", done.stderr.decode())
        return events

    def test_an_exchange_that_succeeds(self):
        events = self.check(
            run(["send", "-demo", "-text", "hello", *FOREVER]), 0,
            ["resolved", "connected", "sent", "received", "closed"])
        self.assertEqual(payload(events, "sent"), b"hello")
        self.assertEqual(payload(events, "received"), b"hello")
        self.assertEqual((events[-1]["sent"], events[-1]["received"]), (5, 5))
        self.assertEqual(events[-1]["reason"], "the peer closed")

    def test_what_a_server_sends_first(self):
        events = self.check(
            run(["recv", "-demo", *FOREVER]), 0,
            ["resolved", "connected", "received", "closed"])
        self.assertEqual(events[2]["text"], "fairlead at your service\r\n")

    def test_a_connection_alone(self):
        events = self.check(
            run(["send", "-demo", "-none", *FOREVER]), 0,
            ["resolved", "connected", "closed"])
        self.assertEqual(events[-1]["reason"], "only connected")
        self.assertLess(events[1]["milliseconds"], 86_400_000)

    def test_random_bytes_come_back_whole(self):
        seed = random.randrange(1 << 32)
        data = random.Random(seed).randbytes(100_000)
        done = run(["send", "-demo", "-stdin", *FOREVER], data)
        events = self.events(done.stdout)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(payload(events, "sent"), data, f"seed {seed}")
        self.assertEqual(payload(events, "received"), data, f"seed {seed}")

    def test_text_of_every_code_point_below_800(self):
        text = "".join(map(chr, range(0x800)))
        events = self.events(
            run(["send", "-demo", "-stdin", *FOREVER], text.encode()).stdout)
        self.assertEqual(payload(events, "received").decode(), text)

    def test_an_encrypted_body_is_shown_before_encryption(self):
        events = self.check(
            run(["send", "-demo", "-text", "secret", "-aes", "sixteen letters!",
                 *FOREVER]), 0,
            ["resolved", "connected", "sent", "received", "closed"])
        self.assertEqual(payload(events, "sent"), b"secret")
        self.assertEqual(events[-1]["sent"], 16)

    def test_frames_are_messages(self):
        done = run(["send", "-demo", "-stdin", "-perline", "-prefix", "u16be",
                    *FOREVER], b"one\n\nthree\n")
        events = self.events(done.stdout)
        self.assertEqual(done.returncode, 0, done.stderr)
        for kind in ("sent", "received"):
            self.assertEqual(
                [event["text"] for event in events if event["event"] == kind],
                ["one", "", "three"])

    def test_a_refused_connection(self):
        with socket.socket() as closed:
            closed.bind(("127.0.0.1", 0))
            port = str(closed.getsockname()[1])
            for command in (["recv"], ["send", "-text", "x"]):
                self.check(
                    run([*command, "-host", "127.0.0.1", "-port", port]), 7,
                    ["resolved", "error"])

    def test_a_name_that_is_not_resolved(self):
        self.check(run(["recv", "-host", "not..a.name", "-port", "1"]), 6, ["error"])

    def test_a_reset(self):
        def script(connection):
            connection.sendall(b"half\xff")
            connection.recv(1)
            reset(connection)
        with Server(script) as server:
            events = self.check(
                run(["send", *server, "-text", "x", *FOREVER]), 56,
                ["resolved", "connected", "sent", "received", "closed", "error"])
        self.assertEqual(payload(events, "received"), b"half\xff")

    def test_a_peer_that_ends_while_input_is_awaited(self):
        def script(connection):
            connection.sendall(b"x")
            connection.shutdown(socket.SHUT_WR)
            receive_all(connection)
        with Server(script) as server, subprocess.Popen(
                [FAIRLEAD, "send", *server, "-stdin", "-view", "json",
                 "-idle", "100ms"],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE) as client:
            before = b"".join(client.stdout.readline() for _ in range(3))
            client.stdin.close()
            events = self.events(before + client.stdout.read())
            self.assertEqual(client.wait(), 0)
        self.assertEqual(kinds(events),
                         ["resolved", "connected", "received", "closed"])

    def test_a_server_that_closes_at_once(self):
        with Server(lambda connection: None) as server:
            self.check(run(["recv", *server, *FOREVER]), 52,
                       ["resolved", "connected", "closed", "error"])

    def test_too_few_messages(self):
        with Server(lambda connection: connection.sendall(b"one")) as server:
            self.check(run(["recv", *server, "-lines", "3", *FOREVER]), 18,
                       ["resolved", "connected", "received", "closed", "error"])

    def test_a_frame_that_is_cut(self):
        with Server(lambda connection: connection.sendall(b"\3one\5th")) as server:
            events = self.check(
                run(["recv", *server, "-prefix", "u8", *FOREVER]), 18,
                ["resolved", "connected", "received", "closed", "error"])
        self.assertEqual(payload(events, "received"), b"one")

    def test_a_malformed_frame(self):
        with Server(lambda connection: connection.sendall(b"\0")) as server:
            self.check(
                run(["recv", *server, "-prefix", "u8", "-prefixadd", "1", *FOREVER]),
                56, ["resolved", "connected", "error"])

    def test_a_text_that_does_not_come(self):
        with Server(lambda connection: connection.sendall(b"x")) as server:
            self.check(run(["recv", *server, "-until", "y", *FOREVER]), 1,
                       ["resolved", "connected", "received", "closed", "error"])

    def test_a_text_that_decides(self):
        for option, status in (("-expect", 0), ("-reject", 1)):
            with Server(lambda connection: connection.sendall(b"a\nb no\n")) as server:
                events = self.check(
                    run(["recv", *server, option, "no", *FOREVER]), status,
                    ["resolved", "connected", "received", "closed"]
                    + ["error"] * status)
            self.assertIn("'b no'", events[-1]["message" if status else "reason"])

    def test_a_script(self):
        for expected, status in (("b", 0), ("z", 1)):
            with tempfile.NamedTemporaryFile("w") as file:
                file.write(f"send a\nexpect a\nsend b\nexpect {expected}\n")
                file.flush()
                events = self.check(
                    run(["send", "-demo", "-script", file.name, *FOREVER]), status,
                    ["resolved", "connected", "sent", "received", "sent",
                     "received", "closed"] + ["error"] * status)
            self.assertEqual(payload(events, "sent"), b"a\nb\n")

    def test_a_script_that_is_malformed(self):
        with tempfile.NamedTemporaryFile("w") as file:
            file.write("greet\n")
            file.flush()
            self.check(run(["send", "-demo", "-script", file.name]), 3, ["error"])

    def test_each_run(self):
        one = ["resolved", "connected", "sent", "received", "closed"]
        again = ["-repeat", "3", "-interval", "0", *FOREVER]
        self.check(run(["send", "-demo", "-text", "a", *again]), 0, one * 3)
        same = ["resolved", "connected", "sent", "closed"]
        self.check(run(["send", "-demo", "-text", "a", "-changes", *again]), 0,
                   one + same * 2)

    def test_each_connection_of_reconnect(self):
        answers = iter([b"\3tw", b"\3two"])
        with socket.create_server(("127.0.0.1", 0)) as listener:
            def serve():
                for answer in answers:
                    connection, _ = listener.accept()
                    with connection:
                        connection.sendall(answer)
            server = threading.Thread(target=serve)
            server.start()
            done = run(["recv", "-host", "127.0.0.1", "-port",
                        str(listener.getsockname()[1]), "-prefix", "u8",
                        "-messages", "1", "-reconnect", "-retrydelay", "0"])
            server.join()
        events = self.events(done.stdout)
        self.assertEqual(done.returncode, 18, done.stderr)
        self.assertEqual(
            kinds(events),
            ["resolved", "connected", "closed", "error",
             "resolved", "connected", "received", "closed", "error"])
        for error in (event for event in events if event["event"] == "error"):
            self.assertEqual(error["status"], 18)
            self.assertIn(error["message"] + "\n", done.stderr.decode())

    def test_the_time_limit(self):
        with Server(receive_all) as server:
            self.check(
                run(["send", *server, "-text", "x", "-idle", "none", "-timeout", "1"]),
                28, ["resolved", "connected", "sent", "closed", "error"])

    def test_a_body_that_cannot_be_read(self):
        self.check(run(["send", "-demo", "-file", "/nonexistent"]), 26, ["error"])

    def test_a_key_that_cannot_be_read(self):
        self.check(
            run(["send", "-demo", "-text", "a", "-cipher", "aes",
                 "-keyfile", "/nonexistent"]), 26, ["error"])

    def test_a_log_that_cannot_be_opened(self):
        for command in (["send", "-demo", "-text", "a"], ["recv", "-demo"],
                        ["listen", "-port", "0"]):
            self.check(run([*command, "-log", "/nonexistent/log"]), 23, ["error"])

    def test_a_log_that_cannot_grow(self):
        with tempfile.TemporaryDirectory() as folder:
            log = os.path.join(folder, "log")
            self.check(
                run(["send", "-demo", "-text", "a", "-log", log, *FOREVER],
                    preexec_fn=forbid_files_to_grow), 23,
                ["resolved", "connected", "sent", "received", "closed", "error"])
            self.check(
                self.listen(["-log", log], lambda peer: None,
                            preexec_fn=forbid_files_to_grow), 23,
                ["connected", "closed", "error"])

    def test_a_file_that_is_the_log_gets_no_event(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(b"precious")
            file.flush()
            done = run(["send", "-demo", "-text", "a", "-out", file.name,
                        "-log", file.name])
            self.assertEqual(done.returncode, 2)
            with open(file.name, "rb") as after:
                self.assertEqual(after.read(), b"precious")

    def test_a_file_in_place_of_standard_output(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "events")
            done = run(["send", "-demo", "-text", "hello", "-out", path, *FOREVER])
            self.assertEqual((done.returncode, done.stdout), (0, b""))
            with open(path, "rb") as file:
                self.assertEqual(
                    kinds(self.events(file.read())),
                    ["resolved", "connected", "sent", "received", "closed"])

    def listen(self, arguments, script, **options):
        """Returns a server that has served a peer with the script."""
        with subprocess.Popen(
                [FAIRLEAD, "listen", "-port", "0", "-view", "json", *arguments],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options) as server:
            port = int(server.stderr.readline().split()[-1])
            with socket.create_connection(("127.0.0.1", port)) as peer:
                script(peer)
            output, error = server.communicate()
            return subprocess.CompletedProcess(
                server.args, server.returncode, output, error)

    def test_listen_shows_its_peers(self):
        def script(peer):
            peer.sendall(b"hi\xfe")
            peer.shutdown(socket.SHUT_WR)
            self.assertEqual(receive_all(peer), b"hi\xfe")
        events = self.check(self.listen(["-echo"], script), 0,
                            ["connected", "received", "sent", "closed"])
        self.assertNotIn("milliseconds", events[0])
        self.assertEqual(payload(events, "received"), b"hi\xfe")
        self.assertEqual(payload(events, "sent"), b"hi\xfe")
        self.assertEqual((events[-1]["sent"], events[-1]["received"]), (3, 3))
        self.assertEqual(len({event["peer"] for event in events}), 1)

    def test_listen_shows_its_reply(self):
        with tempfile.NamedTemporaryFile() as file:
            reply = random.Random(1).randbytes(20_000)
            file.write(reply)
            file.flush()
            events = self.check(
                self.listen(["-replyfile", file.name],
                            lambda peer: receive_exactly(peer, len(reply))), 0,
                ["connected", "sent", "closed"])
        self.assertEqual(payload(events, "sent"), reply)
        self.assertEqual(events[-1]["sent"], len(reply))

    def test_listen_shows_a_reset(self):
        events = self.check(self.listen([], reset), 0, ["connected", "closed"])
        self.assertEqual(events[-1]["reason"], "Connection reset by peer")

    def test_listen_shows_the_time_limit(self):
        self.check(run(["listen", "-port", "0", "-timeout", "1"]), 28, ["error"])

    def test_listen_shows_a_port_in_use(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            port = str(other.getsockname()[1])
            self.check(run(["listen", "-port", port]), 48, ["error"])


TIME = "2026-01-31T12:00:00.123Z"
PEER = "127.0.0.1:7000"
VALID = [
    {"event": "resolved", "time": TIME, "host": "box", "address": "127.0.0.1"},
    {"event": "connected", "time": TIME, "peer": PEER, "milliseconds": 0.41},
    {"event": "sent", "time": TIME, "peer": PEER, "bytes": 1, "data": "/w=="},
    {"event": "received", "time": TIME, "peer": PEER, "bytes": 1, "data": "YQ==",
     "text": "a"},
    {"event": "closed", "time": TIME, "peer": PEER, "sent": 0, "received": 1,
     "reason": "the peer closed"},
    {"event": "error", "time": TIME, "status": 7, "message": "no"},
]
WRONG = {
    "event": ["", "refused", None],
    "time": ["2026.01.31 12:00:00", "2026-01-31T12:00:00Z", TIME + "\n",
             "2026-01-31T12:00:00.123+01:00", 0],
    "host": [None, 1],
    "address": ["box", "127.0.0.1:7000", "127.0.0.1 "],
    "peer": ["127.0.0.1", "box:7000", ":7000", None],
    "milliseconds": [-0.01, "0.41", None],
    "bytes": [-1, 1.5, "1"],
    "data": ["YQ", "YQ=", "Y Q=", "YQ==\nYQ==", "61=", None],
    "text": [None, 1],
    "sent": [-1, "0"],
    "received": [-1, "0"],
    "reason": ["", None],
    "status": [0, 256, "7"],
    "message": ["", None],
}


class SchemaTest(unittest.TestCase):

    def test_it_is_a_schema(self):
        VALIDATOR.check_schema(VALIDATOR.schema)

    def test_it_accepts_each_event(self):
        for event in VALID:
            with self.subTest(event=event):
                self.assertTrue(VALIDATOR.is_valid(event))

    def reject(self, line):
        with self.subTest(line=line):
            self.assertFalse(VALIDATOR.is_valid(line))

    def test_it_rejects_a_missing_member(self):
        for event in VALID:
            for name in event.keys() - {"text", "milliseconds"}:
                self.reject({key: event[key] for key in event.keys() - {name}})

    def test_it_rejects_another_member(self):
        for event in VALID:
            self.reject({**event, "hex": "61"})

    def test_it_rejects_a_wrong_value(self):
        for event in VALID:
            for name in event:
                for value in WRONG[name]:
                    self.reject({**event, name: value})

    def test_it_rejects_what_is_no_object(self):
        for line in ([], "connected", None, 1, {}):
            self.reject(line)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
