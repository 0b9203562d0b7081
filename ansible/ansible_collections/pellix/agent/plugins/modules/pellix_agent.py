#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright: Pellix installer contributors
# SPDX-License-Identifier: MIT

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: pellix_agent
short_description: Install, configure or remove the Pellix agent in an OpenClaw home
version_added: "0.2.0"
description:
  - Adds the Pellix agent to an existing OpenClaw installation, changes its scan frequency
    and model, or takes it out again, through the C(pellix-installer) command line on the
    managed host.
  - Every run starts with C(pellix-installer status --json) and then runs only the command
    the asked state needs (C(install), C(configure) or C(uninstall)), or none.
  - With I(state=present), nothing runs when the agent is installed, healthy, of the version
    the installer ships and already has the asked I(scan) and I(model). When only the choices
    differ, C(configure) changes them in place. Otherwise (not installed, installed with
    problems, or an older agent) C(install) runs. Where that install keeps choices other than
    the asked ones, C(configure) follows it.
  - Whether anything changed is always the installer's own C(changed) answer.
  - OpenClaw itself is never installed; a host without it fails with the installer's message.
options:
  state:
    description:
      - C(present) installs the agent, or brings it to the asked choices.
      - C(absent) runs C(pellix-installer uninstall); nothing runs when nothing of the agent
        is installed (and, with I(purge), no session store is left).
    type: str
    choices: [present, absent]
    default: present
  scan:
    description:
      - Scan frequency preset, passed as C(--scan).
      - The installer names its presets in C(pellix-installer install --help)
        (C(vigilant), C(standard), C(relaxed), C(daily)); any other word fails with its message.
      - Left out, a new install takes the installer's default and an existing one keeps its
        preset.
    type: str
  model:
    description:
      - AI model, passed as C(--model) (C(haiku), C(sonnet) or C(opus) in this installer;
        any other word fails with its message).
      - Left out, a new install takes the installer's default and an existing one keeps its
        model.
    type: str
  user:
    description:
      - Acts for this user, passed as C(--user NAME) before the command. Only root may use it.
      - Left out, the installer acts for the user the module runs as.
    type: str
  openclaw_home:
    description:
      - The OpenClaw home to work on, given to the installer as C(OPENCLAW_HOME).
      - Left out, the installer uses C($OPENCLAW_HOME), else C(~/.openclaw).
    type: path
  purge:
    description:
      - With I(state=absent), also delete the agent's session store (C(--purge)).
    type: bool
    default: false
  executable:
    description:
      - The installer to run. A name without a slash is looked up on C(PATH).
    type: str
    default: pellix-installer
  timeout:
    description:
      - Seconds each installer run may take before it is stopped and the task fails.
    type: int
    default: 600
extends_documentation_fragment:
  - ansible.builtin.action_common_attributes
attributes:
  check_mode:
    support: full
    details: The decided command runs with C(--dry-run); nothing is written.
  diff_mode:
    support: full
    details: Shows the change to C(openclaw.json).
  platform:
    platforms: posix
notes:
  - In check mode C(changed) is the dry run's own answer, and the diff of C(openclaw.json) is
    the one the installer plans to write.
  - The diff is left out when C(openclaw.json) cannot be read as text, is not a regular file,
    or (with I(user)) is not owned by that user.
  - Each install row the installer marks as a warning, and a failed C(openclaw gateway restart),
    becomes a task warning; the task still succeeds, as the installer does.
  - C(man pellix-installer) describes each command, its JSON and its exit status.
requirements:
  - C(pellix-installer) on the managed host
  - Python 3.6 or later on the managed host
author:
  - Pellix installer contributors
"""

EXAMPLES = r"""
- name: Install the Pellix agent for the connecting user
  pellix.agent.pellix_agent:
    scan: standard
    model: sonnet

- name: Install it for another user, as root
  become: true
  pellix.agent.pellix_agent:
    user: alice
    scan: daily
    model: haiku

- name: Change only the scan frequency of an installed agent
  pellix.agent.pellix_agent:
    scan: relaxed

- name: Work on an OpenClaw home in another place
  pellix.agent.pellix_agent:
    openclaw_home: /srv/openclaw
    scan: vigilant

- name: Remove the agent and its session store
  pellix.agent.pellix_agent:
    state: absent
    purge: true
"""

RETURN = r"""
changed:
  description: The installer's own C(changed) answer (the dry run's in check mode).
  returned: always
  type: bool
  sample: true
command:
  description: The installer command that ran after C(status).
  returned: always
  type: str
  choices: [none, install, configure, uninstall]
  sample: install
status:
  description:
    - C(pellix-installer status --json) as found before any change.
    - Among its keys C(installed), C(healthy), C(problems), C(version), C(choices),
      C(configFile) and C(openclawHome).
  returned: success
  type: dict
  sample:
    installed: true
    healthy: true
    problems: []
    version: {installed: "1.0.0", shipped: "1.0.0", upgradeAvailable: false}
    choices: {scanPreset: daily, modelChoice: sonnet}
    configFile: /home/alice/.openclaw/openclaw.json
    openclawHome: /home/alice/.openclaw
result:
  description:
    - The JSON the command printed, or the dry run's plan in check mode
      (C(dryRun), C(command), C(changed), C(error), C(steps), C(changes)).
    - Null when no command ran.
  returned: success
  type: dict
  sample: {configured: true, changed: true, before: {scanPreset: daily, modelChoice: sonnet},
           after: {scanPreset: relaxed, modelChoice: sonnet}, error: null}
configure_result:
  description:
    - The JSON of the C(configure) that followed an C(install) which kept other choices
      (or its dry run's plan in check mode).
  returned: when an install kept choices other than the asked ones
  type: dict
  sample: {configured: true, changed: true}
diff:
  description: C(openclaw.json) before and after, in diff mode.
  returned: in diff mode, when the file can be read
  type: dict
  sample: {before: "{...}", after: "{...}", before_header: /home/alice/.openclaw/openclaw.json,
           after_header: /home/alice/.openclaw/openclaw.json}
rc:
  description: The failed installer run's exit status.
  returned: failure
  type: int
  sample: 1
stdout:
  description: The failed installer run's standard output.
  returned: failure
  type: str
stderr:
  description: The failed installer run's standard error.
  returned: failure
  type: str
installer:
  description: The failed installer run's JSON, or null when it printed none.
  returned: failure
  type: dict
"""

import json
import os
import pwd
import re
import signal
import stat
import subprocess

from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.common.text.converters import to_text

CHOICE_KEYS = (("scan", "scanPreset", "--scan"), ("model", "modelChoice", "--model"))


class InstallerError(Exception):
    def __init__(self, msg, rc=None, stdout="", stderr="", installer=None):
        super(InstallerError, self).__init__(msg)
        self.msg = msg
        self.changed = False
        self.rc = rc
        self.stdout = stdout
        self.stderr = stderr
        self.installer = installer


def parse_json_object(text):
    text = text.strip()
    if not text.startswith("{"):
        return None
    try:
        value = json.loads(text)
    except ValueError:
        return None
    return value if isinstance(value, dict) else None


def installer_message(data, stderr):
    """The installer's own words for a failure: its JSON first, else standard error."""
    if isinstance(data, dict):
        for key in ("errorMessage", "error"):
            value = data.get(key)
            if isinstance(value, str) and value.strip():
                return value.strip()
        problems = data.get("problems")
        if isinstance(problems, list) and problems:
            return "; ".join(to_text(problem) for problem in problems)
    # A usage error ends with the synopsis and a pointer to --help; the reason comes before.
    lines = [
        line.strip()
        for line in stderr.splitlines()
        if line.strip() and not line.startswith("Usage:") and not line.startswith("Try '")
    ]
    return lines[-1] if lines else None


class Installer:
    def __init__(self, path, user, openclaw_home, timeout):
        self.path = path
        self.prefix = [path] + (["--user", user] if user else [])
        self.env = dict(os.environ)
        if openclaw_home:
            self.env["OPENCLAW_HOME"] = openclaw_home
        self.timeout = timeout

    def run(self, command, arguments=(), accepted=(0,)):
        """Runs one command with --json; returns its JSON object and exit status."""
        argv = self.prefix + [command] + list(arguments) + ["--json"]
        shown = "pellix-installer %s" % command
        try:
            process = subprocess.Popen(
                argv,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                env=self.env,
                start_new_session=True,
            )
        except OSError as error:
            raise InstallerError("Cannot run %s: %s" % (self.path, error.strerror or error))
        try:
            out, err = process.communicate(timeout=self.timeout)
        except subprocess.TimeoutExpired:
            # The installer's own children share its process group.
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except OSError:
                pass
            out, err = process.communicate()
            raise InstallerError(
                "%s did not finish within %d second%s and was stopped"
                % (shown, self.timeout, "" if self.timeout == 1 else "s"),
                rc=process.returncode,
                stdout=to_text(out, errors="surrogate_or_replace"),
                stderr=to_text(err, errors="surrogate_or_replace"),
            )
        stdout = to_text(out, errors="surrogate_or_replace")
        stderr = to_text(err, errors="surrogate_or_replace")
        rc = process.returncode
        data = parse_json_object(stdout)
        if rc not in accepted:
            msg = installer_message(data, stderr)
            if rc < 0:
                msg = "%s was killed by signal %d" % (shown, -rc)
            elif not msg:
                msg = "%s failed with exit status %d" % (shown, rc)
            raise InstallerError(msg, rc=rc, stdout=stdout, stderr=stderr, installer=data)
        if data is None or not isinstance(data.get("changed"), bool):
            first = stdout.strip().splitlines()[0][:200] if stdout.strip() else ""
            raise InstallerError(
                "%s did not answer with a JSON object holding \"changed\"%s"
                % (shown, " (it printed: %s)" % first if first else " (it printed nothing)"),
                rc=rc,
                stdout=stdout,
                stderr=stderr,
                installer=data,
            )
        return data, rc


HUNK_HEADER = re.compile(r"^@@ -(\d+)(?:,(\d+))? \+(\d+)(?:,(\d+))? @@")


def split_lines(text):
    """Lines with their "\\n" kept; a last line without one stays as it is."""
    return re.findall(r"[^\n]*\n|[^\n]+$", text)


def parse_hunks(diff):
    hunks = []
    current = None
    last = None
    for raw in split_lines(diff):
        in_hunk = current is not None and (current["old_left"] > 0 or current["new_left"] > 0)
        if current is not None and raw.startswith("\\"):
            # "\ No newline at end of file": the line before it has no line end.
            for side in ("old", "new") if last == "both" else (last,):
                if side and current[side]:
                    current[side][-1] = current[side][-1].rstrip("\n")
            continue
        if in_hunk:
            tag, body = raw[:1], raw[1:]
            if raw == "\n":
                tag, body = " ", "\n"
            if tag == " ":
                current["old"].append(body)
                current["new"].append(body)
                current["old_left"] -= 1
                current["new_left"] -= 1
                last = "both"
            elif tag == "-":
                current["old"].append(body)
                current["old_left"] -= 1
                last = "old"
            elif tag == "+":
                current["new"].append(body)
                current["new_left"] -= 1
                last = "new"
            else:
                raise ValueError("unexpected line in a hunk: %r" % raw)
            continue
        match = HUNK_HEADER.match(raw)
        if match:
            old_len = int(match.group(2)) if match.group(2) is not None else 1
            new_len = int(match.group(4)) if match.group(4) is not None else 1
            current = {
                "old_start": int(match.group(1)),
                "old_len": old_len,
                "old": [],
                "new": [],
                "old_left": old_len,
                "new_left": new_len,
            }
            hunks.append(current)
            last = None
        elif raw.startswith("--- ") or raw.startswith("+++ ") or not raw.strip():
            continue
        else:
            raise ValueError("unexpected line in the diff: %r" % raw)
    return hunks


def nearest_first(expected, low, high):
    """low..high (both included), starting at expected and moving out."""
    if high < low:
        return
    expected = min(max(expected, low), high)
    yield expected
    for step in range(1, max(expected - low, high - expected) + 1):
        if expected - step >= low:
            yield expected - step
        if expected + step <= high:
            yield expected + step


def apply_unified_diff(text, diff):
    """Applies a unified diff to text; a hunk may sit at another line than its header says."""
    lines = split_lines(text)
    result = []
    position = 0
    for hunk in parse_hunks(diff):
        old = hunk["old"]
        expected = hunk["old_start"] - 1 if hunk["old_len"] > 0 else hunk["old_start"]
        found = next((index for index in nearest_first(expected, position, len(lines) - len(old))
                      if lines[index:index + len(old)] == old), None)
        if found is None:
            raise ValueError("a hunk does not apply")
        result.extend(lines[position:found])
        result.extend(hunk["new"])
        position = found + len(old)
    result.extend(lines[position:])
    return "".join(result)


def read_text(path, user=None):
    """A regular file's text, else None. Acting for a user, only a file that user owns is read,
    so a link in their home cannot show another file in the diff."""
    try:
        owner = pwd.getpwnam(user).pw_uid if user else None
        descriptor = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
    except (OSError, KeyError, TypeError):
        return None
    with os.fdopen(descriptor, "rb") as handle:
        info = os.fstat(descriptor)
        if not stat.S_ISREG(info.st_mode) or (owner is not None and info.st_uid != owner):
            return None
        try:
            return handle.read().decode("utf-8")
        except (OSError, UnicodeDecodeError):
            return None


def config_diffs(plan):
    return [
        change["diff"]
        for change in plan.get("changes") or []
        if isinstance(change, dict)
        and change.get("kind") == "file"
        and to_text(change.get("path", "")).endswith("/openclaw.json")
        and change.get("diff")
    ]


def warnings_in(result):
    """What a run that succeeded still asks a person to look at."""
    lines = []
    for step in result.get("steps") or []:
        if isinstance(step, dict) and step.get("status") == "warning":
            lines.append("%s: %s" % (step.get("label"), step.get("detail")))
    restart = result.get("gatewayRestart")
    if isinstance(restart, dict) and restart.get("status") not in (0, None):
        lines.append("openclaw gateway restart failed: %s"
                     % to_text(restart.get("output") or "").strip())
    return lines


def asked_choices(params):
    return dict((key, params[option]) for option, key, _ in CHOICE_KEYS
                if params[option] is not None)


def choice_arguments(params):
    arguments = []
    for option, _, flag in CHOICE_KEYS:
        if params[option] is not None:
            arguments += [flag, params[option]]
    return arguments


def matches(asked, choices):
    choices = choices if isinstance(choices, dict) else {}
    return all(choices.get(key) == value for key, value in asked.items())


def decide(params, status):
    """The command to run after status, with its arguments: (None, []) for nothing."""
    installed = status.get("installed") is True
    if params["state"] == "absent":
        store = status.get("sessionStore") or {}
        leftover = params["purge"] and store.get("present") is True
        if installed or leftover:
            return "uninstall", ["--purge"] if params["purge"] else []
        return None, []
    version = status.get("version") or {}
    current = (installed and status.get("healthy") is True
               and version.get("upgradeAvailable") is False)
    if current and matches(asked_choices(params), status.get("choices")):
        return None, []
    if current:
        return "configure", choice_arguments(params)
    return "install", choice_arguments(params)


def run_module(module):
    params = module.params
    name = params["executable"]
    if "/" in name:
        path = os.path.expanduser(name)
        if not (os.path.isfile(path) and os.access(path, os.X_OK)):
            raise InstallerError("%s is not an executable file" % path)
    else:
        path = module.get_bin_path(name)
        if not path:
            raise InstallerError(
                "%s was not found on PATH; install the pellix-installer package or set executable"
                % name
            )
    if params["timeout"] <= 0:
        raise InstallerError("timeout must be a positive number of seconds")

    installer = Installer(path, params["user"], params["openclaw_home"], params["timeout"])
    status, _ = installer.run("status", accepted=(0, 1, 3))
    if not isinstance(status.get("installed"), bool):
        raise InstallerError("pellix-installer status did not say whether the agent is installed",
                             installer=status)

    command, arguments = decide(params, status)
    answer = dict(changed=False, command=command or "none", status=status, result=None)
    config_file = status.get("configFile")
    before = read_text(config_file, params["user"]) if module._diff and config_file else None
    dry_run = ["--dry-run"] if module.check_mode else []

    if command:
        result, _ = installer.run(command, arguments + dry_run)
        answer["result"] = result
        answer["changed"] = result["changed"]
        follow_up = None
        asked = asked_choices(params)
        if command == "install" and asked:
            if module.check_mode:
                # The install keeps a registered entry's choices: a configure would follow.
                registered = (status.get("config") or {}).get("registered") is True
                if registered and not matches(asked, status.get("choices")):
                    follow_up = installer.run("configure", choice_arguments(params) + dry_run)[0]
            elif result.get("choicesKept") and not matches(asked, result["choicesKept"]):
                try:
                    follow_up = installer.run("configure", choice_arguments(params))[0]
                except InstallerError as error:
                    error.changed = result["changed"]
                    raise
        if follow_up is not None:
            answer["configure_result"] = follow_up
            answer["changed"] = answer["changed"] or follow_up["changed"]
        for ran in (answer["result"], follow_up):
            for line in warnings_in(ran or {}):
                module.warn(line)

    if before is not None:
        after = before
        if module.check_mode:
            try:
                for plan in [answer["result"], answer.get("configure_result")]:
                    for diff in config_diffs(plan or {}):
                        after = apply_unified_diff(after, diff)
            except ValueError:
                after = None
        elif command:
            after = read_text(config_file, params["user"])
        if after is not None:
            answer["diff"] = dict(before=before, after=after,
                                  before_header=config_file, after_header=config_file)
    return answer


def main():
    module = AnsibleModule(
        argument_spec=dict(
            state=dict(type="str", default="present", choices=["present", "absent"]),
            scan=dict(type="str"),
            model=dict(type="str"),
            user=dict(type="str"),
            openclaw_home=dict(type="path"),
            purge=dict(type="bool", default=False),
            executable=dict(type="str", default="pellix-installer"),
            timeout=dict(type="int", default=600),
        ),
        supports_check_mode=True,
    )
    try:
        answer = run_module(module)
    except InstallerError as error:
        module.fail_json(msg=error.msg, rc=error.rc, stdout=error.stdout, stderr=error.stderr,
                         installer=error.installer, changed=error.changed)
    module.exit_json(**answer)


if __name__ == "__main__":
    main()
