#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Completes options, commands, --set's keys and values and the running applications' IDs for
each program in each of bash, zsh and fish that is installed, with the source tree's completion
files (`tidewellctl list`, which they ask for the IDs, here a stand-in that lists one). fish
shows an option's description beside the option only, not beside every value it offers.

usage: check_completions.py SOURCE_DIR BINARY_DIR
"""
import os
import shutil
import subprocess
import sys
import tempfile

source_dir, binary_dir = sys.argv[1:3]
completions = f"{source_dir}/resources/completions"
# (the line typed, what completing its last word must offer)
CASES = [
    ("tidewell --h", {"--help", "--hide-all"}),
    ("tidewell-helper --v", {"--version"}),
    ("tidewellctl ", {"hide-others", "show-all", "toggle", "list", "watch"}),
    ("tidewellctl --set ", {"ShowFinder=", "Minimize=", "ShowAllShortcut="}),
    ("tidewellctl --set ShowFinder=", {"ShowFinder=YES", "ShowFinder=NO"}),
    ("tidewellctl --set IconStyle2=", {"IconStyle2=4"}),
    ("tidewellctl --exclude ", {"org.example.Terminal"}),
    ("tidewellctl toggle ", {"org.example.Terminal"}),
    ("tidewell-x11 --display :1 toggle ", {"org.example.Terminal"}),
]
# Words of the descriptions of --exclude, --set and toggle.
OPTION_WORDS = ("alone", "setting", "Hide a shown")

ZSH_SETUP = r"""
fpath=($TW_COMPLETIONS $fpath)
autoload -Uz compinit && compinit -u -D
zstyle ':completion:*' list-grouped false
# Every candidate a completion function offers, on a line of its own.
compadd() {
  if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
  local -a hits
  builtin compadd -O hits "$@"
  (( $#hits )) && print -rl -- "" "<<"${^hits}
}
complete-and-mark() { zle complete-word; print -r -- "" "<<done>>" }
zle -N complete-and-mark
bindkey '^I' complete-and-mark
"""
# Types each line and a Tab into an interactive zsh on a terminal, waiting for the mark.
ZSH_DRIVE = r"""
zmodload zsh/zpty
zpty z zsh -f -i
zpty -w z 'eval "$TW_SETUP"'
for line in "$@"; do
  zpty -w -n z "$line"$'\t'
  zpty -r z out '*<<done>>*'
  print -r -- "== $line"
  print -rl -- ${(M)${(f)out//$'\r'/}:#<<*}
  zpty -w -n z $'\C-u'
done
zpty -d z
"""


def bash(scratch, lines):
    script = f"source {completions}/tidewell.bash\n"
    for line in lines:
        words = line.split(" ")
        program = words[0].replace("-x11", "ctl").replace("tidewell-helper", "tidewell_helper")
        script += (f"COMP_WORDS=({' '.join(repr(w) for w in words)}); COMP_CWORD={len(words) - 1}\n"
                   f"COMPREPLY=(); _{program}; echo '== {line}'; printf '<<%s\\n' \"${{COMPREPLY[@]}}\"\n")
    return subprocess.run(["bash", "--norc", "-c", script], capture_output=True, text=True).stdout


def zsh(scratch, lines):
    return subprocess.run(["zsh", "-f", "-c", ZSH_DRIVE, "zsh", *lines], capture_output=True,
                          text=True, timeout=60,
                          env=dict(os.environ, TW_COMPLETIONS=completions, TW_SETUP=ZSH_SETUP)).stdout


# Each candidate with its description after a tab.
def fish(scratch, lines):
    os.makedirs(f"{scratch}/fish")
    for name in ("tidewell", "tidewell-helper", "tidewellctl"):
        shutil.copy(f"{completions}/{name}.fish", f"{scratch}/fish/")
    shutil.copy(f"{completions}/tidewellctl.fish", f"{scratch}/fish/tidewell-x11.fish")
    script = f"set fish_complete_path {scratch}/fish $fish_complete_path\n"
    for line in lines:
        script += f"echo '== {line}'; complete -C '{line}' | string replace -r '^' '<<'\n"
    return subprocess.run(["fish", "--no-config", "-c", script], capture_output=True,
                          text=True).stdout


failures = []
shells = [shell for shell in (bash, zsh, fish) if shutil.which(shell.__name__)]
# A build without the Qt programs completes for tidewellctl alone.
CASES = [(line, expected) for line, expected in CASES if line.split()[0] in ("tidewellctl", "tidewell-x11")
         or os.path.exists(f"{binary_dir}/bin/{line.split()[0]}")]
with tempfile.TemporaryDirectory() as scratch:
    # The programs of the build, with a tidewellctl that lists one running application.
    os.makedirs(f"{scratch}/bin")
    for name in ("tidewell", "tidewell-helper"):
        if os.path.exists(f"{binary_dir}/bin/{name}"):
            os.symlink(f"{binary_dir}/bin/{name}", f"{scratch}/bin/{name}")
    for name in ("tidewellctl", "tidewell-x11"):
        with open(f"{scratch}/bin/{name}", "w") as f:
            f.write("#!/bin/sh\n[ \"$1\" = list ] && printf '%s\\n' "
                    "'ID POLICY NAME PID HIDDEN ACTIVE' 'org.example.Terminal 0 Terminal 12 no yes' "
                    "'- 0 nameless 13 no no'\n")
        os.chmod(f"{scratch}/bin/{name}", 0o755)
    os.environ["PATH"] = f"{scratch}/bin:{os.environ['PATH']}"
    for shell in shells:
        offered, line = {}, None  # line: {candidate: its description}
        for text in shell(scratch, [line for line, _ in CASES]).splitlines():
            if text.startswith("== "):
                line = text[3:]
                offered[line] = {}
            elif text.startswith("<<") and line is not None:
                candidate, _, description = text[2:].partition("\t")
                offered[line][candidate] = description
        for line, expected in CASES:
            got = offered.get(line, {})
            described = " ".join(got.values())
            if not expected <= got.keys() or "-" in got:
                failures.append(f"{shell.__name__}: '{line}' offers {sorted(got)}, "
                                f"not {sorted(expected)}")
            elif " " in line.rstrip() and any(word in described for word in OPTION_WORDS):
                failures.append(f"{shell.__name__}: '{line}' repeats an option's description "
                                f"beside its values: {described!r}")
for failure in failures:
    print("FAIL: " + failure)
print(f"completed {len(CASES)} lines in {', '.join(s.__name__ for s in shells) or 'no shell'}")
sys.exit(1 if failures or not shells else 0)
