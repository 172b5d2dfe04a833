#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Tests reading, comparing and drawing instruction counts.

usage: instructions-test.py FOLDER    bench/instructions
"""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
import xml.dom.minidom

sys.path.insert(0, sys.argv.pop(1))
import callgrind
import check
import flames

LIBRARY = "/lib/libcapi-qor-handler-manager.so.0.1.0"
# main costs 10 and calls Send<int>(int) of the library twice, which costs 30 and one system call, 40
# in malloc and 500 in the platform, 100 of them in malloc. Done(), in main's own file, costs nothing.
FLAT = f"""\
# callgrind format
positions: line
events: Ir sysCount sysTime

ob=(1) /bin/agent
fl=(1) agent.cc
fn=(1) main
7 6
+2 4 0 0
cob=(2) {LIBRARY}
cfi=(2) library.cc
cfn=(2) Send<int>(int)
calls=2 30
+1 570 1 0
cfn=(9) Done()
calls=1 9
9 0

ob=(2)
fl=(2)
fn=(2)
30 20 1 9
31 10
cob=(3) /lib/libc.so.6
cfn=(3) malloc
calls=4 0
31 40
cob=(4) /lib/librpc-port.so.1
cfn=(4) rpc_port_parcel_send
calls=2 0
31 500

ob=(4)
fn=(4)
1 400
cob=(3)
cfn=(3)
calls=2 0
1 100

ob=(3)
fn=(3)
1 140
"""
# The same with call stacks, and with a trampoline that belongs to no file.
STACKS = f"""\
events: Ir sysCount sysTime

ob=(1) /bin/agent
fn=(1) main'(below main)
7 10
cob=(2) {LIBRARY}
cfn=(2) Send<int>(int)'main'(below main)
calls=2 30
7 570 1 0

ob=(2)
fn=(2)
30 30 1 9

ob=(3) /lib/libc.so.6
fn=(3) malloc'Send<int>(int)'main'(below main)
1 40

ob=(4) /lib/librpc-port.so.1
fn=(4) rpc_port_parcel_send'0x1234'Send<int>(int)'main'(below main)
1 400

ob=(3)
fn=(5) malloc'rpc_port_parcel_send'0x1234'Send<int>(int)'main'(below main)
1 100

ob=(5) ???
fn=(6) 0x1234'Send<int>(int)'main'(below main)
1 0
"""


def profile_of(text):
    with tempfile.NamedTemporaryFile("w", encoding="utf-8") as file:
        file.write(text)
        file.flush()
        return callgrind.read(file.name)


class Reader(unittest.TestCase):
    def test_own_costs_exclude_calls(self):
        profile = profile_of(FLAT)
        self.assertEqual({frame.stack: cost for frame, cost in profile.own.items()},
                         {("main",): 10, ("Send<int>(int)",): 30, ("rpc_port_parcel_send",): 400,
                          ("malloc",): 140})
        self.assertEqual(profile.total(), 580)
        self.assertEqual({frame.stack[0]: calls for frame, calls in profile.calls.items()},
                         {"Send<int>(int)": 2, "malloc": 6, "rpc_port_parcel_send": 2, "Done()": 1})
        self.assertIn(callgrind.Frame("/bin/agent", ("Done()",)), profile.calls)
        self.assertEqual(sum(profile.system_calls.values()), 1)

    def test_subtracts_profiles(self):
        rest = profile_of(FLAT.replace("1 400\n", "1 450\n")) - profile_of(FLAT)
        self.assertEqual({frame: cost for frame, cost in rest.own.items() if cost},
                         {callgrind.Frame("/lib/librpc-port.so.1", ("rpc_port_parcel_send",)): 50})


class Check(unittest.TestCase):
    COUNTS = {"send": 1000, "result": 2000}

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = pathlib.Path(folder.name) / "counts.txt"
        self.here = "one machine"

    def run_check(self, *options, first=None, **second):
        counts = (first or self.COUNTS) | second
        check.machine = lambda build: self.here
        check.count = lambda build: (first or counts, counts, 0.2)
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            code = check.main("build", self.file, *options)
        return code, output.getvalue()

    def test_accepts_updated_baseline(self):
        self.assertEqual(self.run_check("--update")[0], 0)
        code, output = self.run_check()
        self.assertEqual(code, 0, output)
        self.assertNotIn("NOT COMPARED", output)

    def test_reports_growth_with_both_counts(self):
        self.run_check("--update")
        self.assertEqual(self.run_check(send=1100)[0], 0)
        code, output = self.run_check(send=1101)
        self.assertEqual(code, 1)
        self.assertIn("send grew by more than 10%, from 1000 to 1101 instructions", output)
        self.assertNotIn("result grew", output)

    def test_reports_operations_missing_on_either_side(self):
        self.run_check("--update")
        code, output = self.run_check(update=5)
        self.assertEqual(code, 1)
        self.assertIn("update is not in the baseline", output)
        self.run_check("--update", update=5)
        code, output = self.run_check()
        self.assertEqual(code, 1)
        self.assertIn("update is in the baseline but not counted", output)

    def test_skips_baseline_of_another_machine(self):
        self.run_check("--update")
        self.here = "another machine"
        code, output = self.run_check(send=9000)
        self.assertEqual(code, 0)
        self.assertIn("NOT COMPARED", output)
        self.assertIn("is valid for one machine, this is another machine", output)

    def test_rejects_counts_that_are_not_repeatable(self):
        self.run_check("--update")
        written = self.file.read_text(encoding="utf-8")
        code, output = self.run_check(first=self.COUNTS, send=1020)
        self.assertEqual(code, 0)
        self.assertIn("NOT COMPARED: counts are not repeatable: send took 1000, then 1020",
                      output)
        self.assertEqual(self.run_check("--update", first=self.COUNTS, send=1020)[0], 1)
        self.assertEqual(self.file.read_text(encoding="utf-8"), written)

    def test_inclusive_count_contains_callees(self):
        self.assertEqual(check.inclusive(profile_of(FLAT), "Send<int>"), 570)
        with self.assertRaises(SystemExit):
            check.inclusive(profile_of(FLAT), "Receive")

    def test_attributes_run_time_to_its_caller(self):
        self.assertEqual(check.library_instructions(profile_of(FLAT)), 70)


class Flames(unittest.TestCase):
    def test_tooltip_of_every_box_has_its_share(self):
        text = flames.drawing(flames.tree(profile_of(STACKS), 2), "a < b")
        drawing = xml.dom.minidom.parseString(text)
        titles = [title.firstChild.data for title in drawing.getElementsByTagName("title")]
        self.assertEqual(sorted(titles), [
            "Send<int>(int)\nlibcapi-qor-handler-manager.so.0.1.0: 285 instructions, 98.3%",
            "main\nagent: 290 instructions, 100.0%",
            "malloc\nlibc.so.6: 20 instructions, 6.9%",
            "malloc\nlibc.so.6: 50 instructions, 17.2%",
            "rpc_port_parcel_send\nlibrpc-port.so.1: 250 instructions, 86.2%"])
        heights = [float(box.getElementsByTagName("rect")[0].getAttribute("y"))
                   for box in drawing.getElementsByTagName("g")]
        above = dict(zip(titles, heights))
        for lower, upper in (("main\n", "Send<int>(int)\n"),
                             ("Send<int>(int)\n", "rpc_port_parcel_send\n"),
                             ("Send<int>(int)\n", "malloc\nlibc.so.6: 20 "),
                             ("rpc_port_parcel_send\n", "malloc\nlibc.so.6: 50 ")):
            lower, upper = (next(y for title, y in above.items() if title.startswith(beginning))
                            for beginning in (lower, upper))
            self.assertEqual(lower - upper, flames.ROW)
        texts = [text.firstChild.data for text in drawing.getElementsByTagName("text")
                 if text.firstChild]
        self.assertIn("a < b", texts)
        self.assertIn("Send<int>", texts)
        self.assertEqual({"the program", "the library", "the platform", "C and C++"} - set(texts),
                         set())
        self.assertNotIn("Ecore", texts)

    def test_places_boxes_side_by_side_and_omits_narrow_ones(self):
        profile = callgrind.Profile()
        for stack, cost in ((("main",), 0), (("a", "main"), 3000), (("b", "main"), 7000),
                            (("c", "b", "main"), 40000), (("d", "main"), 4)):
            profile.own[callgrind.Frame("/bin/agent", stack)] = cost
        drawing = xml.dom.minidom.parseString(flames.drawing(flames.tree(profile, 1), "boxes"))
        positions = {}
        for box in drawing.getElementsByTagName("g"):
            name = box.getElementsByTagName("title")[0].firstChild.data.partition("\n")[0]
            rectangle = box.getElementsByTagName("rect")[0]
            positions[name] = [float(rectangle.getAttribute(name)) for name in ("x", "y", "width")]
        self.assertEqual(positions.keys(), {"main", "a", "b", "c"})
        self.assertAlmostEqual(positions["b"][0], positions["a"][0] + positions["a"][2], delta=0.2)
        self.assertAlmostEqual(positions["a"][2] / positions["main"][2], 3000 / 50004, delta=0.001)
        # Directly below the heading.
        self.assertEqual(positions["c"][1], flames.ROW)

    def test_short_names_keep_the_enclosing_function(self):
        for name, short in {
                "tizen::(anonymous namespace)::Run(void*)": "tizen::Run",
                "std::_Function_handler<void (), a::B::C(double)::{lambda()#1}>::_M_invoke("
                "std::_Any_data const&)": "a::B::C::{lambda}"}.items():
            self.assertEqual(flames.short_name(name), short)


if __name__ == "__main__":
    unittest.main()
