#!/usr/bin/env python3
# Reads what run-fleet-test needs from ansible-playbook's JSON output (the fleet_json callback),
# from the users' homes and from their openclaw.json. Each check prints "FAIL: ..." lines and
# exits 1 when something is not as expected.
#
#   expect RUN.json HOSTS [KEY=VALUE | KEY~=TEXT]...  the module task's result on each of HOSTS
#                                                   (comma-separated)
#       KEY: failed, changed, command, msg, warnings, dry_run (the result's dryRun),
#       diff_after
#   duration RUN.json HOST                          seconds the module task took on HOST
#   listing HOME                                    every path under HOME with its mode, size,
#                                                   modification time and owner
#   entry CONFIG                                    the agent's entry in openclaw.json, or null
#   leftovers HOME ORIGINAL                         what of the agent is left in HOME

import json
import os
import sys

MODULE = "pellix.agent.pellix_agent"


def module_results(path):
    try:
        with open(path) as handle:
            run = json.load(handle)
    except (OSError, ValueError):
        return None
    for play in run.get("plays", []):
        for task in play.get("tasks", []):
            if task.get("task", {}).get("action") == MODULE:
                return task
    return None


def text(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    return "" if value is None else str(value)


def field(result, key):
    if key == "dry_run":
        return (result.get("result") or {}).get("dryRun")
    if key == "diff_after":
        diff = result.get("diff")
        if isinstance(diff, list):
            diff = diff[0] if diff else {}
        return (diff or {}).get("after")
    if key in ("failed", "changed"):
        return bool(result.get(key))
    if key == "warnings":
        return "; ".join(result.get("warnings") or [])
    return result.get(key)


def expect(path, hosts, conditions):
    task = module_results(path)
    if task is None:
        print("FAIL: %s holds no %s task" % (os.path.basename(path), MODULE))
        return 1
    results = task.get("hosts", {})
    wanted = [host for host in hosts.split(",") if host]
    problems = []
    for host in wanted:
        result = results.get(host)
        if result is None:
            problems.append("%s: no result (results for %s)" % (host, ",".join(sorted(results))))
            continue
        if "failed=false" in conditions and result.get("failed"):
            problems.append("%s: failed: %s" % (host, text(result.get("msg"))[:500]))
            continue
        for condition in conditions:
            if "~=" in condition:
                key, wanted_text = condition.split("~=", 1)
                found = text(field(result, key))
                if wanted_text not in found:
                    problems.append("%s: %s does not contain %r (it is %r)"
                                    % (host, key, wanted_text, found[:300]))
            else:
                key, wanted_value = condition.split("=", 1)
                found = text(field(result, key))
                if found != wanted_value:
                    problems.append("%s: %s is %r, expected %r (msg: %s)"
                                    % (host, key, found, wanted_value,
                                       text(result.get("msg"))[:300]))
    for problem in problems:
        print("FAIL: %s: %s" % (os.path.basename(path), problem))
    return 1 if problems else 0


def duration(path, host):
    task = module_results(path)
    if task is None or host not in task.get("seconds", {}):
        print("FAIL: %s holds no time for %s" % (os.path.basename(path), host))
        return 1
    print("%.3f" % task["seconds"][host])
    return 0


def job_logs(home):
    """The files the agent's units append their output to: the running service writes there."""
    logs = set()
    units = os.path.join(home, ".config", "systemd", "user")
    if not os.path.isdir(units):
        return logs
    for name in os.listdir(units):
        if not name.startswith("ai.pellix"):
            continue
        with open(os.path.join(units, name)) as unit:
            for line in unit:
                for key in ("StandardOutput=append:", "StandardError=append:"):
                    if line.startswith(key):
                        logs.add(line[len(key):].rstrip("\n").replace("%%", "%"))
    return logs


def listing(home):
    logs = job_logs(home)
    lines = []
    for folder, folders, files in os.walk(home):
        folders.sort()
        for name in [""] + sorted(folders) + sorted(files):
            path = os.path.join(folder, name) if name else folder
            if not name and folder != home:
                continue
            info = os.lstat(path)
            size, mtime = info.st_size, info.st_mtime_ns
            if path in logs:
                size, mtime = "log", "log"  # appended to by the running jobs
            lines.append("%s %o %s %s %d:%d" % (os.path.relpath(path, home), info.st_mode, size,
                                                mtime, info.st_uid, info.st_gid))
    print("\n".join(lines))
    return 0


def agent_entry(config):
    with open(config) as handle:
        document = json.load(handle)
    for agent in (document.get("agents") or {}).get("list") or []:
        if isinstance(agent, dict) and any("pellix" in str(agent.get(key, "")).lower()
                                           for key in ("id", "name")):
            return agent
    return None


def entry(config):
    print(json.dumps(agent_entry(config), sort_keys=True))
    return 0


def leftovers(home, original):
    found = []
    for folder, folders, files in os.walk(home):
        for name in folders + files:
            path = os.path.join(folder, name)
            relative = os.path.relpath(path, home)
            if name == "pellix-unified" or name.startswith("ai.pellix") \
                    or relative in (".openclaw/agents/pellix", ".openclaw/.pellix-installer/receipt.json"):
                found.append(relative)
    config = os.path.join(home, ".openclaw", "openclaw.json")
    with open(config) as handle:
        content = handle.read()
    if "pellix" in content.lower():
        found.append("openclaw.json still names pellix")
    if json.loads(content) != json.loads(original):
        found.append("openclaw.json is not what it was before the install: %s" % content)
    for item in sorted(found):
        print("FAIL: left in %s: %s" % (home, item))
    return 1 if found else 0


def main(argv):
    command = argv[1] if len(argv) > 1 else ""
    if command == "expect" and len(argv) >= 4:
        return expect(argv[2], argv[3], argv[4:])
    if command == "duration" and len(argv) == 4:
        return duration(argv[2], argv[3])
    if command == "listing" and len(argv) == 3:
        return listing(argv[2])
    if command == "entry" and len(argv) == 3:
        return entry(argv[2])
    if command == "leftovers" and len(argv) == 4:
        return leftovers(argv[2], argv[3])
    print("usage: see the top of %s" % argv[0], file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
