#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what Tidewell installs for users: every option each program's --help lists is
documented in its man page (and the reverse; tidewell(1) in German too); the programs' help in
German; the desktop entries and the AppStream metadata pass their validators; the
German and French translations are complete for every text the sources look up, with the same
placeholders.

usage: check_install_data.py SOURCE_DIR BINARY_DIR LUPDATE
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

source_dir, binary_dir, lupdate = sys.argv[1:4]
failures = []
fail = lambda text: failures.append(text) or print("FAIL: " + text)
long_options = lambda text: set(re.findall(r"(?<![\w-])--[a-z][a-z0-9-]*", text))
# A program of the build run with --help, with no generated system locale.
help_of = lambda program, **env: subprocess.run(
    [f"{binary_dir}/bin/{program}", "--help"], capture_output=True, text=True,
    env={"QT_QPA_PLATFORM": "offscreen", "PATH": "/usr/bin:/bin", **env})

# Man pages against --help.
for program, page in (("tidewell", "tidewell.1"), ("tidewell-helper", "tidewell-helper.1"),
                      ("tidewellctl", "tidewellctl.1"), ("tidewell", "de/tidewell.1")):
    run = help_of(program)
    if run.returncode != 0:
        fail(f"{program} --help exited {run.returncode}")
        continue
    with open(f"{source_dir}/resources/man/{page}", encoding="utf-8") as file:
        # troff escapes the dashes: \-\- is --.
        manual = file.read().replace("\\-", "-")
    in_help, in_manual = long_options(run.stdout), long_options(manual)
    for option in sorted(in_help ^ in_manual):
        fail(f"{page}: {option} is in " + ("--help but not in the man page" if option in in_help
                                           else "the man page but not in --help"))

# The tool's former name: the same tool, with a notice only there.
old, new = help_of("tidewell-x11"), help_of("tidewellctl")
if old.stdout != new.stdout or "use tidewellctl" not in old.stderr or new.stderr:
    fail(f"tidewell-x11 is not tidewellctl with a notice: {old.stderr}")

# The programs' help in German, from the same translations as the windows.
for program, language, text in (("tidewell", "de_DE.UTF-8", "Räumt den Bildschirm"),
                                ("tidewell-helper", "de_DE.UTF-8", "Rückgabewert: 0")):
    if text not in (said := help_of(program, LANG=language).stdout):
        fail(f"{program} --help under {language} does not say \"{text}\": {said}")

# Validators.
for command in (["desktop-file-validate", f"{source_dir}/resources/net.quillfen.Tidewell.desktop",
                 f"{source_dir}/resources/net.quillfen.TidewellStatus.desktop"],
                ["appstreamcli", "validate", "--no-net", "--explain",
                 f"{source_dir}/resources/net.quillfen.Tidewell.metainfo.xml"]):
    run = subprocess.run(command, capture_output=True, text=True)
    if run.returncode != 0:
        fail(f"{command[0]}: {run.stdout}{run.stderr}")

# Translations: the texts the sources look up now (every program's), collected the way the
# build's lupdate does.
sources = sorted(str(path) for path in pathlib.Path(f"{source_dir}/src").rglob("*.cpp"))
with tempfile.TemporaryDirectory() as scratch:
    collected = f"{scratch}/collected.ts"
    subprocess.run([lupdate, "-silent", "-locations", "none", "-tr-function-alias",
                    "qtTrId+=TWLocalizedString,qtTrId+=localized,QT_TRID_NOOP+=TWLocalizable",
                    *sources, "-ts", collected], check=True, capture_output=True)
    # lupdate writes a quote inside a message ID as it is, which no XML reader takes.
    with open(collected, encoding="utf-8") as file:
        xml = re.sub(r'(<message id=")(.*)(">)',
                     lambda m: m[1] + m[2].replace('"', "&quot;") + m[3], file.read())
    texts = {m.get("id") for m in ET.fromstring(xml).iter("message")}
if len(texts) < 30:
    fail(f"only {len(texts)} texts collected from the sources")
for language in ("de", "fr"):
    path = f"{source_dir}/resources/translations/tidewell_{language}.ts"
    translated = {m.get("id"): t.text for m in ET.parse(path).iter("message")
                  if (t := m.find("translation")).text
                  and t.get("type") not in ("unfinished", "obsolete", "vanished")}
    for text in sorted(texts):
        if text not in translated:
            fail(f"{language}: no translation of \"{text}\"")
        elif sorted(re.findall(r"%@|%l?d", text)) != sorted(re.findall(r"%@|%l?d", translated[text])):
            fail(f"{language}: the placeholders of \"{text}\" differ in \"{translated[text]}\"")

print(f"checked {len(texts)} texts in 2 languages, 4 man pages, 2 desktop entries, 1 metainfo")
sys.exit(1 if failures else 0)
