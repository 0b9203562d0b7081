#!/usr/bin/python3
"""A whole install by keyboard alone, checked the way a screen reader sees it.

Run by run-with-accessibility.sh (a private session bus with AT-SPI switched on) and
run-on-xvfb.sh (DISPLAY set). Arguments: the built pellix-installer and tests/support. Keys go in
through xdotool; everything read comes from the AT-SPI tree. Exit 77 when a tool is missing.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

try:
    import pyatspi
except ImportError:
    print("SKIP: python3-pyatspi is not installed (Debian: apt-get install python3-pyatspi).")
    sys.exit(77)
if shutil.which("xdotool") is None:
    print("SKIP: xdotool is not installed (Debian: apt-get install xdotool).")
    sys.exit(77)

ROWS = [
    "Checking OpenClaw installation", "Detecting workspace", "Installing Pellix agent files",
    "Creating agent session store", "Registering Pellix in openclaw.json",
    "Adding Pellix to spawn allowlist", "Setting up ops directories",
    "Installing always-on service", "Installing scheduled scanners",
    "Restarting OpenClaw gateway", "Verifying installation",
]


def fail(message):
    print("FAIL: " + message)
    sys.exit(1)


def sandbox(installer, support, root):
    """An installed copy of the installer, a HOME with OpenClaw, and the fakes first on PATH."""
    home = os.path.join(root, "home")
    openclaw = os.path.join(home, ".openclaw")
    os.makedirs(os.path.join(openclaw, "workspace-main", "agents"))
    with open(os.path.join(openclaw, "openclaw.json"), "w") as config:
        config.write('{"agents": {"list": [{"id": "main", "model": "x"}]}, "port": 18789}')
    fakes = os.path.join(root, "fakebin")
    shutil.copytree(os.path.join(support, "fake-bin"), fakes)
    with open(os.path.join(fakes, "sleep-openclaw"), "w") as pause:
        pause.write("2\n")  # the gateway restart runs long enough to read the list meanwhile
    with open(os.path.join(home, ".zshenv"), "w") as zshenv:
        zshenv.write('export PATH="%s:$PATH"\n' % fakes)
    app = os.path.join(root, "app")
    os.makedirs(os.path.join(app, "bin"))
    shutil.copy2(installer, os.path.join(app, "bin", "pellix-installer"))
    shutil.copytree(os.path.join(support, "sample-agent"),
                    os.path.join(app, "share", "pellix-installer", "pellix-bundle"), symlinks=True)
    return home, os.path.join(app, "bin", "pellix-installer")


def wait_for(what, probe, seconds=20):
    deadline = time.time() + seconds
    while time.time() < deadline:
        found = probe()
        if found:
            return found
        time.sleep(0.1)
    fail("timed out waiting for " + what)


def application():
    desktop = pyatspi.Registry.getDesktop(0)
    for index in range(desktop.childCount):
        app = desktop.getChildAtIndex(index)
        if app is not None and app.name == "Pellix Installer":
            return app
    return None


def find(root, predicate):
    if root is None:
        return None
    if predicate(root):
        return root
    for index in range(root.childCount):
        found = find(root.getChildAtIndex(index), predicate)
        if found is not None:
            return found
    return None


def focused(app):
    return find(app, lambda node: node.getState().contains(pyatspi.STATE_FOCUSED))


def key(*names):
    for name in names:
        subprocess.run(["xdotool", "key", "--clearmodifiers", name], check=True)
        time.sleep(0.15)


def expect_focus(app, name):
    node = wait_for("focus on " + name,
                    lambda: (lambda f: f if f is not None and f.name == name else None)(focused(app)))
    print("focus: %s (%s)" % (node.name, node.getRoleName()))
    return node


def row_names(app):
    steps = find(app, lambda n: n.getRole() == pyatspi.ROLE_LIST and n.name == "Installation steps")
    if steps is None:
        return None
    return [steps.getChildAtIndex(i).name for i in range(steps.childCount)]


def main():
    installer, support = sys.argv[1], sys.argv[2]
    root = tempfile.mkdtemp(prefix="pellix-keyboard-")
    home, copy = sandbox(installer, support, root)
    env = {"PATH": "/usr/bin:/bin", "HOME": home, "DISPLAY": os.environ["DISPLAY"],
           "DBUS_SESSION_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"],
           "XDG_RUNTIME_DIR": os.environ.get("XDG_RUNTIME_DIR", root), "QT_QPA_PLATFORM": "xcb"}
    process = subprocess.Popen([copy], env=env)
    try:
        window = subprocess.run(["xdotool", "search", "--sync", "--name", "Pellix Installer"],
                                capture_output=True, text=True, timeout=20).stdout.split()[0]
        subprocess.run(["xdotool", "windowfocus", "--sync", window], check=True)
        app = wait_for("the installer on the AT-SPI bus", application)

        expect_focus(app, "Install Pellix")
        key("Tab")
        picker = expect_focus(app, "Standard (15 min)")
        if picker.getRole() != pyatspi.ROLE_RADIO_BUTTON or picker.description != "2 of 4":
            fail("scan picker item is %s '%s'" % (picker.getRoleName(), picker.description))
        if picker.parent.name != "Scan Frequency":
            fail("scan picker is named '%s'" % picker.parent.name)
        key("Right", "Right", "space")
        expect_focus(app, "Daily Digest")
        key("Tab")
        expect_focus(app, "Sonnet (~$45/mo)")
        key("Left", "space", "Tab")
        expect_focus(app, "Install Pellix")
        key("Return")

        names = wait_for("the gateway restart row running",
                         lambda: (lambda r: r if r and r[9] == ROWS[9] + ", running" else None)(
                             row_names(app)))
        for name in names:
            print("row: " + name)
        if len(names) != 11:
            fail("%d rows" % len(names))
        for index, name in enumerate(names[:9]):
            if not name.startswith(ROWS[index] + ", success"):
                fail("row %d reads '%s'" % (index, name))
        if names[4] != ROWS[4] + ", success, Registered with haiku model, 1440m scan":
            fail("registration row reads '%s'" % names[4])
        if names[10] != ROWS[10] + ", pending":
            fail("last row reads '%s'" % names[10])

        expect_focus(app, "Done")
        key("Return")
        status = process.wait(timeout=20)
        if status != 0:
            fail("the installer ended with %d after Done" % status)
        if not os.path.exists(os.path.join(home, ".openclaw", "workspace-main", "agents",
                                           "pellix-unified", "AGENTS.md")):
            fail("the agent was not installed")
        print("a whole install by keyboard alone, every row read through AT-SPI")
    finally:
        if process.poll() is None:
            process.kill()
            process.wait()
        shutil.rmtree(root, ignore_errors=True)


main()
