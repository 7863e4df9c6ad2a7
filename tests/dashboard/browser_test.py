"""The dashboard in a real browser: Debian's Chromium, headless, driven by chromedriver, against
`vanto emulate --http 0` on loopback, with the library reached through the `vanto` command."""

import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from emulator_process import EmulatorProcess  # noqa: E402

VANTO = os.environ.get("VANTO_CLI", "")
SOURCE_DIR = os.environ.get("VANTO_SOURCE_DIR", "")
SCREENSHOT = os.environ.get("VANTO_SCREENSHOT", "")
CHROMIUM = "/usr/bin/chromium"
CHROMEDRIVER = "/usr/bin/chromedriver"
# The gallery must show a receipt this soon after the library finished sending it.
GALLERY_SECONDS = 2.0

try:
    from selenium import webdriver
    from selenium.common.exceptions import TimeoutException, WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError as missing:
    sys.exit("dashboard browser tests: cannot import selenium (%s); install the Debian package "
             "python3-selenium (scripts/install-deps.sh)" % missing)


def start_browser(profile):
    for path, package in ((CHROMIUM, "chromium"), (CHROMEDRIVER, "chromium-driver")):
        if not os.access(path, os.X_OK):
            raise RuntimeError("dashboard browser tests: %s is missing; install the Debian "
                               "package %s (scripts/install-deps.sh)" % (path, package))
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
                 "--window-size=1440,1000", "--user-data-dir=" + profile):
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    try:
        return webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
    except WebDriverException as e:
        raise RuntimeError("dashboard browser tests: Chromium did not start through chromedriver "
                           "(%s); check the Debian packages chromium and chromium-driver"
                           % str(e).strip().splitlines()[0])


class Dashboard(unittest.TestCase):
    """One unit and one page for the whole suite, as a developer would keep them open."""

    @classmethod
    def setUpClass(cls):
        cls.profile = tempfile.mkdtemp(prefix="vanto-chromium-")
        # The drawer stays open until closed, so the page's button is what closes it.
        cls.unit = EmulatorProcess(VANTO, "--drawer-close-after", "0")
        try:
            cls.browser = start_browser(cls.profile)
        except Exception:
            cls.unit.stop()
            shutil.rmtree(cls.profile, ignore_errors=True)
            raise
        cls.browser.get(cls.unit.url)
        cls.wait_until(lambda: cls.browser.find_element(By.ID, "link").get_attribute(
            "data-state") == "live", "the page's event stream to open")

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.unit.stop()
        shutil.rmtree(cls.profile, ignore_errors=True)

    @classmethod
    def wait_until(cls, condition, what, seconds=10):
        try:
            WebDriverWait(cls.browser, seconds, poll_frequency=0.02).until(lambda _: condition())
        except TimeoutException:
            raise AssertionError("waited %.1f s for %s" % (seconds, what))

    def find(self, element_id):
        return self.browser.find_element(By.ID, element_id)

    def vanto(self, *args):
        code, output = self.unit.run(*args)
        return code, output

    def print_cafe(self):
        code, output = self.vanto("print", os.path.join(SOURCE_DIR, "examples/receipts/cafe.json"))
        self.assertEqual(code, 0, output)
        return output

    def cards(self):
        return self.browser.find_elements(By.CSS_SELECTOR, "#gallery article.receipt")

    def console_errors(self):
        return [entry for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]

    def test_1_a_printed_receipt_appears_in_the_gallery_with_its_text(self):
        before = len(self.cards())
        self.print_cafe()
        sent = time.monotonic()
        self.wait_until(lambda: len(self.cards()) > before, "the receipt in the gallery",
                        seconds=GALLERY_SECONDS)
        elapsed = time.monotonic() - sent
        newest = self.cards()[0]
        self.assertEqual(newest.get_attribute("data-marks"), "complete")
        shown = self.browser.execute_script(
            "return arguments[0].querySelector('.receipt-text').textContent", newest)
        preview = subprocess.run(
            [VANTO, "preview", os.path.join(SOURCE_DIR, "examples/receipts/cafe.json"),
             "-o", os.path.join(self.profile, "preview.png"), "--text"],
            capture_output=True, text=True, timeout=60)
        self.assertEqual(preview.returncode, 0, preview.stderr)
        expected = preview.stdout.split("\n", 1)[1]  # after the "wrote ..." line
        self.assertEqual(shown, expected)
        self.assertIn("HARBOUR CAFE", shown)
        # The paper itself is loaded: a broken image has no natural size.
        self.wait_until(lambda: self.browser.execute_script(
            "const i = arguments[0].querySelector('img'); return i && i.complete && "
            "i.naturalWidth === 576", newest), "the receipt's PNG to load")
        print("gallery showed the receipt %.2f s after sending finished" % elapsed,
              file=sys.stderr)

    def test_2_printer_error_on_the_page_reaches_the_library_and_back(self):
        self.find("printer-error").click()
        self.wait_until(lambda: self.find("printer-state").text == "error", "the error state")
        code, output = self.vanto("printer", "status")
        self.assertIn("error", output)
        self.find("printer-ready").click()
        self.wait_until(lambda: self.find("printer-state").text == "ready", "the ready state")
        code, output = self.vanto("printer", "status")
        self.assertEqual(code, 0, output)
        self.assertNotIn("error", output)
        self.assertIn("ready", output)
        self.assertIn("delivered", self.print_cafe())

    def test_3_closing_the_drawer_on_the_page_closes_it_for_the_library(self):
        code, output = self.vanto("drawer", "open")
        self.assertEqual(code, 0, output)
        self.wait_until(lambda: self.find("drawer-state").text == "open", "the drawer to open")
        code, output = self.vanto("drawer", "status")
        self.assertIn("open", output)
        self.find("close-drawer").click()
        self.wait_until(lambda: self.find("drawer-state").text == "closed",
                        "the drawer to close")
        code, output = self.vanto("drawer", "status")
        self.assertEqual(code, 0, output)
        self.assertIn("closed", output)

    def test_4_an_led_set_through_the_library_changes_colour_on_the_page(self):
        # LED_PRINTER is position 8.
        for colour, expected in (("red", "LED_RED"), ("amber", "LED_AMBER"),
                                 ("green", "LED_GREEN")):
            code, output = self.vanto("led", "diag", "printer", colour)
            self.assertEqual(code, 0, output)
            self.wait_until(lambda: self.find("led-8").get_attribute("data-colour") == expected,
                            "LED_PRINTER to show " + expected)
        background = self.browser.execute_script(
            "return getComputedStyle(document.getElementById('led-8')).backgroundColor")
        off = self.browser.execute_script(
            "return getComputedStyle(document.getElementById('led-1')).backgroundColor")
        self.assertNotEqual(background, off)
        code, output = self.vanto("led", "cosmetic", "cyan")
        self.assertEqual(code, 0, output)
        self.wait_until(lambda: self.find("cosmetic").get_attribute("data-colour") ==
                        "COSMETIC_CYAN", "the cosmetic light")

    def test_5_the_event_tail_filters_by_kind(self):
        self.wait_until(lambda: self.browser.find_elements(
            By.CSS_SELECTOR, "#event-kinds input[data-kind=receipt]"), "a receipt event chip")
        rows = lambda kind: [r for r in self.browser.find_elements(  # noqa: E731
            By.CSS_SELECTOR, "#events li[data-kind=%s]" % kind) if r.is_displayed()]
        self.assertTrue(rows("receipt"))
        self.browser.find_element(By.CSS_SELECTOR, "#event-kinds input[data-kind=receipt]").click()
        self.assertFalse(rows("receipt"))
        self.assertTrue(rows("state"))
        self.browser.find_element(By.CSS_SELECTOR, "#event-kinds input[data-kind=receipt]").click()
        self.assertTrue(rows("receipt"))

    def test_6_a_restart_from_the_page_closes_the_unit_and_brings_it_back(self):
        downtime = self.find("restart-downtimeMs")
        downtime.clear()
        downtime.send_keys("3000")
        self.find("restart").click()
        self.wait_until(lambda: "restarting" in self.find("unit-address").text,
                        "the page to show the unit restarting")
        self.wait_until(lambda: "restarting" not in self.find("unit-address").text,
                        "the unit to come back")
        for kind in ("restart", "restarted"):
            self.assertTrue(self.browser.find_elements(
                By.CSS_SELECTOR, "#events li[data-kind=%s]" % kind), kind)
        code, output = self.vanto("printer", "status")
        self.assertEqual(code, 0, output)

    def test_9_no_console_errors_and_a_screenshot(self):
        self.wait_until(lambda: self.browser.execute_script(
            "return [...document.querySelectorAll('#gallery img')].every("
            "i => i.complete && i.naturalWidth > 0)"), "every receipt image to load")
        self.assertEqual(self.console_errors(), [])
        if SCREENSHOT:
            self.browser.execute_script("document.activeElement.blur(); window.scrollTo(0, 0)")
            os.makedirs(os.path.dirname(SCREENSHOT), exist_ok=True)
            self.assertTrue(self.browser.save_screenshot(SCREENSHOT))
            print("screenshot: " + SCREENSHOT, file=sys.stderr)


if __name__ == "__main__":
    if not VANTO or not os.access(VANTO, os.X_OK) or not SOURCE_DIR:
        sys.exit("VANTO_CLI must name the built vanto command and VANTO_SOURCE_DIR the checkout")
    unittest.main(verbosity=2)
