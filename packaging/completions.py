"""Completion of the command line in bash, zsh and fish, made from the options on the man page.

    completions.py PAGE DIRECTORY    writes velmora.bash, _velmora and velmora.fish there
"""

import pathlib
import re
import sys
from typing import List, NamedTuple, Optional

COMMANDS = "Velmora velmora"
SINKS = "pactl list short sinks 2>/dev/null | cut -f2"


class Switch(NamedTuple):
    names: List[str]  # the long one first
    what: str  # a sentence, without the full stop
    argument: Optional[str]  # what it is called
    values: List[str]  # where only these are possible


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def plain(roff):
    return re.sub(r"^\.[A-Z]+ ", "", roff.replace("\\-", "-"))


def read_page(path) -> List[Switch]:
    options = pathlib.Path(path).read_text("utf-8").split(".SH OPTIONS\n")[1].split(".PP\n")[0]
    switches = []
    for entry in options.split(".TP\n")[1:]:
        tag, *lines = entry.splitlines()
        words = plain(tag).replace('"', " ").replace(",", " ").split()
        names = [word for word in words if word.startswith("-")]
        if not names:
            continue  # the file
        rest = [word for word in words if word not in names and word not in "|x"]
        text = " ".join(map(plain, lines)).replace('"', "")
        what, separator, listed = text.partition(":")
        values = re.findall(r"[a-z]+", listed) if separator else rest[0:2] if "|" in words else []
        switches.append(Switch(names, re.split(r"[.]( |$)", what)[0], "".join(rest[:1]) or None, values))
    return switches


def bash(switches):
    def values(switch):
        return f"$({SINKS})" if switch.names[0] == "--device" else " ".join(switch.values)

    cases = "".join(f'    {s.names[0]}) words="{values(s)}" ;;\n' for s in switches if s.argument)
    every = " ".join(name for s in switches for name in s.names)
    return f"""_velmora() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} words=
  case ${{COMP_WORDS[COMP_CWORD - 1]}} in
{cases}    *) [[ $word != -* ]] || words="{every}" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}}
complete -o bashdefault -o default -F _velmora {COMMANDS}
"""


def zsh(switches):
    lines = [f"#compdef {COMMANDS}", "", "_arguments \\"]
    for s in switches:
        value = ""
        if s.argument:
            value = f":{s.argument}:" + (f"({' '.join(s.values)})" if s.values else "")
            if s.names[0] == "--device":
                value = f":{s.argument}:{{compadd -- $({SINKS})}}"
        lines += [f"  {quoted(f'{name}[{s.what}]{value}')} \\" for name in s.names]
    return "\n".join([*lines, "  '*:file:_files'\n"])


def fish(switches):
    lines = [f"for command in {COMMANDS}"]
    for s in switches:
        long, *short = s.names
        line = f"  complete -c $command -l {long[2:]}" + "".join(f" -s {name[1:]}" for name in short)
        if s.argument:
            line += " -x"
            if long == "--device":
                line += f" -a '({SINKS})'"
            elif s.values:
                line += f" -a '{' '.join(s.values)}'"
        lines.append(f"{line} -d {quoted(s.what)}")
    return "\n".join([*lines, "end\n"])


def main(page, directory):
    switches = read_page(page)
    for name, shell in (("velmora.bash", bash), ("_velmora", zsh), ("velmora.fish", fish)):
        (pathlib.Path(directory) / name).write_text(shell(switches), "utf-8")


main(*sys.argv[1:])
