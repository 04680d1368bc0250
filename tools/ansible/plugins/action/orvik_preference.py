"""The half of orvik_preference that runs beside the playbook: it keeps the types of YAML.

Arguments are sent to a machine as JSON, in which a date or binary of YAML would become a text. They are
sent in the form that orvikprefs has for them.
"""

import base64
import datetime

from ansible.plugins.action import ActionBase


def marked(value):
    """The value with dates as {"$date": ...} and binary as {"$data": ...}, at any depth."""
    if isinstance(value, datetime.datetime):
        if value.tzinfo is not None:
            value = value.astimezone(datetime.timezone.utc).replace(tzinfo=None)
        return {"$date": value.isoformat() + "Z"}
    if isinstance(value, datetime.date):
        return {"$date": value.isoformat() + "T00:00:00Z"}
    if isinstance(value, bytes):
        return {"$data": base64.b64encode(value).decode("ascii")}
    if isinstance(value, dict):
        return {name: marked(each) for name, each in value.items()}
    if isinstance(value, (list, tuple)):
        return [marked(each) for each in value]
    return value


class ActionModule(ActionBase):
    TRANSFERS_FILES = False
    _supports_async = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        result.update(self._execute_module(
            module_args=marked(self._task.args), task_vars=task_vars,
            wrap_async=self._task.async_val))
        return result
