#!/usr/bin/env python3
"""A stand-in for the hospital's first-generation REST service, on 127.0.0.1 only.

    python3 tools/sample_service.py --resources DIR --info-plist FILE
                                    [--port 0] [--user nurse --password orbelin]
                                    [--compress] [--moved PREFIX [--moved-status 301]]
                                    [--tls-cert PEM --tls-key PEM]

Every path template of the Info.plist's "DataSourcePaths" becomes a route (a
placeholder such as {userId} matches one path segment). A GET answers the JSON
resource that the same call reads in local mode (Patient with id 12 reads
patient.12.json). "Authenticate" is a POST whose JSON body must carry the
configured "username" and "password" (401 otherwise). Unknown paths give 404.

Second-generation paths: /hospital/... answers the JSON resource of the same
relative path (GET /hospital/patients/patient.7 reads hospital/patients/
patient.7.json). A POST or PUT of a JSON body on such a path replaces that
resource in memory only and answers the body back; later GETs return it. The
files on disk are never written. A body that is not JSON gives 400.

--compress answers gzip (or deflate) whenever the request's Accept-Encoding
allows it. --moved PREFIX answers every path under PREFIX with a redirect
(--moved-status, default 301) to the same path without it, as a service that
moved. --tls-cert and --tls-key serve HTTPS instead of HTTP (the certificate
file may hold the chain).

Control endpoints for tests (never recorded):
    GET  /__requests   the requests received so far: method, path, headers, body
    GET  /__connections {"open": N, "most": M}: connections open now, and the
                       most ever open at once since start or the last reset
    POST /__reset      forgets them, clears any fault and drops what was POSTed or PUT
    POST /__fault      a fault for the next "count" requests (default 1), or for
                       all of them with "all": true. One of
                       {"status": 500}      answer that status with a JSON body
                       {"delay_ms": 2000}   answer normally after a pause
                       {"malformed": true}  answer 200 with a body that is not JSON
                       {"drop": true}       close the connection without an answer
                       {"redirect": 307, "location": "/x"}   answer that redirect
                       {"encoding": "gzip"} answer normally, encoded: "gzip",
                                            "deflate", "identity", "x-unknown" (sent
                                            as is) or "broken" (declared gzip, not gzip)
                       {"chunked": true}    answer normally, chunked (with or
                                            without "encoding")

Each recorded request also holds "reply_bytes": the reply body's length on
the wire (after any encoding).

The first line on stdout is "listening on 127.0.0.1:PORT" (port 0 picks a free
one). The service stops on SIGTERM or SIGINT, and by itself when the process
that started it goes away. Only the Python standard library is used.
"""

import argparse
import glob
import gzip
import json
import os
import plistlib
import re
import signal
import ssl
import sys
import threading
import time
import zlib
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

# Service name -> (method, local resource name template). The templates name
# the same files that the data layer reads in local mode.
SERVICES = {
    "Authenticate": ("POST", "authentication"),
    "Notifications": ("GET", "user.{userId}.notifications"),
    "Patients": ("GET", "user.{userId}.patients"),
    "UserTasks": ("GET", "user.{userId}.tasks"),
    "UserGroupTasks": ("GET", "user.{userId}.tasks.grouped"),
    "UserBarriers": ("GET", "user.{userId}.barriers.grouped"),
    "Patient": ("GET", "patient.{patientId}"),
    "PatientSummary": ("GET", "patient.{patientId}.summary"),
    "PatientTasks": ("GET", "patient.{patientId}.tasks"),
    "PatientsTasks": ("GET", None),  # no ids in the URL: see patients_tasks_resource
    "Staff": ("GET", "user.shift.{shiftId}"),
    "Issues": ("GET", "user.{userId}.issues"),
    "StaffForPatient": ("GET", "patient.{patientId}.users"),
    "AllTasks": ("GET", "allTasks"),
    "TaskSummaryForUser": ("GET", "user.{userId}.tasksummary"),
    "PatientsAndTaskSummary": ("GET", "user.{userId}.patientsandtasks"),
    "RoomsForShift": ("GET", "user.shift.{shiftId}.rooms"),
}

MAX_BODY = 1 << 22  # credentials, or one second-generation record
HOSPITAL_PREFIX = "/hospital/"
MAX_DELAY_MS = 30000
SOCKET_TIMEOUT_S = 30
PLACEHOLDER = re.compile(r"\{(\w+)\}")


class Route:
    def __init__(self, service, template):
        self.service = service
        self.method, self.resource = SERVICES[service]
        self.literal_count = template.count("/") - len(PLACEHOLDER.findall(template))
        pattern = ""
        last = 0
        for match in PLACEHOLDER.finditer(template):
            pattern += re.escape(template[last:match.start()])
            pattern += "(?P<%s>[^/]+)" % match.group(1)
            last = match.end()
        pattern += re.escape(template[last:])
        self.regex = re.compile("^" + pattern + "$")


def load_routes(info_plist):
    with open(info_plist, "rb") as f:
        info = plistlib.load(f)
    paths = info.get("DataSourcePaths", {})
    routes = [Route(name, template) for name, template in paths.items()
              if name in SERVICES and isinstance(template, str)]
    # Literal segments first, so /api/patients/tasks is not taken for a patient id.
    routes.sort(key=lambda r: -r.literal_count)
    return routes


class State:
    def __init__(self):
        self.lock = threading.Lock()
        self.requests = []
        self.fault = None
        self.fault_left = 0  # -1: every request
        self.written = {}  # hospital resource name -> bytes POSTed or PUT
        self.open_connections = 0
        self.most_connections = 0

    def connection_opened(self):
        with self.lock:
            self.open_connections += 1
            self.most_connections = max(self.most_connections, self.open_connections)

    def connection_closed(self):
        with self.lock:
            self.open_connections -= 1

    def record(self, entry):
        with self.lock:
            self.requests.append(entry)

    def take_fault(self):
        with self.lock:
            if self.fault is None or self.fault_left == 0:
                return None
            if self.fault_left > 0:
                self.fault_left -= 1
            return self.fault

    def set_fault(self, spec):
        with self.lock:
            self.fault = spec
            self.fault_left = -1 if spec.get("all") else int(spec.get("count", 1))

    def reset(self):
        with self.lock:
            self.requests = []
            self.fault = None
            self.fault_left = 0
            self.written = {}
            self.most_connections = self.open_connections


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True
    timeout = SOCKET_TIMEOUT_S
    server_version = "OrbelinSampleService/1.0"

    def log_message(self, format, *args):  # keep stderr quiet
        pass

    def setup(self):
        super().setup()
        self.server.state.connection_opened()

    def finish(self):
        self.server.state.connection_closed()
        super().finish()

    def do_GET(self):
        self.handle_any()

    def do_POST(self):
        self.handle_any()

    def do_PUT(self):
        self.handle_any()

    def do_DELETE(self):
        self.handle_any()

    def read_body(self):
        length = int(self.headers.get("Content-Length") or 0)
        if length < 0 or length > MAX_BODY:
            return None
        return self.rfile.read(length) if length else b""

    def accepted_encoding(self):
        offered = [part.split(";")[0].strip().lower()
                   for part in (self.headers.get("Accept-Encoding") or "").split(",")]
        for name in ("gzip", "deflate"):
            if name in offered:
                return name
        return None

    def send(self, status, body, content_type="application/json"):
        forced = self.forced or {}
        encoding = forced.get("encoding")
        if encoding is None and self.server.compress:
            encoding = self.accepted_encoding()
        declared = encoding
        if encoding == "gzip":
            body = gzip.compress(body, mtime=0)
        elif encoding == "deflate":
            body = zlib.compress(body)
        elif encoding == "broken":
            declared = "gzip"
            body = b"\x1f\x8b this is not gzip at all" + body[:16]
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        if declared is not None:
            self.send_header("Content-Encoding", declared)
        if forced.get("chunked"):
            self.send_header("Transfer-Encoding", "chunked")
            self.end_headers()
            for start in range(0, len(body), 100):
                piece = body[start:start + 100]
                self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
            self.wfile.write(b"0\r\n\r\n")
        else:
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)
        if self.entry is not None:
            self.entry["reply_bytes"] += len(body)

    def send_redirect(self, status, location):
        self.send_response(status)
        self.send_header("Location", location)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def send_json(self, status, value):
        self.send(status, json.dumps(value).encode("utf-8"))

    def handle_any(self):
        # One handler serves every request of a keep-alive connection.
        self.entry = None
        self.forced = None
        body = self.read_body()
        if body is None:
            self.send_json(413, {"error": "request body too large"})
            return
        path = self.path.split("?", 1)[0]
        if path.startswith("/__"):
            self.handle_control(path, body)
            return
        self.entry = {
            "method": self.command,
            "path": self.path,
            "headers": {name: value for name, value in self.headers.items()},
            "body": body.decode("utf-8", "replace"),
            "reply_bytes": 0,
        }
        self.server.state.record(self.entry)
        fault = self.server.state.take_fault()
        if fault is not None and self.apply_fault(fault):
            return
        moved = self.server.moved
        if moved and (path == moved or path.startswith(moved + "/")):
            self.send_redirect(self.server.moved_status, self.path[len(moved):] or "/")
            return
        self.answer(path, body)

    def handle_control(self, path, body):
        state = self.server.state
        if path == "/__requests" and self.command == "GET":
            with state.lock:
                self.send_json(200, list(state.requests))
        elif path == "/__connections" and self.command == "GET":
            with state.lock:
                counts = {"open": state.open_connections, "most": state.most_connections}
            self.send_json(200, counts)
        elif path == "/__reset" and self.command == "POST":
            state.reset()
            self.send_json(200, {"ok": True})
        elif path == "/__fault" and self.command == "POST":
            try:
                spec = json.loads(body or b"{}")
                if not isinstance(spec, dict):
                    raise ValueError("not an object")
            except ValueError:
                self.send_json(400, {"error": "the fault must be a JSON object"})
                return
            state.set_fault(spec)
            self.send_json(200, {"ok": True})
        else:
            self.send_json(404, {"error": "unknown control endpoint"})

    # True when the fault took the place of the answer.
    def apply_fault(self, fault):
        if fault.get("drop"):
            self.close_connection = True
            return True
        if "delay_ms" in fault:
            time.sleep(min(max(int(fault["delay_ms"]), 0), MAX_DELAY_MS) / 1000.0)
            return False
        if "status" in fault:
            status = int(fault["status"])
            self.send_json(status, {"error": "injected fault", "status": status})
            return True
        if fault.get("malformed"):
            self.send(200, b'{"staffMember": {"id": 7,')
            return True
        if "redirect" in fault:
            self.send_redirect(int(fault["redirect"]), str(fault.get("location", "/")))
            return True
        if "encoding" in fault or "chunked" in fault:
            self.forced = fault
        return False

    def answer(self, path, body):
        if path.startswith(HOSPITAL_PREFIX):
            # Named as local mode names it: the query's "&+=?" become "_".
            self.answer_hospital(re.sub(r"[&+=?]", "_", self.path[1:]), body)
            return
        for route in self.server.routes:
            match = route.regex.match(path)
            if match is None:
                continue
            if self.command != route.method:
                self.send_json(405, {"error": "method not allowed"})
                return
            if route.service == "Authenticate" and not self.credentials_match(body):
                self.send_json(401, {"error": "wrong user name or password"})
                return
            self.send_resource(self.resource_for(route, match.groupdict()))
            return
        self.send_json(404, {"error": "no such service path"})

    def answer_hospital(self, name, body):
        state = self.server.state
        if self.command in ("POST", "PUT"):
            try:
                json.loads(body or b"")
            except ValueError:
                self.send_json(400, {"error": "the body must be JSON"})
                return
            with state.lock:
                state.written[name] = body
            self.send(200, body)
        elif self.command == "GET":
            with state.lock:
                written = state.written.get(name)
            if written is not None:
                self.send(200, written)
            else:
                self.send_resource(name)
        else:
            self.send_json(405, {"error": "method not allowed"})

    def credentials_match(self, body):
        try:
            credentials = json.loads(body or b"null")
        except ValueError:
            return False
        return (isinstance(credentials, dict)
                and credentials.get("username") == self.server.user
                and credentials.get("password") == self.server.password)

    def resource_for(self, route, values):
        if route.resource is None:
            return self.patients_tasks_resource()
        name = route.resource
        for key, value in values.items():
            name = name.replace("{%s}" % key, value)
        return name

    def patients_tasks_resource(self):
        root = self.server.resources
        if os.path.isfile(os.path.join(root, "patients.tasks.json")):
            return "patients.tasks"
        matches = sorted(glob.glob(os.path.join(glob.escape(root), "patients.*.tasks.json")))
        if not matches:
            return "patients.tasks"
        return os.path.basename(matches[0])[:-len(".json")]

    def send_resource(self, name):
        root = os.path.realpath(self.server.resources)
        file = os.path.realpath(os.path.join(root, name + ".json"))
        if os.path.commonpath([root, file]) != root or not os.path.isfile(file):
            self.send_json(404, {"error": "no resource " + name})
            return
        with open(file, "rb") as f:
            self.send(200, f.read())


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True
    # The default backlog of 5 drops connections when a client opens many at
    # once, and the dropped ones only retry a second later.
    request_queue_size = 128
    tls = None  # an ssl.SSLContext when serving HTTPS

    def get_request(self):
        sock, address = super().get_request()
        if self.tls is not None:
            # The handshake runs in the connection's own thread (on its first
            # read), so a client that never completes it blocks nobody else.
            sock = self.tls.wrap_socket(sock, server_side=True, do_handshake_on_connect=False)
        return sock, address

    def handle_error(self, request, client_address):
        # Clients refusing the certificate, or hanging up, are expected in tests.
        pass


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--resources", required=True)
    parser.add_argument("--info-plist", required=True)
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--user", default="nurse")
    parser.add_argument("--password", default="orbelin")
    parser.add_argument("--compress", action="store_true")
    parser.add_argument("--moved", default="")
    parser.add_argument("--moved-status", type=int, default=301)
    parser.add_argument("--tls-cert")
    parser.add_argument("--tls-key")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    server = Server(("127.0.0.1", arguments.port), Handler)
    server.routes = load_routes(arguments.info_plist)
    server.resources = arguments.resources
    server.user = arguments.user
    server.password = arguments.password
    server.state = State()
    server.compress = arguments.compress
    server.moved = arguments.moved.rstrip("/")
    server.moved_status = arguments.moved_status
    if arguments.tls_cert:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(arguments.tls_cert, arguments.tls_key or None)
        context.set_alpn_protocols(["http/1.1"])
        server.tls = context

    stop = threading.Event()
    signal.signal(signal.SIGTERM, lambda *_: stop.set())
    signal.signal(signal.SIGINT, lambda *_: stop.set())
    parent = os.getppid()

    worker = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.1})
    worker.daemon = True
    worker.start()
    print("listening on 127.0.0.1:%d" % server.server_address[1], flush=True)
    # Stops with its parent too, so a crashed test leaves nothing behind.
    while not stop.wait(0.5):
        if os.getppid() != parent:
            break
    server.shutdown()
    server.server_close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
