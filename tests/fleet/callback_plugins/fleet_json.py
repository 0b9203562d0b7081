# The results of a playbook run as one JSON document on standard output, for run-fleet-test
# (ansible-core has no JSON stdout callback of its own): each task's result per host, and the
# seconds each host took from the task's start on it to its result.

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = """
    name: fleet_json
    type: stdout
    short_description: each task's result per host as JSON, with each host's time
    description:
      - Prints one JSON object when the run ends, plays -> tasks -> hosts.
"""

import json
import time

from ansible.module_utils.common.json import AnsibleJSONEncoder
from ansible.plugins.callback import CallbackBase


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "stdout"
    CALLBACK_NAME = "fleet_json"

    def __init__(self, display=None):
        super(CallbackModule, self).__init__(display)
        self.plays = []
        self.started = {}

    def v2_playbook_on_play_start(self, play):
        self.plays.append({"play": {"name": play.get_name()}, "tasks": []})

    def v2_playbook_on_task_start(self, task, is_conditional):
        self.plays[-1]["tasks"].append({
            "task": {"name": task.get_name(), "action": task.action},
            "hosts": {},
            "seconds": {},
        })

    def v2_runner_on_start(self, host, task):
        self.started[(host.get_name(), task._uuid)] = time.time()

    def _record(self, result, **extra):
        host = result._host.get_name()
        began = self.started.pop((host, result._task._uuid), None)
        for entry in reversed(self.plays[-1]["tasks"] if self.plays else []):
            if entry["task"]["name"] == result._task.get_name():
                outcome = dict(result._result)
                outcome.update(extra)
                entry["hosts"][host] = outcome
                if began is not None:
                    entry["seconds"][host] = time.time() - began
                return

    def v2_runner_on_ok(self, result):
        self._record(result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self._record(result, failed=True)

    def v2_runner_on_unreachable(self, result):
        self._record(result, unreachable=True, failed=True)

    def v2_runner_on_skipped(self, result):
        self._record(result, skipped=True)

    def v2_playbook_on_stats(self, stats):
        summary = dict((host, stats.summarize(host)) for host in sorted(stats.processed))
        self._display.display(json.dumps({"plays": self.plays, "stats": summary},
                                         cls=AnsibleJSONEncoder, indent=2, sort_keys=True))
