#!/usr/bin/env python3
"""Opens HostCapture reports in Debian's chromium through Debian's chromedriver and Selenium and
checks what only a browser can tell: the fold-out script under real mouse clicks, the status
icons as drawn, that the page asks for nothing from outside, the text encoding, and that daemon
texts never become markup.

    python3 report_test.py <demo page> <empty page> <markup page> <screenshot file>

Exits with 1 on the first failed check, and when the browser cannot be started.
"""
import base64
import json
import os
import pathlib
import sys
import tempfile
import time

from selenium import webdriver
from selenium.common.exceptions import (ElementClickInterceptedException, ElementNotInteractableException,
                                        NoAlertPresentException, UnexpectedAlertPresentException)
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

from markup_profile import PAYLOAD

CHROMIUM = os.environ.get("HOSTCAPTURE_CHROMIUM", "/usr/bin/chromium")
CHROMEDRIVER = os.environ.get("HOSTCAPTURE_CHROMEDRIVER", "/usr/bin/chromedriver")
STATUSES = ["normal", "warning", "major", "error", "unknown", "not-present"]
# After an intercepted click: longer than a section's 0.2 s open/close transition.
SETTLE_S = 0.35
SCREENSHOT_CLIP = {"x": 0, "y": 0, "width": 1280, "height": 1800, "scale": 1}


class Failure(Exception):
    pass


def check(condition, message):
    if not condition:
        raise Failure(message)


def start_browser(profile_dir):
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    # Root on a build machine needs --no-sandbox; nothing but the local report is ever loaded.
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1280,900",
                     "--no-first-run", "--disable-background-networking", "--user-data-dir=" + profile_dir):
        options.add_argument(argument)
    # The performance log carries every network request and dialog of the page; the browser log
    # its script errors.
    options.set_capability("goog:loggingPrefs", {"performance": "ALL", "browser": "ALL"})
    # A dialog is dismissed and fails the next command (see main).
    options.set_capability("unhandledPromptBehavior", "dismiss and notify")
    # No fallback: a browser that does not start is a failed test.
    return webdriver.Chrome(service=Service(executable_path=CHROMEDRIVER), options=options)


class OpenPage:
    """One report loaded into the browser, with what it did besides loading itself."""

    def __init__(self, driver, file):
        self.driver = driver
        self.url = pathlib.Path(file).resolve().as_uri()
        self.requests = []
        self.dialogs = []
        self.errors = []
        self.loaded_self = False
        driver.get_log("performance")  # drops what earlier pages left
        driver.get_log("browser")
        driver.get(self.url)
        self.collect()
        check(self.loaded_self, "the request log does not show the page's own load: the request check would see nothing")

    def collect(self):
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            method, params = message.get("method"), message.get("params", {})
            # The browser's own pages (a new-tab page still loading at start) are not the report.
            if method == "Network.requestWillBeSent" and not params.get("documentURL", "").startswith("chrome:"):
                url = params["request"]["url"]
                # The icons are data URLs inside the page; they are decoded, not fetched.
                if url == self.url:
                    self.loaded_self = True
                elif not url.startswith("data:"):
                    self.requests.append(url)
            elif method == "Page.javascriptDialogOpening":
                self.dialogs.append(params.get("message"))
        for entry in self.driver.get_log("browser"):
            if entry["level"] == "SEVERE":
                self.errors.append(entry["message"])
        try:
            alert = self.driver.switch_to.alert
            self.dialogs.append(alert.text)
            alert.dismiss()
        except NoAlertPresentException:
            pass

    def script(self, source, *args):
        return self.driver.execute_script(source, *args)

    def check_quiet(self):
        self.collect()
        check(self.requests == [], "the page made network requests: %s" % self.requests)
        check(self.dialogs == [], "the page opened dialogs: %s" % self.dialogs)
        check(self.errors == [], "the page script failed: %s" % self.errors)


# Heights of every section block and whether its button is marked open, in document order.
SECTION_STATE = """
return Array.from(document.querySelectorAll('button.collapsible')).map((button) => {
  const content = button.nextElementSibling;
  let depth = 0;
  for (let node = button.parentElement; node; node = node.parentElement)
    if (node.classList.contains('content')) depth++;
  return {
    title: button.textContent,
    active: button.classList.contains('active'),
    isContent: content !== null && content.classList.contains('content'),
    height: content ? content.getBoundingClientRect().height : -1,
    scrollHeight: content ? content.scrollHeight : -1,
    depth: depth,
  };
});
"""


def section_state(page):
    return page.script(SECTION_STATE)


# Resolves once no transition runs any more: a section opening or closing moves what lies below.
AT_REST = """
const done = arguments[arguments.length - 1];
const poll = () => document.getAnimations().some((a) => a.playState === 'running') ? requestAnimationFrame(poll)
                                                                                     : done(true);
poll();
"""


def click_sections(page, inner_first):
    """Clicks every section button with a real mouse click, one depth at a time: outer sections
    first as a reader opens them, or innermost first."""
    buttons = page.driver.find_elements(By.CSS_SELECTOR, "button.collapsible")
    depths = [s["depth"] for s in section_state(page)]
    check(len(buttons) == len(depths), "the section buttons changed while clicking")
    for depth in sorted(set(depths), reverse=inner_first):
        for button, at in zip(buttons, depths):
            if at == depth:
                real_click(page, button)
    page.driver.execute_async_script(AT_REST)


def real_click(page, button):
    """A mouse click on the button once the page rests (the driver aims at where the button is
    before it clicks); when another element lies at that point, the driver sends no click, and
    it is tried again."""
    for attempt in range(3):
        page.driver.execute_async_script(AT_REST)
        try:
            button.click()
            return
        except ElementClickInterceptedException:
            if attempt == 2:
                raise
            time.sleep(SETTLE_S)
        except ElementNotInteractableException:
            raise Failure('section button "%s" cannot be clicked: the section around it did not open'
                          % button.get_attribute("textContent"))


def check_folding(page, screenshot):
    closed = section_state(page)
    check(len(closed) >= 5, "expected the health sections, found %d section buttons" % len(closed))
    check(any(s["depth"] > 0 for s in closed), "the demo report has no nested section")
    for s in closed:
        check(s["isContent"], 'section "%s" has no content block after its button' % s["title"])
        check(s["height"] == 0, 'section "%s" is not closed when the page opens' % s["title"])

    # Every block must end up fully visible, the nested ones too (an open parent grows by what
    # its child needs).
    click_sections(page, inner_first=False)
    opened = section_state(page)
    for s in opened:
        check(s["active"], 'section "%s" is not marked open after a click' % s["title"])
        check(s["height"] > 0, 'section "%s" did not open' % s["title"])
        check(s["height"] + 1 >= s["scrollHeight"],
              'section "%s" is cut: %s of %s px' % (s["title"], s["height"], s["scrollHeight"]))
    shot = page.driver.execute_cdp_cmd("Page.captureScreenshot",
                                       {"format": "png", "clip": SCREENSHOT_CLIP, "captureBeyondViewport": True})
    pathlib.Path(screenshot).write_bytes(base64.b64decode(shot["data"]))

    # A nested section closes on its own while its parent stays open, and opens again.
    nested = next(i for i, s in enumerate(opened) if s["depth"] > 0)
    button = page.driver.find_elements(By.CSS_SELECTOR, "button.collapsible")[nested]
    real_click(page, button)
    page.driver.execute_async_script(AT_REST)
    state = section_state(page)
    title = state[nested]["title"]
    check(state[nested]["height"] == 0, 'nested section "%s" did not close' % title)
    check(not state[nested]["active"], 'nested section "%s" still marked open' % title)
    parent = [i for i in range(nested) if state[i]["depth"] == state[nested]["depth"] - 1]
    check(parent and state[parent[-1]]["height"] > 0, 'the parent of the closed section "%s" closed too' % title)
    real_click(page, button)
    page.driver.execute_async_script(AT_REST)
    check(section_state(page)[nested]["height"] > 0, 'nested section "%s" did not open again' % title)

    # Innermost first: everything closes again.
    click_sections(page, inner_first=True)
    for s in section_state(page):
        check(not s["active"], 'section "%s" still marked open after a second click' % s["title"])
        check(s["height"] == 0, 'section "%s" did not close' % s["title"])
    return len(opened)


# Per status: the picture the style sheet gives its class, decoded by the browser, and the
# pictures shown on the rows and headers of that status.
ICONS = """
const statuses = arguments[0], done = arguments[arguments.length - 1];
(async () => {
  const result = {};
  for (const status of statuses) {
    const cls = 'status-' + status;
    const rows = Array.from(document.querySelectorAll('td.' + cls));
    const headers = Array.from(document.querySelectorAll('button.collapsible.' + cls));
    const urls = new Set([...rows, ...headers].map((el) => getComputedStyle(el).backgroundImage));
    const probe = document.createElement('div');
    probe.className = cls;
    document.body.appendChild(probe);
    const image = getComputedStyle(probe).backgroundImage;
    probe.remove();
    const match = /^url\\("?(data:image\\/(png|gif);base64,[^")]+)"?\\)$/.exec(image);
    let size = null;
    if (match) {
      const img = new Image();
      img.src = match[1];
      try {
        await img.decode();
        size = [img.naturalWidth, img.naturalHeight];
      } catch (e) {
        size = String(e);
      }
    }
    result[status] = {image: image, type: match && match[2], size: size, rows: rows.length,
                      headers: headers.length, urls: [...urls]};
  }
  return result;
})().then(done, (failure) => done({probeFailure: String(failure)}));
"""


def check_icons(page):
    icons = page.driver.execute_async_script(ICONS, STATUSES)
    check("probeFailure" not in icons, "the icon probe failed: %s" % icons.get("probeFailure"))
    for status in STATUSES:
        icon = icons[status]
        check(icon["type"], "status-%s has no data-URL picture: %s" % (status, icon["image"][:80]))
        check(icon["type"] == ("gif" if status == "major" else "png"), "status-%s picture type %s" % (status, icon["type"]))
        check(icon["size"] == [16, 16], "status-%s picture does not decode as 16x16: %s" % (status, icon["size"]))
        if icon["rows"] + icon["headers"] > 0:
            check(icon["urls"] == [icon["image"]], "an element of status %s shows another picture" % status)
    check(len({icons[s]["image"] for s in STATUSES}) == len(STATUSES), "two statuses share one picture")
    return icons


def check_demo(driver, file, screenshot):
    page = OpenPage(driver, file)
    check(page.script("return document.characterSet") == "UTF-8", "page not read as UTF-8")
    text = page.script("return document.body.innerText")
    check("Temperature (\u00b0C)" in text, 'the heading "Temperature (\u00b0C)" is not shown as such')
    check("\u00c2\u00b0" not in text, "the degree sign shows as two characters")
    sections = check_folding(page, screenshot)
    icons = check_icons(page)
    page.check_quiet()
    return sections, icons


def check_empty(driver, file):
    """The report of a daemon that knows nothing: every section header is of status unknown."""
    page = OpenPage(driver, file)
    icons = check_icons(page)
    check(icons["unknown"]["headers"] > 0, "no section header of status unknown without daemon data")
    page.check_quiet()
    return icons


MARKUP_FOUND = """
const payload = arguments[0], text = document.body.innerText;
let shown = 0;
for (let at = text.indexOf(payload); at >= 0; at = text.indexOf(payload, at + 1)) shown++;
return {shown: shown, scripts: document.scripts.length, images: document.images.length,
        svgs: document.querySelectorAll('svg').length, bold: document.querySelectorAll('b').length,
        closedTables: document.querySelectorAll('table table').length};
"""


def check_markup(driver, file):
    page = OpenPage(driver, file)
    # Open everything, so that any element hidden in a closed section gets rendered too.
    click_sections(page, inner_first=False)
    found = page.script(MARKUP_FOUND, PAYLOAD)
    time.sleep(0.2)  # an image error handler would have fired by now
    injected = page.script("return window.__injected")
    check(injected is None, "injected script ran (%s)" % injected)
    check(found["scripts"] == 1, "a daemon text became a script element")
    check(found["images"] == 0, "a daemon text became an image")
    check(found["svgs"] + found["bold"] == 0, "a daemon text became markup")
    check(found["closedTables"] == 0, "a daemon text broke the table structure")
    check(found["shown"] >= 10, "the markup is shown as text only %d times" % found["shown"])
    page.check_quiet()
    return found


def main(argv):
    if len(argv) != 5:
        print("usage: report_test.py <demo page> <empty page> <markup page> <screenshot file>", file=sys.stderr)
        return 2
    demo, empty, markup, screenshot = argv[1:]
    with tempfile.TemporaryDirectory(prefix="hcbrowser.") as profile_dir:
        driver = start_browser(profile_dir)
        try:
            started = time.monotonic()
            sections, icons = check_demo(driver, demo, screenshot)
            print("demo report: %d sections fold and unfold by clicks, six icons 16x16, no requests" % sections)
            empty_icons = check_empty(driver, empty)
            for status in STATUSES:
                seen = sum(i[status]["rows"] + i[status]["headers"] for i in (icons, empty_icons))
                check(seen > 0, "no row or header of status %s in the reports checked" % status)
            print("  icons on rows/headers (demo and empty reports): " + ", ".join(
                "%s %d/%d" % (s, icons[s]["rows"] + empty_icons[s]["rows"],
                              icons[s]["headers"] + empty_icons[s]["headers"]) for s in STATUSES))
            found = check_markup(driver, markup)
            print("markup report: markup shown as text %d times, no script ran, no dialog" % found["shown"])
            print("browser checks took %.1f s (chromium %s, chromedriver %s)" % (
                time.monotonic() - started, driver.capabilities.get("browserVersion"),
                driver.capabilities.get("chrome", {}).get("chromedriverVersion", "?").split(" ")[0]))
        finally:
            driver.quit()
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv))
    except Failure as failure:
        print("browser test FAILED:", failure, file=sys.stderr)
        sys.exit(1)
    except UnexpectedAlertPresentException as dialog:
        print("browser test FAILED: the page opened a dialog:", dialog.alert_text, file=sys.stderr)
        sys.exit(1)
