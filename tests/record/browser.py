# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""A browser without a window, driven over WebDriver."""

import json
import os
import re
import subprocess
import urllib.error
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
# Limit for one answer of the driver.
PATIENCE_SECONDS = 120


class Browser:
    def __init__(self):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        for line in self.driver.stdout:
            if started := re.search(r"started successfully on port (\d+)", line):
                break
        else:
            raise RuntimeError("chromedriver does not start")
        self.url = f"http://localhost:{started.group(1)}/session"
        arguments = ["--headless=new", "--disable-dev-shm-usage", "--window-size=1400,1000"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")
        capabilities = {
            "goog:chromeOptions": {"args": arguments},
            "goog:loggingPrefs": {"browser": "ALL"},
        }
        try:
            session = self.call("POST", "", {"capabilities": {"alwaysMatch": capabilities}})
        except Exception:
            self.driver.terminate()
            raise
        self.url += "/" + session["sessionId"]

    def quit(self):
        self.call("DELETE", "")
        self.driver.terminate()
        self.driver.wait()
        self.driver.stdout.close()

    def call(self, method, path, body=None):
        request = urllib.request.Request(
            self.url + path, method=method, headers={"Content-Type": "application/json"},
            data=None if method != "POST" else json.dumps(body or {}).encode())
        try:
            with urllib.request.urlopen(request, timeout=PATIENCE_SECONDS) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from error

    def open(self, path):
        self.call("POST", "/url", {"url": f"file://{path}"})

    def run(self, script, *arguments):
        """The value that the script returns, awaited where it is a promise."""
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.call("POST", f"/element/{self.find(selector)}/click")

    def type(self, selector, text):
        self.call("POST", f"/element/{self.find(selector)}/value", {"text": text})

    def act(self, kind, pointer_type, *sequences):
        """Each sequence holds the actions of one pointer or wheel."""
        actions = [{"type": kind, "id": f"{pointer_type} {kind} {i}", "actions": sequence}
                   for i, sequence in enumerate(sequences)]
        if kind == "pointer":
            for action in actions:
                action["parameters"] = {"pointerType": pointer_type}
        self.call("POST", "/actions", {"actions": actions})

    def position(self, selector, x=0, y=0):
        """Coordinates relative to the middle of an element, for actions."""
        return {"origin": {ELEMENT: self.find(selector)}, "x": x, "y": y}

    def tools(self, command, **parameters):
        """A command of the browser's developer tools."""
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def set_scheme(self, name):
        self.tools("Emulation.setEmulatedMedia",
                   features=[{"name": "prefers-color-scheme", "value": name}])

    def set_size(self, width, height):
        self.tools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                   deviceScaleFactor=1, mobile=width < 600)

    def console(self):
        return self.call("POST", "/se/log", {"type": "browser"})
