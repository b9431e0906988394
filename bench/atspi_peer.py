#!/usr/bin/python3
"""What a tester writes without zendra: Atspi finds, xdotool clicks.

    atspi_peer.py click APPLICATION ROLE NAME
    atspi_peer.py tree APPLICATION
"""

import subprocess
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def application(name):
    desktop = Atspi.get_desktop(0)
    return next(found for found in map(desktop.get_child_at_index, range(desktop.get_child_count()))
                if found is not None and found.get_name() == name)


def find(element, role, name):
    if element.get_name() == name and element.get_role_name() == role \
            and element.get_state_set().contains(Atspi.StateType.SHOWING):
        return element
    children = map(element.get_child_at_index, range(element.get_child_count()))
    return next(filter(None, (find(child, role, name) for child in children if child is not None)), None)


def print_tree(element, depth=0):
    rect = element.get_extents(Atspi.CoordType.SCREEN) if element.get_component_iface() else None
    states = [state.value_nick for state in element.get_state_set().get_states()]
    place = "" if rect is None else f"{rect.x},{rect.y},{rect.width},{rect.height}"
    print("  " * depth, element.get_role_name(), repr(element.get_name()), *states, place)
    for child in map(element.get_child_at_index, range(element.get_child_count())):
        if child is not None:
            print_tree(child, depth + 1)


def main():
    what, name, *rest = sys.argv[1:]
    if what == "tree":
        print_tree(application(name))
        return
    rect = find(application(name), *rest).get_extents(Atspi.CoordType.SCREEN)
    place = (str(rect.x + rect.width // 2), str(rect.y + rect.height // 2))
    subprocess.run(["xdotool", "mousemove", *place, "click", "1"], check=True)


main()
