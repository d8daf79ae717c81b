#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# As a screen reader or switch access does it: finds the application APP on the accessibility
# bus, its control named NAME, and runs the control's "Toggle" action; prints the control's
# checked state afterwards ("checked" or "unchecked").
import sys
import time

import pyatspi


def find(node, name):
    if node is None:
        return None
    if node.name == name and node.getRole() != pyatspi.ROLE_FRAME:
        return node
    for i in range(node.childCount):
        found = find(node.getChildAtIndex(i), name)
        if found is not None:
            return found
    return None


def main():
    app_name, name = sys.argv[1], sys.argv[2]
    control = None
    for _ in range(100):  # the application registers with the bus as it starts
        desktop = pyatspi.Registry.getDesktop(0)
        apps = [desktop.getChildAtIndex(i) for i in range(desktop.childCount)]
        for app in apps:
            if app is not None and app.name == app_name:
                control = find(app, name)
        if control is not None:
            break
        time.sleep(0.1)
    if control is None:
        sys.exit(f"no control named {name!r} in {app_name!r}")
    action = control.queryAction()
    names = [action.getName(i) for i in range(action.nActions)]
    if "Toggle" not in names:
        sys.exit(f"{name!r} offers no Toggle action: {names}")
    # The application runs the action before it answers the call.
    action.doAction(names.index("Toggle"))
    print("checked" if control.getState().contains(pyatspi.STATE_CHECKED) else "unchecked")


if __name__ == "__main__":
    main()
