"""The completions, as `cmake --install` leaves them, in the shells that they are for."""

import os
import pty
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                "support"))

from deadline import run, wait_for  # noqa: E402
from program import PROGRAM  # noqa: E402

USAGE = run([PROGRAM, "--help"]).stderr
OPTIONS = sorted(re.findall(r"(?m)^  (--[a-z-]+)", USAGE))

# Whoever expands a process's name makes a file of this one.
PROCESS = "tarnwick's $(touch expanded) process"
PROMPT = "your command> "


class CompletionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.installed = os.path.join(scratch.name, "installed")
        subprocess.run(["cmake", "--install", os.path.dirname(PROGRAM), "--prefix", cls.installed],
                       check=True, stdout=subprocess.DEVNULL)

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.home = scratch.name
        self.work = self.path("work")
        os.mkdir(self.work)
        with open(os.path.join(self.work, "some-file"), "w"):
            pass
        path = os.path.join(self.installed, "bin") + ":" + os.environ["PATH"]
        self.environment = {"PATH": path, "HOME": self.home, "LC_ALL": "C.UTF-8", "TERM": "dumb"}

    def path(self, name):
        return os.path.join(self.home, name)

    def write(self, name, text):
        with open(self.path(name), "w") as file:
            file.write(text)

    def start_process(self):
        process = subprocess.Popen([f"/somewhere/{PROCESS}", "infinity"], executable="/bin/sleep")
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def assert_not_expanded(self):
        self.assertEqual(os.listdir(self.work), ["some-file"])


def names(options):
    """Without the = that some shells take for a part of what they offer."""
    return sorted(option.removesuffix("=") for option in options)


class AtATerminal:
    """Tests of a shell that completes nowhere else. Keys are typed, and a function in the program's place
    tells with which arguments it was called in the end.

    A class says how the shell is started in which `start` is executed first, and which keys insert all
    completions."""

    TELL = """
        tarnwick() { printf '%s\\0' "$@" >"$HOME/told.new"; mv "$HOME/told.new" "$HOME/told"; }
        """

    def setUp(self):
        super().setUp()
        self.leader, follower = pty.openpty()
        self.addCleanup(os.close, self.leader)
        os.set_blocking(self.leader, False)
        self.screen = ""
        self.shell = subprocess.Popen(self.start(), cwd=self.work, env=self.environment,
                                      preexec_fn=lambda: os.login_tty(follower))
        self.addCleanup(self.shell.wait)
        self.addCleanup(self.shell.kill)
        os.close(follower)

    def shows(self, text):
        try:
            self.screen += os.read(self.leader, 65536).decode(errors="replace")
        except BlockingIOError:
            pass
        return text in self.screen

    def arguments(self, keys):
        """What the program is started with when these keys have been hit."""
        wait_for(lambda: self.shows(PROMPT), "the shell's prompt")
        os.write(self.leader, f"tarnwick {keys}\n".encode())
        # What the shell shows has to be taken from it, too.
        wait_for(lambda: self.shows("") and os.path.exists(self.path("told")), "the command is run")
        with open(self.path("told")) as told:
            return told.read().split("\0")[:-1]

    def test_all_options_are_offered(self):
        self.assertEqual(names(self.arguments("--" + self.INSERT_ALL)), OPTIONS)

    def test_flag_is_completed_with_a_blank(self):
        self.assertEqual(self.arguments("--std\t--fr\t"), ["--stdout", "--freq"])

    def test_valued_option_is_completed_without_a_blank(self):
        self.assertEqual(self.arguments("--int\t7"), ["--interval=7"])

    def test_number_is_not_completed(self):
        self.assertEqual(self.arguments("--iter=\t\t --min-cpu=s\t"), ["--iter=", "--min-cpu=s"])

    def test_process_is_completed_and_not_expanded(self):
        self.start_process()
        self.assertEqual(self.arguments("--proc=tarnwick\\'\t"), [f"--proc={PROCESS}"])
        self.assert_not_expanded()

    def test_file_is_not_completed(self):
        self.assertEqual(self.arguments("som\t"), ["som"])


class Bash(AtATerminal, CompletionTest):
    INSERT_ALL = "\x1b*"

    def start(self):
        self.environment["BASH_COMPLETION_USER_DIR"] = os.path.join(self.installed,
                                                                    "share/bash-completion")
        self.write("rc", f"{self.TELL} . /usr/share/bash-completion/bash_completion; PS1='{PROMPT}'")
        return ["bash", "--noprofile", "--rcfile", self.path("rc"), "-i"]


class Zsh(AtATerminal, CompletionTest):
    INSERT_ALL = "\x18a"

    def start(self):
        folder = os.path.join(self.installed, "share/zsh/site-functions")
        self.write(".zshrc", f"""{self.TELL}
            fpath=({shlex.quote(folder)} $fpath)
            autoload -Uz compinit && compinit -u
            bindkey -e
            zle -C all-matches complete-word _generic
            bindkey '^Xa' all-matches
            zstyle ':completion:all-matches:*' completer _all_matches _complete
            zstyle ':completion:all-matches:*' insert yes
            PROMPT='{PROMPT}'
            """)
        return ["zsh", "--no-global-rcs", "-i"]


class Fish(CompletionTest):
    def completions(self, text):
        """This shell tells without a terminal what it would offer."""
        self.environment["XDG_DATA_DIRS"] = os.path.join(self.installed, "share")
        result = run(["fish", "-c", 'complete -C "$argv"', "tarnwick " + text], cwd=self.work,
                     env=self.environment)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return [line.split("\t")[0] for line in result.stdout.splitlines()]

    def test_all_options_are_offered(self):
        self.assertEqual(names(self.completions("--")), OPTIONS)

    def test_number_is_not_completed(self):
        self.assertEqual(self.completions("--iter="), [])

    def test_process_is_completed_and_not_expanded(self):
        self.start_process()
        self.assertEqual(self.completions("--proc=tarnwick\\'"), [f"--proc={PROCESS}"])
        self.assert_not_expanded()

    def test_file_is_not_completed(self):
        self.assertEqual(self.completions("som"), [])
