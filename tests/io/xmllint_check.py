#!/usr/bin/env python3
"""Compares the library's XML with xmllint.

xmllint must accept qetool's output, in both encodings, compact and indented, and find it equivalent to the source; indented
output must be stable. What xmllint rejects, qetool must reject.

    xmllint_check.py RUNNER QETOOL      RUNNER starts a Windows program
"""
import os
import subprocess
import sys
import tempfile
from pathlib import Path

ESCAPES = "&#x9;&#xA;&#xD; &quot;&amp;&apos;&lt;&gt;"

# Compact documents without mixed content, which qetool returns unchanged.
GOOD = {
    "escapes": f'<a v="{ESCAPES}">{ESCAPES}</a>',
    "characters": '<é.a é="中">z é 中 \ufffd</é.a>',
    "beyond 16 bits": "<a v='😀'>😀<b/></a>",
    "nodes": "<!--c--><?p d?><a><!--c--><b x='1' y='2'/><?p?><c><d>t</d><e/></c></a><!-- c -->",
    "spaces": "<a>  <b> </b></a>",
    "cdata": "<a><![CDATA[<&>]]></a>",
    "deep": "<a>" * 200 + "t" + "</a>" * 200,
    "long": f"<{'n' * 300} {'m' * 300}='{'&amp;v' * 300}'>{'&lt;t' * 3000}</{'n' * 300}>",
    "wide": "<a>" + "<b c='d'/>" * 2000 + "</a>",
}

BAD = [
    "", "t", "<a>", "<a/><b/>", "<a></b>", "<a b='1' b='2'/>", "<a b=1/>", "<a b='<'/>", "<a>&b;</a>", "<a>&#0;</a>",
    "<a>]]></a>", "<a><!----->", "<a><?xml?></a>", "<a>\x01</a>", "<1/>", "<a><![CDATA[</a>", "<!DOCTYPE a [<a/>",
    "<?xml version='1.0' encoding='UTF-16'?><a/>",
]


class Check:
    def __init__(self, runner, qetool):
        self.command = [runner, qetool, "xml"]
        self.faults = []

    def rewrite(self, source, target, *options):
        return subprocess.run([*self.command, source, "-o", target, *options], capture_output=True).returncode == 0

    def good(self, name, text):
        Path("source.xml").write_text(text, encoding="utf-8")
        expected = canonical("source.xml")
        for encoding in ((), ("--utf16",)):
            if not encoding and any(c > "\uffff" for c in text):
                continue  # surrogate pairs in UTF-8 are the library's own form
            for layout in ((), ("--layout",)):
                how = " ".join((name, *encoding, *layout))
                if not self.rewrite("source.xml", "written.xml", *encoding, *layout):
                    self.faults.append(f"{how}: qetool refuses the document")
                elif canonical("written.xml") is None:
                    self.faults.append(f"{how}: xmllint refuses what was written")
                elif not self.rewrite("written.xml", "again.xml", *encoding) or canonical("again.xml") != expected:
                    self.faults.append(f"{how}: another document came back")

    def bad(self, text):
        Path("source.xml").write_text(text, encoding="utf-8")
        if canonical("source.xml") is not None:
            self.faults.append(f"{text!r}: xmllint accepts it")
        if self.rewrite("source.xml", "written.xml"):
            self.faults.append(f"{text!r}: qetool accepts it")


def canonical(path):
    """The canonical form of a document, in any encoding; None when xmllint rejects it."""
    run = subprocess.run(["xmllint", "--nonet", "--huge", "--c14n", path], capture_output=True)
    return run.stdout if run.returncode == 0 and not run.stderr else None


def main():
    check = Check(*(os.path.abspath(path) for path in sys.argv[1:3]))
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for name, text in GOOD.items():
            check.good(name, text)
        for text in BAD:
            check.bad(text)
    for fault in check.faults:
        print(fault)
    return 1 if check.faults else 0


if __name__ == "__main__":
    sys.exit(main())
