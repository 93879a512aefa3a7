"""Drives the distribution's Chromium."""

import base64
import os
import subprocess
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver import ActionChains, Keys
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

import recording

ARGUMENTS = (
    "--headless=new",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-dev-shm-usage",
    "--no-first-run",
    "--force-prefers-reduced-motion",
)


def program():
    return os.environ["KESTRUNE_REPORT"].split()


def start_browser():
    options = Options()
    for argument in ARGUMENTS:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class PageTest(unittest.TestCase):
    """Tests of a page that the program has written; one browser and one recording for all of a class."""

    maxDiff = None
    write = staticmethod(recording.write)

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.prefix = os.path.join(folder.name, "studio1")
        cls.seconds = cls.write(cls.prefix)
        cls.page = cls.prefix + ".html"
        cls.result = cls.report(cls.prefix)
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    @staticmethod
    def report(prefix, *options):
        """Runs the program; the page lies beside the files."""
        command = [*program(), prefix, "-o", prefix + ".html", *options]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def open(
        self,
        width=1440,
        height=1000,
        *,
        address="",
        zone="UTC",
        dark=False,
        phone=False,
        scripts=True,
        starts=True,
        page=None,
    ):
        """Opens the page as on a machine of that kind."""
        cdp = self.browser.execute_cdp_cmd
        self.browser.get("about:blank")
        cdp(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 2 if phone else 1, "mobile": phone},
        )
        cdp("Emulation.setTouchEmulationEnabled", {"enabled": phone, "maxTouchPoints": 2 if phone else 1})
        cdp("Emulation.setTimezoneOverride", {"timezoneId": zone})
        cdp(
            "Emulation.setEmulatedMedia",
            {
                "features": [
                    {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
                    {"name": "prefers-reduced-motion", "value": "reduce"},
                ]
            },
        )
        cdp("Emulation.setScriptExecutionDisabled", {"value": not scripts})
        self.browser.get_log("browser")
        self.browser.get_log("performance")
        self.browser.get(f"file://{page or self.page}{address}")
        if scripts and starts:
            self.script("await report.started")
            self.settle()

    def script(self, text, *arguments):
        """Runs an asynchronous function's body; gives what it returns."""
        result = self.browser.execute_async_script(
            "const [done, ...a] = [arguments[arguments.length - 1], ...arguments];"
            "(async () => {" + text + "})().then(value => done([value]), error => done(String(error.stack)))",
            *arguments,
        )
        if isinstance(result, str):
            self.fail(result)
        return result[0]

    def settle(self):
        """Waits for what is being decoded and drawn."""
        self.script(
            "do await new Promise(r => requestAnimationFrame(() => setTimeout(r, 40)));"
            "while (report.page.store.waiting > 0); if (report.frame()) report.drawNow()"
        )

    def go(self, begin, end):
        self.script("report.go(a[0], a[1])", begin, end)
        self.settle()

    def view(self):
        view = self.script("return report.page.view")
        return view["a"], view["b"]

    def caption(self):
        return self.text("#readout caption")

    def cell(self, sfp, name):
        return self.plain(self.script("return report.figures().sfps[a[0]][a[1]]", sfp, name))

    def text(self, selector):
        return self.plain(self.script("return document.querySelector(a[0]).textContent", selector))

    @staticmethod
    def plain(text):
        return text.replace("\u00a0", " ").replace("\u202f", " ").replace("\u2212", "-")

    def place(self, t, share=0.45):
        """The pixel of a moment in the chart."""
        left, top, _, height = self.box("#stack")
        return round(left + self.script("return report.frame().x(a[0])", t)), round(top + height * share)

    def box(self, selector):
        """Left, top, width and height."""
        return self.script(
            "const r = document.querySelector(a[0]).getBoundingClientRect();"
            "return [r.left, r.top, r.width, r.height]",
            selector,
        )

    def choose(self, selector, value, event="change"):
        """Sets a control as its user would."""
        self.script(
            "const e = document.querySelector(a[0]); e.value = a[1]; e.dispatchEvent(new Event(a[2]))",
            selector,
            value,
            event,
        )
        self.settle()

    def to_chart(self):
        self.script("document.querySelector('#h-time').scrollIntoView({ behavior: 'instant' })")

    def mouse(self, kind, x, y, **more):
        self.browser.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": kind, "x": x, "y": y, **more})

    def drag(self, begin, end, **more):
        self.mouse("mousePressed", *begin, button="left", clickCount=1, **more)
        for step in range(1, 6):
            self.mouse("mouseMoved", *(b + (e - b) * step / 5 for b, e in zip(begin, end)), button="left", **more)
        self.mouse("mouseReleased", *end, button="left", clickCount=1, **more)
        self.settle()

    def touch(self, *moves):
        """Fingers: each move is the list of their places."""
        for i, places in enumerate(moves):
            points = [{"x": x, "y": y, "id": n} for n, (x, y) in enumerate(places)]
            kind = "touchStart" if i == 0 else "touchMove"
            self.browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": points})
        self.browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": "touchEnd", "touchPoints": []})
        self.settle()

    def press(self, *keys, shift=False):
        chain = ActionChains(self.browser)
        if shift:
            chain.key_down(Keys.SHIFT)
        chain.send_keys(*keys)
        if shift:
            chain.key_up(Keys.SHIFT)
        chain.perform()
        self.settle()

    def click(self, selector):
        self.script("document.querySelector(a[0]).click()", selector)
        self.settle()

    def visible_text(self):
        return self.plain(self.browser.find_element(By.TAG_NAME, "body").text)

    def pdf(self):
        printed = self.browser.execute_cdp_cmd("Page.printToPDF", {"printBackground": True, "preferCSSPageSize": True})
        return base64.b64decode(printed["data"])

    def closed(self):
        """What the page doesn't bring along is neither fetched nor run, even if something in it wanted to."""
        blocked = self.script(
            """const seen = new Set(), add = (name, members) =>
              document.body.append(Object.assign(document.createElement(name), members));
            document.addEventListener('securitypolicyviolation', e => seen.add(e.effectiveDirective));
            add('script', { textContent: 'window.ran = true' });
            add('img', { src: 'http://127.0.0.1:9/' });
            await fetch('data:,').catch(() => {});
            await new Promise(r => setTimeout(r, 50));
            return [[...seen].sort(), window.ran === undefined]"""
        )
        self.assertEqual(blocked, [["connect-src", "img-src", "script-src-elem"], True])

    def quiet(self):
        """No line on the browser's console, and nothing fetched but the file."""
        self.assertEqual(self.browser.get_log("browser"), [])
        requests = [
            entry["message"]
            for entry in self.browser.get_log("performance")
            if '"Network.requestWillBeSent"' in entry["message"]
        ]
        self.assertEqual([r for r in requests if '"url":"file://' not in r and '"url":"data:' not in r], [])
