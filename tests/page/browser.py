"""Pages in a headless Chromium: opening them from disk, acting on them, and what they did while they were open."""

import io
import json
import os
import pathlib
import time

from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

WIDTH = 1200
HEIGHT = 900

# No name resolves, so that nothing leaves the machine even where scripts/check-pages cannot take the network away. Scale,
# scroll bars and the smoothing of letters are the same on every machine, for the pictures.
ARGUMENTS = [
    "--headless=new",
    "--disable-gpu",
    "--disable-dev-shm-usage",
    "--disable-background-networking",
    "--disable-component-update",
    "--no-first-run",
    "--host-resolver-rules=MAP * ~NOTFOUND",
    "--force-device-scale-factor=1",
    "--hide-scrollbars",
    "--disable-lcd-text",
    "--font-render-hinting=none",
    f"--window-size={WIDTH},{HEIGHT}",
]

PATIENCE = 10  # seconds until a page has done what is waited for


class Browser:
    """One Chromium, for many pages. Close it."""

    def __init__(self):
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for argument in ARGUMENTS:
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")  # Chromium refuses to run as root with it
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    def close(self):
        self.driver.quit()

    def open(self, path, *, dark=False, media="", width=WIDTH, height=HEIGHT):
        """Loads a file as a page of its own.

        @param media  "print": as it is printed.
        """
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        motion = {"name": "prefers-reduced-motion", "value": "reduce"}
        self.command("Emulation.setEmulatedMedia", media=media, features=[scheme, motion])
        self.driver.get("about:blank")
        self.take_log("browser")
        self.take_log("performance")
        return Page(self, pathlib.Path(path).resolve())

    def command(self, name, **parameters):
        return self.driver.execute_cdp_cmd(name, parameters)

    def take_log(self, name):
        return self.driver.get_log(name)


class Page:
    """A page that is open in the browser, until the next one is opened. Places are CSS selectors."""

    def __init__(self, browser, path):
        self.browser = browser
        self.driver = browser.driver
        self.url = path.as_uri()
        start = time.monotonic()
        self.driver.get(self.url)
        self.load_seconds = time.monotonic() - start
        self.complaints = []
        self.requests = []

    # ---- what it says

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def elements(self, place):
        return self.driver.find_elements(By.CSS_SELECTOR, place)

    def element(self, place):
        return self.driver.find_element(By.CSS_SELECTOR, place)

    def text(self, place):
        """The text of the first one, shown or not, with each run of blanks as one."""
        return " ".join(self.element(place).get_property("textContent").split())

    def texts(self, place):
        found = self.script("return [...document.querySelectorAll(arguments[0])].map(e => e.textContent)", place)
        return [" ".join(text.split()) for text in found]

    def tables(self, place="main"):
        """The tables in it, each the texts of its rows' cells, heads included, with each run of blanks as one."""
        tables = self.script(
            "return [...document.querySelectorAll(arguments[0] + ' table')]"
            ".map(t => [...t.rows].map(r => [...r.cells].map(c => c.textContent)))",
            place,
        )
        return [[[" ".join(cell.split()) for cell in row] for row in rows] for rows in tables]

    def table(self, first_heading, place="main"):
        """The first of these tables whose first heading is that. @throws AssertionError when there is none."""
        for rows in self.tables(place):
            if rows[0][0] == first_heading:
                return rows
        raise AssertionError(f"no table begins with \"{first_heading}\"")

    def wait(self, condition, *arguments):
        """Until the JavaScript expression is true. @throws AssertionError when it does not become so."""
        end = time.monotonic() + PATIENCE
        while not self.script(f"return Boolean({condition})", *arguments):
            if time.monotonic() > end:
                raise AssertionError(f"not within {PATIENCE} s: {condition}")
            time.sleep(0.02)

    # ---- what is done to it

    def show(self, place):
        """Scrolls to it. @return x and y of its middle in the window."""
        x, y = self.script(
            "const e = document.querySelector(arguments[0]); e.scrollIntoView({block: 'center'});"
            "const r = e.getBoundingClientRect(); return [r.left + r.width / 2, r.top + r.height / 2]",
            place,
        )
        return x, y

    def click(self, place, dx=0, dy=0):
        """@param dx  from the middle of the place, in pixels. @param dy  the same."""
        x, y = self.show(place)
        for kind in ("mousePressed", "mouseReleased"):
            self._mouse(kind, x + dx, y + dy, button="left", clickCount=1)

    def hover(self, place, dx=0, dy=0):
        x, y = self.show(place)
        self._mouse("mouseMoved", x + dx, y + dy)

    def wheel(self, place, amount, dx=0, dy=0, modifiers=0):
        """@param amount  of pixels, downwards. @param modifiers  2 is the key Control."""
        x, y = self.show(place)
        self._mouse("mouseWheel", x + dx, y + dy, deltaX=0, deltaY=amount, modifiers=modifiers)

    def drag(self, place, dx, dy=0, start=0):
        """From `start` pixels beside the middle of the place, by dx and dy."""
        x, y = self.show(place)
        self._mouse("mousePressed", x + start, y, button="left", clickCount=1)
        for step in range(1, 5):
            self._mouse("mouseMoved", x + start + dx * step / 4, y + dy * step / 4, button="left", buttons=1)
        self._mouse("mouseReleased", x + start + dx, y + dy, button="left", clickCount=1)

    def keys(self, *keys, place=None):
        """Presses keys, where the focus is or after it was moved to `place`: letters, or names such as "ARROW_LEFT"."""
        if place is not None:
            self.script("document.querySelector(arguments[0]).focus()", place)
        actions = ActionChains(self.driver)
        for key in keys:
            actions.send_keys(getattr(Keys, key) if len(key) > 1 else key)
        actions.perform()

    def _mouse(self, kind, x, y, **more):
        self.browser.command("Input.dispatchMouseEvent", type=kind, x=x, y=y, **more)

    # ---- what it looks like

    def picture(self, place):
        """The first one as an image, as it is shown."""
        self.show(place)
        return Image.open(io.BytesIO(self.element(place).screenshot_as_png)).convert("RGB")

    def window(self):
        return Image.open(io.BytesIO(self.driver.get_screenshot_as_png())).convert("RGB")

    # ---- what it did

    def take_requests(self):
        """The addresses that were asked for since it was opened; those of data: and blob: ask nobody."""
        for entry in self.browser.take_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                self.requests.append(message["params"]["request"]["url"])
            elif message["method"] == "Network.webSocketCreated":
                self.requests.append(message["params"]["url"])
        return [url for url in self.requests if not url.startswith(("data:", "blob:"))]

    def take_complaints(self):
        """What the console has since it was opened: errors, warnings, violations of the policy."""
        for entry in self.browser.take_log("browser"):
            self.complaints.append(f"{entry['level']}: {entry['message']}")
        return self.complaints
