"""The dashboard keeps other sites out: Host, Origin, body size, method and path checks, each
tried with plain HTTP against a running `vanto emulate --http`."""

import http.client
import fcntl
import json
import os
import socket
import sys
import struct
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from emulator_process import EmulatorProcess  # noqa: E402

VANTO = os.environ.get("VANTO_CLI", "")


def request(port, method, path, body=None, headers=None, host=None, seen=None):
    """One request with exactly the headers given (http.client adds Host unless told not to);
    the response's headers go into `seen` when it is given."""
    conn = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    conn.putrequest(method, path, skip_host=True, skip_accept_encoding=True)
    conn.putheader("Host", host if host is not None else "127.0.0.1:%d" % port)
    for name, value in (headers or {}).items():
        conn.putheader(name, value)
    data = body.encode() if isinstance(body, str) else body
    if data is not None:
        conn.putheader("Content-Length", str(len(data)))
    conn.endheaders(data)
    response = conn.getresponse()
    payload = response.read()
    if seen is not None:
        seen.update(response.getheaders())
    conn.close()
    return response.status, payload


def interface_addresses():
    """The IPv4 addresses of this machine's interfaces, read from the kernel, no lookups."""
    addresses = set()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        for _, name in socket.if_nameindex():
            try:
                packed = fcntl.ioctl(s.fileno(), 0x8915,  # SIOCGIFADDR
                                     struct.pack("256s", name.encode()[:15]))
            except OSError:
                continue  # no IPv4 address on this interface
            addresses.add(socket.inet_ntoa(packed[20:24]))
    return addresses


def post_json(port, path, value, **extra):
    headers = {"Content-Type": "application/json"}
    headers.update(extra.pop("headers", {}))
    return request(port, "POST", path, json.dumps(value), headers, **extra)


class LoopbackDashboard(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.unit = EmulatorProcess(VANTO)
        cls.port = cls.unit.http_port

    @classmethod
    def tearDownClass(cls):
        cls.unit.stop()

    def state(self):
        status, body = request(self.port, "GET", "/api/state")
        self.assertEqual(status, 200)
        return json.loads(body)

    def test_every_route_needs_a_host_naming_the_bound_address_or_localhost(self):
        # Which Host forms pass is DashboardAccess's rule, tried in the unit suite; here, that
        # the server asks it on every route, and that a request without Host is refused.
        for host in ("127.0.0.1:%d" % self.port, "LOCALHOST:%d" % self.port):
            self.assertEqual(request(self.port, "GET", "/api/state", host=host)[0], 200, host)
        for path in ("/api/state", "/", "/api/events"):
            status, _ = request(self.port, "GET", path, host="attacker.example:%d" % self.port)
            self.assertEqual(status, 403, path)
        with socket.create_connection(("127.0.0.1", self.port), timeout=10) as s:
            s.sendall(b"GET /api/state HTTP/1.0\r\n\r\n")
            reply = s.recv(4096)
        self.assertTrue(reply.startswith(b"HTTP/1.1 403"), reply[:40])

    def test_changes_from_a_foreign_origin_are_refused_and_change_nothing(self):
        self.assertEqual(post_json(self.port, "/api/faults", {"printer": "ready"})[0], 200)
        for origin in ("http://attacker.example", "null"):
            for path, change in (("/api/faults", {"printer": "error"}), ("/api/restart", {})):
                status, _ = post_json(self.port, path, change, headers={"Origin": origin})
                self.assertEqual(status, 403, origin)
        self.assertEqual(self.state()["faults"]["printer"], "ready")
        self.assertEqual(self.state()["unit"]["restarts"], 0)
        # The page's own origin, and a client that sends none, may change it.
        status, body = post_json(self.port, "/api/faults", {"printer": "not-ready"},
                                 headers={"Origin": "http://localhost:%d" % self.port})
        self.assertEqual(status, 200)
        self.assertEqual(json.loads(body)["faults"]["printer"], "not-ready")
        self.assertEqual(post_json(self.port, "/api/faults", {"printer": "ready"})[0], 200)

    def test_changes_must_be_json_posts_under_the_size_limit(self):
        json_type = {"Content-Type": "application/json"}
        for body, headers, expected, says in (
                # A form post (what a foreign page can send without asking) is not JSON.
                ("printer=error", {"Content-Type": "application/x-www-form-urlencoded"}, 415, None),
                (json.dumps({"printer": "error", "pad": "x" * 5000}), json_type, 413, None),
                ("{not json", json_type, 400, "not JSON"),
                # A wrong field refuses the whole change: the valid field beside it is not applied.
                (json.dumps({"printer": "error", "corruptCrc": -1}), json_type, 400, "corruptCrc")):
            status, reply = request(self.port, "POST", "/api/faults", body, headers)
            self.assertEqual(status, expected, body[:40])
            if says:
                self.assertIn(says, json.loads(reply)["error"])
        self.assertEqual(self.state()["faults"]["printer"], "ready")
        self.assertEqual(post_json(self.port, "/api/drawer", {"action": "explode"})[0], 400)

    def test_only_get_reads_and_only_post_changes(self):
        for path in ("/api/faults", "/api/drawer", "/api/restart"):
            self.assertEqual(request(self.port, "GET", path)[0], 405, path)
        for method in ("PUT", "DELETE", "PATCH"):
            self.assertEqual(request(self.port, method, "/api/faults", "{}",
                                     {"Content-Type": "application/json"})[0], 405, method)
        self.assertEqual(post_json(self.port, "/api/state", {})[0], 405)

    def test_no_part_of_a_path_reaches_the_disk(self):
        for path in ("/api/receipts/..%2f..%2fetc%2fpasswd", "/api/receipts/1.png/../../stderr.txt",
                     "/api/receipts/0x1.txt", "/%2e%2e/%2e%2e/etc/passwd", "/events.jsonl",
                     "/api/receipts/9999999999.png"):
            status, body = request(self.port, "GET", path)
            self.assertIn(status, (400, 404), path)
            self.assertNotIn(b"root:", body, path)

    def test_pages_carry_headers_that_keep_them_out_of_frames_and_sniffing(self):
        seen = {}
        self.assertEqual(request(self.port, "GET", "/", seen=seen)[0], 200)
        self.assertIn("frame-ancestors 'none'", seen["Content-Security-Policy"])
        self.assertEqual(seen["X-Content-Type-Options"], "nosniff")
        self.assertNotIn("Access-Control-Allow-Origin", seen)


class WildcardDashboard(unittest.TestCase):
    def test_a_wildcard_bind_accepts_the_machines_own_addresses_only(self):
        unit = EmulatorProcess(VANTO, "--http-bind", "0.0.0.0")
        try:
            self.assertIn("warning", unit.stderr())
            port = unit.http_port
            # We only ever connect over loopback; the Host names what a browser elsewhere
            # would have typed.
            own = interface_addresses() | {"localhost"}
            self.assertIn("127.0.0.1", own)
            for name in own:
                self.assertEqual(request(port, "GET", "/api/state",
                                         host="%s:%d" % (name, port))[0], 200, name)
            for foreign in ("192.0.2.77", "attacker.example"):
                self.assertEqual(request(port, "GET", "/api/state",
                                         host="%s:%d" % (foreign, port))[0], 403, foreign)
        finally:
            unit.stop()


if __name__ == "__main__":
    if not VANTO or not os.access(VANTO, os.X_OK):
        sys.exit("VANTO_CLI must name the built vanto command")
    unittest.main(verbosity=2)
