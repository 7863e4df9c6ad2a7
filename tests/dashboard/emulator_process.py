"""A `vanto emulate --http 0` child process for the dashboard suites, on loopback only."""

import os
import re
import signal
import subprocess
import tempfile
import time


class EmulatorProcess:
    """Starts the emulated unit with its dashboard and reads back both ports."""

    def __init__(self, vanto, *extra):
        self.vanto = vanto
        self.out = tempfile.TemporaryDirectory(prefix="vanto-dash-")
        self.errors = open(os.path.join(self.out.name, "stderr.txt"), "w+")
        self.process = subprocess.Popen(
            [vanto, "emulate", "--port", "0", "--http", "0", "--out", self.out.name, *extra],
            stdout=subprocess.DEVNULL, stderr=self.errors)
        self.unit_port = self.http_port = None
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            text = self.stderr()
            unit = re.search(r"listening on [^ ]+:(\d+)", text)
            dash = re.search(r"dashboard on http://\S+:(\d+)/", text)
            if unit and dash:
                self.unit_port = int(unit.group(1))
                self.http_port = int(dash.group(1))
                return
            if self.process.poll() is not None:
                break
            time.sleep(0.05)
        self.stop()
        raise RuntimeError("vanto emulate did not report its ports:\n" + self.stderr())

    def stderr(self):
        self.errors.flush()
        with open(self.errors.name) as f:
            return f.read()

    @property
    def url(self):
        return "http://127.0.0.1:%d/" % self.http_port

    def run(self, *args, timeout=60):
        """Runs a `vanto` command against this unit; returns (exit code, stdout + stderr)."""
        command = [self.vanto, *args, "--ip", "127.0.0.1", "--port", str(self.unit_port)]
        done = subprocess.run(command, capture_output=True, text=True, timeout=timeout)
        return done.returncode, done.stdout + done.stderr

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout=20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.errors.close()
        self.out.cleanup()
