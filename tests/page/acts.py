#!/usr/bin/python3
"""Plays an operator at the page of controller A of an enclosure, in whose namespaces this runs.
usage: acts.py SCRATCH PICTURES AXE [ACT]...; prints "ok NAME" or "not ok NAME" for each act.
"""
import sys
import traceback

from selenium.webdriver.common.keys import Keys

from browser import PAGE, Browser, console, rack

HOSTILE = "<img src=x onerror=\"document.title='owned'\"><b>&amp;"

# What the headline says of a state: a change to one where all is well, and the sentence it begins with.
HEADLINES = [
    ("nothing", "", "ok All is well."),
    ("a daemon down", "c.A.daemons[0].State = 'Down'", "bad web on controller A is down since"),
    ("a partner's daemon down", "c.B.daemons[0].State = 'Down'", "bad web on controller B is down"),
    ("two down", "for (const d of c.A.daemons) d.State = 'Down'",
     "bad web and sshd on controller A are down."),
    ("one that keeps failing is worse than one down",
     "c.A.daemons[0].State = 'Down'; c.B.daemons[1].Failing = 7",
     "bad sshd on controller B keeps failing: 7"),
    ("suspended is of note only", "Object.assign(c.A.daemons[0], {State: 'Down', Suspended: true})",
     "ok All is well. + web on controller A is suspended"),
    ("a silent partner, whose old state does not count",
     "c.B.silent = true; c.B.daemons[0].State = 'Down'", "warn Controller B is silent"),
    ("a path", "c.A.ports.Inner.LinkStatus = 'LinkDown'", "warn The inner path"),
    ("an interface off until the next start", "c.A.interfaces[0].Enabled = false",
     "warn Ssh on controller A is off until the next start."),
    ("a stall", "c.A.pairing.Stall = 'settings differ'", "bad Pairing is stalled: settings differ."),
    ("a connection that is lost comes first",
     "s.link.isLive = false; c.A.daemons[0].Failing = 3", "bad The connection is lost"),
]

CALM = """
const daemon = (Name) => ({Name, State: "Up", since: 0, Failing: 0});
const controller = (letter, isThis) => ({letter, isThis, silent: false, pairing: {}, ports: {},
  daemons: [daemon("web"), daemon("sshd")], interfaces: []});
const s = {link: {isLive: true, asOf: 0}, controllers: {A: controller("A", true), B: controller("B", false)}};
const c = s.controllers;
c.A.interfaces = [{Name: "Ssh", Managed: true, Enabled: true, EnabledAtNextStart: true}];
c.A.ports = {Inner: {Id: "Inner", LinkStatus: "LinkUp"}};
"""


def row(name):
    return f"//tr[th/button[.='{name}']]"


def state_of(page, name):
    return page.driver.find_element("xpath", f"{row(name)}/td[1]").text


def open_detail(page, name):
    page.driver.find_element("xpath", f"{row(name)}//button").click()
    page.shows("#detail", f"{name} on controller A")


def answer(page, word):
    page.until(lambda: page.find("#question").is_displayed())
    page.driver.find_element("xpath", f"//dialog[@id='question']//button[.='{word}']").click()


def enter(page, user):
    page.log_in(user)
    page.shows("#who", user)
    page.shows("#link", "Live")


def login(page, see):
    page.log_in("adam", "wrong-password")
    page.shows("#login-problem", "wrong name or password")
    see("login")
    enter(page, "adam")
    page.shows("#controllers", "Controller A", "Controller B")
    see("calm")


def headlines(page, see):
    for name, change, wanted in HEADLINES:
        told = page.module(
            f"{CALM} {change}; const {{headline}} = await import('/ui/headline.js');"
            "const {level, text, others} = headline(s);"
            "return `${level} ${[text, ...others.map((o) => o.text)].join(' + ')}`")
        assert told.startswith(wanted), f"{name}: {told}"


def killed(page, see):
    page.script("window.sameDocument = true")
    rack("run", "A", "killall", "-9", "sfcbd")
    page.until(lambda: "Down" in state_of(page, "sfcbd"))
    page.shows("#headline", "sfcbd on controller A is down since")
    see("daemon-down")
    page.until(lambda: state_of(page, "sfcbd").endswith("Up"))
    page.until(lambda: "sfcbd" not in page.text("#headline"))
    assert page.script("return window.sameDocument"), "the page was loaded anew"


def detail_by_keys(page, see):
    page.script("document.querySelector('.skip').focus()")
    for _ in range(40):
        page.driver.switch_to.active_element.send_keys(Keys.TAB)
        if page.driver.switch_to.active_element.get_attribute("data-key") == "activityd":
            break
    page.driver.switch_to.active_element.send_keys(Keys.ENTER)
    page.shows("#detail", "activityd on controller A", "Why", "History", "Suspend")
    see("daemon")
    page.driver.switch_to.active_element.send_keys(Keys.ESCAPE)
    page.until(lambda: not page.find("#detail").is_displayed())
    focus = page.driver.switch_to.active_element.get_attribute("data-key")
    assert focus == "activityd", f"the focus went to {focus}"


def suspended(page, see):
    for action, word in [("Suspend", "suspended"), ("Resume", "Up")]:
        open_detail(page, "slpd")
        page.click(f"#detail [data-key={action}]")
        see(f"question-{action.lower()}")
        answer(page, action)
        page.shows("#notice", f"{action} of slpd was asked for")
        page.until(lambda: state_of(page, "slpd").endswith(word), action)


def switched(page, see):
    for word, state in [("off", "down"), ("on", "up")]:
        page.click("#interfaces [data-key=Ssh]")
        answer(page, f"Switch {word}")
        page.until(lambda: page.text("#interfaces [data-key=Ssh]") == word.capitalize())
        page.until(lambda: any(line.split()[0] == "Ssh" and state in line.split()
                               for line in console("A", "interface", "list").splitlines() if line))
    page.click("#interfaces [data-key=Https]")
    page.shows("#question", "Warning: this page came by Https", "no login by web")
    see("last-way-in")
    answer(page, "Cancel")
    last = page.module("const {warnings} = await import('/ui/interfaces.js');"
                       "return warnings('Https', [{Name: 'Https', Enabled: true},"
                       "{Name: 'Ssh', Enabled: false}], 'Https').join(' ')")
    assert "the last way in" in last, last


def read_only(page, see):
    page.click("#logout")
    enter(page, "rita")
    open_detail(page, "slpd")
    page.click("#detail [data-key=Restart]")
    answer(page, "Restart")
    page.shows("#notice", "Refused: There are insufficient privileges")
    see("refused")
    assert not page.driver.find_elements("xpath", "//option[@value='audit']"), "the audit is shown"
    page.click("#logout")
    enter(page, "adam")
    page.driver.find_element("xpath", "//option[@value='audit']").click()
    page.shows("#log-lines", "rita from 127.0.0.1")
    page.driver.find_element("xpath", "//option[@value='log']").click()


def unanswered(page, see):
    page.block("*/NetworkProtocol")
    page.driver.refresh()
    page.shows("#who", "adam")
    assert not page.find("#board").is_displayed(), "a board that is not whole"
    page.block()
    page.shows("#controllers", "Controller A", "Controller B")
    page.shows("#link", "Live")


def silent(page, see):
    for cable in ["inner", "outer"]:
        rack("cable", cable, "off")
    page.shows("#headline", "Controller B is silent")
    page.shows("#controllers article:last-child", "silent")
    see("partner-silent")
    for cable in ["inner", "outer"]:
        rack("cable", cable, "on")
    page.shows("#controllers article:last-child", "answers")


def hostile(page, see):
    console("A", "log", "level", HOSTILE, check=False)
    page.module("""
      const {state} = await import('/ui/state.js');
      const here = state.controllers[state.letter], text = given[0];
      const kept = structuredClone({...here, daemons: []});
      const keptDaemons = here.daemons, log = state.log;
      window.restore = () => { Object.assign(here, kept, {daemons: keptDaemons}); state.log = log; };
      here.daemons = [{...here.daemons[0], Name: text, LastOutcome: text, NextStep: text, Why: [text],
                       State: text}, ...here.daemons.slice(1)];
      here.manager.FirmwareVersion = here.pairing.Role = here.pairing.Stall = text;
      here.pairing.Explanation = [text];
      here.interfaces = [{...here.interfaces[0], Name: text}];
      state.log = [...log, {id: "1", time: 0, severity: "Warning", text}];
      const [d, i, p, l, b] = await Promise.all(['daemons', 'interfaces', 'pairing', 'logs', 'board']
        .map((name) => import(`/ui/${name}.js`)));
      d.paintDaemons(() => {}); i.paintInterfaces(); p.paintPairing(); l.paintLogs();
      b.paintControllers(); b.paintHeadline();""", HOSTILE)
    see("hostile")
    for place in ["#daemons", "#interfaces", "#pairing", "#log-lines", "#headline", "#controllers"]:
        shown = page.script("return document.querySelector(arguments[0]).textContent", place)
        assert HOSTILE in shown, place
    assert not page.driver.find_elements("css selector", "img, b"), "text became markup"
    assert page.driver.title != "owned"
    page.script("window.restore()")
    rack("run", "A", "killall", "-9", "activityd")  # what happens has all painted anew
    page.until(lambda: not page.script("return document.body.textContent.includes('<img')"))


def memory(page, see):
    page.module("""
      const {state} = await import('/ui/state.js'), {paintMemory} = await import('/ui/memory.js');
      window.samples = state.memory;
      state.memory = Array.from({length: 576}, (_, i) => ({timeStamp: 1.7e12 + 3e5 * i,
        usedBytes: 2e6 + 2e5 * Math.sin(i / 40), totalBytes: 2.6e6, sysPercentFree: 70 - i / 40}));
      paintMemory(true);""")
    page.click("#memory summary")
    page.shows("#memory .u-legend", "host, in use (MiB)", "system, free (%)")
    rows = page.driver.find_elements("css selector", "#memory details tbody tr")
    assert len(rows) == 96, f"{len(rows)} rows"
    assert page.script("return document.querySelector('#memory canvas').width") > 500
    see("memory")
    page.module("(await import('/ui/state.js')).state.memory = window.samples;"
                "(await import('/ui/memory.js')).paintMemory(true)")


def tabs(page, see):
    streams = ("const {members} = await import('/ui/api.js');"
               "return (await members('/redfish/v1/EventService/Subscriptions')).length")
    page.driver.switch_to.new_window("tab")
    page.driver.get(PAGE)
    page.shows("#who", "adam, Administrator")
    page.shows("#link", "Live")
    assert page.module(streams) == 1, "each tab has a stream of its own"
    page.driver.close()
    page.driver.switch_to.window(page.driver.window_handles[0])


def lost(page, see):
    console("A", "interface", "down", "Https")
    page.shows("#link", "Connection lost; data from")
    page.shows("#headline", "The connection is lost")
    see("lost")
    console("A", "interface", "up", "Https")
    page.shows("#link", "Live")
    page.until(lambda: "lost" not in page.text("#headline"))


def restarted(page, see):
    rack("run", "A", "touch", "/run/mc/restart")
    rack("run", "A", "killall", "-9", "mchost")
    page.shows("#login-problem", "The login has ended")
    see("login-ended")
    enter(page, "adam")


def pictures(page, see):
    page.driver.set_window_size(1180, 900)
    page.until(lambda: "All is well" in page.text("#headline"))
    see("calm")
    rack("run", "A", "killall", "-9", "web")
    page.shows("#headline", "web on controller A is down since")
    see("readme", whole=False)


def narrow(page, see):
    page.driver.set_window_size(400, 900)
    page.until(lambda: page.script("return innerWidth") <= 500)
    see("narrow")
    wide = page.script("return document.documentElement.scrollWidth - innerWidth")
    assert wide <= 0, f"{wide} pixels too wide"
    page.driver.set_window_size(1280, 1000)


ACTS = [login, pictures, headlines, killed, detail_by_keys, suspended, switched, read_only, hostile, memory, tabs,
        narrow, unanswered, silent, lost, restarted]


def main(scratch, to, axe, *names):
    with open(axe, encoding="utf-8") as file:
        check = file.read()
    page = Browser(scratch)
    failed = 0

    def see(name, whole=True):
        for scheme in ["light", "dark"]:
            page.colours(scheme)
            page.picture(f"{to}/{name}-{scheme}.png", whole)
            faults = page.faults(check)
            assert not faults, f"{name}, {scheme}: " + "\n  ".join(faults)
        page.colours("light")

    def play(name, act):
        try:
            act()
            complaints = page.complaints()
            assert not complaints, complaints
            print(f"ok {name}", flush=True)
            return 0
        except Exception:  # whatever it is, the other acts are played
            page.picture(f"{to}/failed-{name.split()[-1]}.png")
            story = traceback.format_exc().split("Stacktrace:")[0].strip().replace("\n", "\n  ")
            shown = " | ".join(page.text("body").split("\n"))[:600]
            print(f"not ok {name}\n  {story}\n  the page shows: {shown}", flush=True)
            return 1

    try:
        page.driver.get(PAGE)
        for act in ACTS:
            if act is login or (act.__name__ in names if names else act is not pictures):
                failed += play(f"page: {act.__name__.replace('_', ' ')}", lambda: act(page, see))
    finally:
        page.quit()
    return failed


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]) > 0)
