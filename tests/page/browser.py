"""A headless browser that looks at the page of a controller, and what acts on its enclosure."""
import base64
import json
import os
import shutil
import subprocess

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

HERE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
LIMIT = int(os.environ.get("MC_PAGE_LIMIT", "180"))  # seconds, for what never comes
PAGE = "https://127.0.0.1:8443/ui/"


def rack(*words, check=True):
    """Acts on the enclosure in whose namespaces this runs, as lab/rack does."""
    done = subprocess.run(["bash", f"{HERE}/lab/rack", *words], capture_output=True, text=True)
    if check and done.returncode != 0:
        raise RuntimeError(f"{words}: {done.stdout}{done.stderr}")
    return done.stdout


def console(slot, *words, check=True):
    return rack("run", slot, "mcsh", "--socket", "/run/mc/console", *words, check=check)


class Browser:
    def __init__(self, scratch, width=1280, height=1000):
        self.profile = f"{scratch}/profile-{os.getpid()}"
        options = webdriver.ChromeOptions()
        for switch in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                       "--ignore-certificate-errors", "--hide-scrollbars", "--lang=en",
                       "--disable-background-networking", "--disable-component-update",
                       f"--user-data-dir={self.profile}", f"--window-size={width},{height}"]:
            options.add_argument(switch)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    def quit(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def until(self, holds, what=""):
        """Waits until that holds; the limit is there for what never does."""
        return WebDriverWait(self.driver, LIMIT, 0.1, ignored_exceptions=[Exception]).until(
            lambda _: holds(), what)

    def find(self, css):
        return self.driver.find_element(By.CSS_SELECTOR, css)

    def text(self, css):
        return self.find(css).text

    def shows(self, css, *texts):
        """Waits until the element's text holds all of these."""
        try:
            self.until(lambda: all(text in self.text(css) for text in texts))
        except Exception:
            raise AssertionError(f"{css}: {self.text(css)!r} lacks one of {texts}") from None

    def click(self, css):
        self.until(lambda: self.find(css).click() is None)

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def module(self, body, *arguments):
        """Runs the body of an async function in the page, where modules can be imported."""
        answer = self.driver.execute_async_script(
            "const done = arguments[arguments.length - 1]; const given = [...arguments].slice(0, -1);"
            f"(async () => {{ {body} }})().then((v) => done([true, v]), (e) => done([false, String(e)]));",
            *arguments)
        assert answer[0], answer[1]
        return answer[1]

    def log_in(self, user, password=None):
        self.until(lambda: self.find("#user").is_displayed())
        for field, text in [("#user", user), ("#password", f"{password or user + '-password'}\n")]:
            self.find(field).clear()
            self.find(field).send_keys(text)

    def block(self, *patterns):
        """Requests for these addresses get no answer, until others are named."""
        self.driver.execute_cdp_cmd("Network.enable", {})
        self.driver.execute_cdp_cmd("Network.setBlockedURLs", {"urls": list(patterns)})

    def colours(self, scheme):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def picture(self, path, whole=True):
        """A PNG of the window, or of all that there is to scroll to."""
        self.script("scrollTo(0, 0)")
        shot = self.driver.execute_cdp_cmd("Page.captureScreenshot", {"captureBeyondViewport": whole})
        with open(path, "wb") as out:
            out.write(base64.b64decode(shot["data"]))

    def faults(self, axe):
        """What the accessibility check finds that is serious or critical."""
        self.script(axe)
        found = self.module("return (await axe.run(document, {resultTypes: ['violations']})).violations")
        return [f"{one['id']}: {len(one['nodes'])} times, {one['nodes'][0]['html'][:120]} "
                f"{one['nodes'][0].get('failureSummary', '')[:300]}"
                for one in found if one["impact"] in ("serious", "critical")]

    def complaints(self):
        """What the browser wrote into its console as errors, but for requests that were refused."""
        return [json.dumps(line) for line in self.driver.get_log("browser")
                if line["level"] == "SEVERE" and line["source"] != "network"]
