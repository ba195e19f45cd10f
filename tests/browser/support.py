"""What the tests of the collector's page stand on: the built programs, a real Chromium, and waiting for conditions."""

import argparse
import http.client
import json
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
from xml.sax.saxutils import escape

try:
    from selenium import webdriver
    from selenium.common.exceptions import StaleElementReferenceException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    sys.exit("The browser tests need Selenium for Debian's Python: apt-get install python3-selenium")

SOURCES = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCES / "tests/support"))
from waiting import PATIENCE, until

WIDE = (1280, 860)
PHONE = (360, 740)


# The contrast of every text that is seen with what lies behind it: those below 4.5 to 1.
FAINT = """
const channels = (color) => color.match(/[\\d.]+/g).map(Number);
const light = ([r, g, b]) => [r, g, b].map((c) => c / 255)
  .map((c) => (c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4))
  .reduce((sum, c, at) => sum + c * [0.2126, 0.7152, 0.0722][at], 0);
const ground = (element) => {
  for (let at = element; at; at = at.parentElement) {
    const color = channels(getComputedStyle(at).backgroundColor);
    if (color.length === 3 || color[3] === 1) return color;
    if (color[3] > 0) throw new Error('a ground that shines through');
  }
  return channels(getComputedStyle(document.documentElement).backgroundColor);
};
const faint = [];
let seen = 0;
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
  const element = walker.currentNode.parentElement;
  if (!walker.currentNode.data.trim() || !element.checkVisibility() || element.closest('.unseen, noscript')) continue;
  const [one, other] = [light(channels(getComputedStyle(element).color)), light(ground(element))];
  const contrast = (Math.max(one, other) + 0.05) / (Math.min(one, other) + 0.05);
  ++seen;
  if (contrast < 4.5) faint.push(`${contrast.toFixed(2)} ${element.outerHTML.slice(0, 120)}`);
}
return [seen, faint];
"""

# Everything that takes the focus and has no name.
NAMELESS = """
return [...document.querySelectorAll('a, button, input, select, summary, [tabindex="0"]')].filter((element) => {
  const labels = [...(element.labels ?? [])].map((label) => label.textContent).join('');
  return !(element.getAttribute('aria-label') || labels || element.textContent).trim();
}).map((element) => element.outerHTML)"""


class Options:
    programs = None  # the folder of the built programs
    screenshots = None  # where pictures go


class Collector:
    """A running sqm-collector. It ends with the object's context."""

    def __init__(self, database=None, port=0, options=()):
        arguments = [Options.programs / "sqm-collector", "--port", str(port), "--quiet", *options]
        if database:
            arguments += ["--database", database]
        self.process = subprocess.Popen(arguments, stdout=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().strip().rstrip("/")
        if not self.address:
            raise AssertionError("the collector did not start")
        self.port = urllib.parse.urlsplit(self.address).port

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(PATIENCE)
        self.process.stdout.close()

    def ask(self, method, path, body=None, content_type=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        try:
            connection.request(method, path, body, {"Content-Type": content_type} if content_type else {})
            answer = connection.getresponse()
            return answer.status, answer.getheader("Content-Type"), answer.read()
        finally:
            connection.close()

    def post(self, path, body):
        if isinstance(body, str):
            body = body.encode()
        status, _, _ = self.ask("POST", path, body, "text/xml; charset=utf-8")
        assert status == 200, status

    def records(self):
        return json.loads(self.ask("GET", "/_records")[2])


def run_library(collector, home):
    """A laptop's day, recorded by the library and uploaded."""
    for arguments in ([Options.programs / "02_laptop_day", home],
                      [Options.programs / "03_upload", home, collector.address]):
        subprocess.run(arguments, check=True, capture_output=True, timeout=PATIENCE)


def wifi(event="start", **values):
    """A Wi-Fi connection record as the library makes it, with these fields."""
    head = {name: values.pop(name) for name in ("eventTime", "clientId") if name in values}
    fields = lambda some: "".join(f"<{name}>{escape(text)}</{name}>" for name, text in some.items())
    index = "1" if event == "stop" else "0"
    return (f"<connectionRecord>{fields(head)}<event>{event}</event><recordIndex>{index}</recordIndex>"
            f"<wifi>{fields(values)}</wifi></connectionRecord>")


def connections(*records):
    """The document of connection records."""
    return ('<?xml version="1.0" encoding="utf-8"?><connectionList>' + "".join(records) + "</connectionList>")


def installed(*names):
    for name in names:
        path = shutil.which(name)
        if path:
            return path
    sys.exit(f"The browser tests need {names[0]}: apt-get install chromium chromium-driver")


class Browser:
    """A Chromium with an empty profile, which goes with it."""

    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(prefix="sqm-browser-", ignore_cleanup_errors=True)
        options = webdriver.ChromeOptions()
        options.binary_location = installed("chromium")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for argument in (
            "--headless",
            "--no-sandbox",  # which root, and many a container, cannot have; all that is opened is our own page
            "--disable-gpu",
            "--disable-quic",
            "--disable-dev-shm-usage",  # a container's is small
            "--no-first-run",
            "--disable-background-networking",
            "--disable-component-update",
            "--disable-sync",
            "--lang=en-US",
            f"--user-data-dir={self.profile.name}",
        ):
            options.add_argument(argument)
        self.driver = webdriver.Chrome(service=Service(installed("chromedriver")), options=options)
        self.driver.set_script_timeout(PATIENCE)
        self.driver.set_page_load_timeout(PATIENCE)

    def quit(self):
        self.driver.quit()
        self.profile.cleanup()

    def emulate(self, size=WIDE, scheme="light", zone="Asia/Tokyo"):
        def tell(command, **parameters):
            self.driver.execute_cdp_cmd(f"Emulation.{command}", parameters)

        tell("setDeviceMetricsOverride", width=size[0], height=size[1], deviceScaleFactor=1, mobile=size == PHONE)
        tell("setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": scheme},
            {"name": "prefers-reduced-motion", "value": "reduce"},  # so that a picture has no half-way colours
        ])
        tell("setTimezoneOverride", timezoneId=zone)
        tell("setLocaleOverride", locale="en-US")


class PageTest(unittest.TestCase):
    """A test with a browser, which all of its module share, and a collector and a page of its own."""

    browser = None
    options = ()  # of the collector

    @classmethod
    def setUpClass(cls):
        if not PageTest.browser:
            PageTest.browser = Browser()
            unittest.addModuleCleanup(PageTest.browser.quit)

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="sqm-collector-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.driver = self.browser.driver
        self.driver.get_log("browser")
        self.browser.emulate()
        self.collector = self.start_collector()
        self.open()

    def start_collector(self, port=0):
        collector = Collector(self.folder / "collector.db", port, self.options)
        self.addCleanup(lambda: collector.process.poll() is None and collector.end())
        return collector

    def open(self, fragment=""):
        self.driver.get("about:blank")
        self.driver.get(f"{self.collector.address}/{fragment}")
        self.wait_for_state("live")

    def tearDown(self):
        # The server goes while the page is still open: nothing the page does may depend on a clean end.
        self.driver.get("about:blank")

    # --- What the page shows ---

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def wait_for_state(self, state):
        until(lambda: self.js("return document.getElementById('state').dataset.state") == state, f"state {state}")

    def text(self, selector):
        """What is seen of an element; empty when it is not seen."""
        return self.js("""const found = document.querySelector(arguments[0]);
            return found && found.checkVisibility() ? found.innerText.trim() : '';""", selector)

    def rows(self):
        """The list as it is shown, newest first: titles."""
        return self.js("return [...document.querySelectorAll('#list li .title')].map((title) => title.textContent)")

    def wait_for_rows(self, expected):
        until(lambda: self.rows() == expected, f"{expected}, the list being {self.rows()}")

    def wait_for_count(self, count):
        until(lambda: self.text("#shown").startswith(f"{count:,} "), f"{count} entries, where there are {self.text('#shown')}")

    def pick(self, row):
        """Clicks a row of the list, counted from 0; again when the list was drawn anew under the hand."""
        def clicked():
            try:
                self.driver.find_elements(By.CSS_SELECTOR, "#list li")[row].click()
                return True
            except (IndexError, StaleElementReferenceException):
                return False
        until(clicked, f"row {row}")

    def fields(self):
        """The detail's fields as they are seen: {name: (value, change, earlier value)}."""
        rows = self.js("""return [...document.querySelectorAll('#fields tr')].filter((row) => row.checkVisibility())
            .map((row) => {
              const [was, cell] = [row.querySelector('.was del'), row.querySelector('td').cloneNode(true)];
              cell.querySelectorAll('.change, .was').forEach((part) => part.remove());
              return [row.querySelector('th').textContent, cell.textContent, row.dataset.change ?? '',
                was && was.textContent];
            })""")
        return {name: (value, change, was) for name, value, change, was in rows}

    def counts(self, selector):
        """A list of names with counts: {name: count}."""
        return self.js("""return Object.fromEntries([...document.querySelectorAll(arguments[0])].map((row) =>
            [row.firstElementChild.tagName === 'INPUT' ? row.querySelector('span').textContent
              : row.firstElementChild.textContent, row.querySelector('b').textContent]))""", selector)

    def filter_text(self, text):
        field = self.driver.find_element(By.ID, "text")
        field.send_keys(Keys.CONTROL + "a")
        field.send_keys(text or Keys.DELETE)

    def filter_type(self, name):
        self.driver.find_element(By.XPATH, f"//fieldset/label[span='{name}']").click()

    def press(self, *keys):
        for key in keys:
            ActionChains(self.driver, duration=0).send_keys(key).perform()

    def focused(self):
        return self.js("return document.activeElement.id || document.activeElement.tagName")

    def complaints(self):
        """What the browser has to say of the page: refused scripts, errors. A lost connection is none."""
        return [entry["message"] for entry in self.driver.get_log("browser") if "net::ERR_" not in entry["message"]]

    def picture(self, name):
        if Options.screenshots:
            self.driver.save_screenshot(str(Options.screenshots / f"{name}.png"))


def main(module):
    """Runs the tests of a module: python3 <module>.py --programs FOLDER [--screenshots FOLDER] [test...]"""
    parser = argparse.ArgumentParser(description=sys.modules[module].__doc__)
    parser.add_argument("--programs", type=pathlib.Path, default=SOURCES / "build/release/bin",
                        help="folder of the built programs (default: build/release/bin)")
    parser.add_argument("--screenshots", type=pathlib.Path, help="folder for pictures (default: none are kept)")
    parser.add_argument("tests", nargs="*", help="class or class.test (default: all)")
    given = parser.parse_args()
    Options.programs = given.programs
    with tempfile.TemporaryDirectory(prefix="sqm-pictures-") as temporary:
        Options.screenshots = given.screenshots or pathlib.Path(temporary)
        Options.screenshots.mkdir(parents=True, exist_ok=True)
        unittest.main(module=module, argv=[sys.argv[0], *given.tests], verbosity=2)
