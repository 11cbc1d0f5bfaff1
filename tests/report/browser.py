# SPDX-License-Identifier: Apache-2.0
"""A headless Chromium that opens one page of a file: what it shows, says and asks for."""
import base64
import json
import os
import subprocess
import tempfile
import time

TIMEOUT_S = 60


class Browser:
    """Ends with its `with` block. `complaints` gathers messages of the console above the level info,
    exceptions, and each request of the page for something that is not the page."""

    def __init__(self, program):
        self.program = program
        self.complaints = []
        self.next_id = 0
        self.page = ""
        self.session = None
        self.rest = b""

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        from_us, self.write_end = os.pipe()
        self.read_end, to_us = os.pipe()
        command = [self.program, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                   "--no-first-run", "--disable-background-networking", "--disable-component-update",
                   "--remote-debugging-pipe", "--user-data-dir=" + self.folder.name, "about:blank"]
        # The browser reads commands from the descriptor 3 and answers on 4.
        shell = 'i=$1 o=$2; shift 2; eval "exec \\"\\$@\\" 3<&$i 4>&$o"'
        self.process = subprocess.Popen(["bash", "-c", shell, "sh", str(from_us), str(to_us)] + command,
                                        pass_fds=(from_us, to_us), stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(from_us)
        os.close(to_us)
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Runtime", "Log", "Network", "Page"):
            self.call(domain + ".enable")
        return self

    def __exit__(self, *_):
        self.session = None
        try:
            self.call("Browser.close")
            self.process.wait(TIMEOUT_S)
        except (OSError, EOFError, subprocess.TimeoutExpired):
            self.process.kill()
        os.close(self.write_end)
        os.close(self.read_end)
        self.folder.cleanup()

    def call(self, method, **parameters):
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.write_end, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.read()
            if answer.get("id") == self.next_id:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer.get("result", {})

    def read(self):
        while b"\0" not in self.rest:
            part = os.read(self.read_end, 1 << 20)
            if not part:
                raise EOFError("the browser has ended")
            self.rest += part
        line, self.rest = self.rest.split(b"\0", 1)
        message = json.loads(line)
        self.note(message.get("method"), message.get("params", {}))
        return message

    def note(self, method, event):
        if method == "Runtime.exceptionThrown":
            self.complaints.append("exception: " + json.dumps(event["exceptionDetails"])[:500])
        elif method == "Runtime.consoleAPICalled":
            self.complaints.append("console: " + json.dumps(event["args"])[:500])
        elif method == "Log.entryAdded":
            self.complaints.append("log: " + event["entry"]["text"][:500])
        elif method == "Network.requestWillBeSent":
            url = event["request"]["url"]
            if url.split("#")[0] not in (self.page, "about:blank"):
                self.complaints.append("asks for " + url[:200])

    def open(self, file):
        """Opens a page; returns the milliseconds from the start of its loading to now, and until it
        was drawn."""
        self.page = "file://" + file
        self.call("Page.navigate", url=self.page)
        self.wait("document.body && document.body.dataset.drawn !== undefined")
        return self.run("[performance.now(), Number(document.body.dataset.drawn)]")

    def wait(self, condition):
        end = time.monotonic() + TIMEOUT_S
        while not self.run(condition):
            if time.monotonic() > end or any(text.startswith("exception") for text in self.complaints):
                raise RuntimeError(f"in vain: {condition} {self.complaints}")
            time.sleep(0.02)

    def run(self, script):
        """The value of an expression in the page."""
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(json.dumps(result["exceptionDetails"])[:800])
        return result["result"].get("value")

    def press(self, key, code=0, text=None):
        event = {"key": key, "windowsVirtualKeyCode": code}
        self.call("Input.dispatchKeyEvent", type="keyDown", **event, **({"text": text} if text else {}))
        self.call("Input.dispatchKeyEvent", type="keyUp", **event)

    def resize(self, width, height):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=width < 600)

    def colours(self, scheme):
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def picture(self, file, whole=False):
        data = self.call("Page.captureScreenshot", captureBeyondViewport=whole)["data"]
        with open(file, "wb") as out:
            out.write(base64.b64decode(data))
