"""A small client of the DevTools protocol: a headless Chromium on two pipes."""

import base64
import json
import os
import shutil
import subprocess
import tempfile
import threading
import time


class Browser:
    """A browser with a profile of its own, which reaches nothing but this machine."""

    def __init__(self, *options):
        self.profile = tempfile.mkdtemp(prefix="loopbox-browser-")
        to_browser, self.sink = os.pipe()
        self.source, from_browser = os.pipe()

        def place_pipes():  # the browser reads from 3 and writes to 4
            taken, given = os.dup(to_browser), os.dup(from_browser)
            os.dup2(taken, 3)
            os.dup2(given, 4)

        self.process = subprocess.Popen(
            ["chromium-headless-shell", "--no-sandbox", "--disable-gpu", "--remote-debugging-pipe",
             "--user-data-dir=" + self.profile, "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
             "--hide-scrollbars", "--enable-precise-memory-info", *options, "about:blank"],
            close_fds=False, preexec_fn=place_pipes, start_new_session=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self.lock = threading.Condition()
        self.answers = {}
        self.events = []
        self.last = 0
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        rest = b""
        while True:
            part = os.read(self.source, 1 << 20)
            if not part:
                break
            *messages, rest = (rest + part).split(b"\0")
            with self.lock:
                for message in map(json.loads, messages):
                    if "id" in message:
                        self.answers[message["id"]] = message
                    else:
                        self.events.append(message)
                self.lock.notify_all()

    def call(self, method, session=None, wait=30, **params):
        with self.lock:
            self.last += 1
            number = self.last
            message = {"id": number, "method": method, "params": params}
            if session:
                message["sessionId"] = session
            os.write(self.sink, json.dumps(message).encode() + b"\0")
            if not self.lock.wait_for(lambda: number in self.answers, wait):
                raise TimeoutError(method)
            answer = self.answers.pop(number)
        if "error" in answer:
            raise RuntimeError(method + ": " + answer["error"]["message"])
        return answer["result"]

    def page(self, **size):
        return Page(self, **size)

    def close(self):
        try:
            self.call("Browser.close", wait=5)
        except (OSError, TimeoutError, RuntimeError):
            self.process.kill()
        self.process.wait()
        shutil.rmtree(self.profile, ignore_errors=True)


KEYS = {"Enter": 13, "Escape": 27, "Tab": 9, "ArrowLeft": 37, "ArrowUp": 38, "ArrowRight": 39, "ArrowDown": 40,
        "Home": 36, "End": 35, "PageUp": 33, "PageDown": 34, " ": 32}


class Page:
    """A tab. `run` evaluates JavaScript in it."""

    def __init__(self, browser, width=1200, height=800):
        self.browser = browser
        self.target = browser.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = browser.call("Target.attachToTarget", targetId=self.target, flatten=True)["sessionId"]
        for domain in ("Page", "Network", "Runtime", "Log"):
            self.call(domain + ".enable")
        self.resize(width, height)

    def close(self):
        self.browser.call("Target.closeTarget", targetId=self.target)

    def call(self, method, **params):
        return self.browser.call(method, self.session, **params)

    def events(self, method):
        with self.browser.lock:
            return [event["params"] for event in self.browser.events
                    if event.get("sessionId") == self.session and event["method"] == method]

    def resize(self, width, height):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def theme(self, scheme):
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def open(self, address):
        self.call("Page.navigate", url=address)

    def run(self, script):
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True, userGesture=True)
        if "exceptionDetails" in result:
            details = result["exceptionDetails"]
            raise RuntimeError(details.get("exception", {}).get("description", details["text"]) + "\nin " + script)
        return result["result"].get("value")

    def wait(self, script, seconds=10):
        """Until the script yields something true, which is returned."""
        end = time.monotonic() + seconds
        while True:
            try:
                value = self.run(script)
            except RuntimeError:
                if time.monotonic() > end:
                    raise
                value = None
            if value or value == {}:  # an element comes as that
                return value
            if time.monotonic() > end:
                raise AssertionError("never true: " + script + "\nthe page says:\n" + self.run("document.body.innerText"))
            time.sleep(0.03)

    def press(self, *keys):
        for key in keys:
            code = {"windowsVirtualKeyCode": KEYS[key]} if key in KEYS else {}
            text = {"text": "\r" if key == "Enter" else key} if len(key) == 1 or key == "Enter" else {}
            self.call("Input.dispatchKeyEvent", type="keyDown" if text else "rawKeyDown", key=key, **code, **text)
            self.call("Input.dispatchKeyEvent", type="keyUp", key=key, **code)

    def picture(self, path):
        data = self.call("Page.captureScreenshot", format="png")["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))
