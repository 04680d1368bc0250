"""Tests the completion of orvikprefs in the shells: words of the program and of the store."""
import os
import pty
import select
import shutil
import time
import unittest

from programs import PROGRAMS, SOURCE, ProgramTest

FOLDER = SOURCE / "tools/orvikprefs/completion"
BASH = """source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _orvikprefs
[ ${#COMPREPLY[@]} = 0 ] || printf '%s\\n' "${COMPREPLY[@]}" """


class CompletionTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.prefs("set 'Software/My Vendor/App' 'the path' /x/y")
        self.prefs("--scope user --domain com.user set Unique/Key n 'of the user'")

    def output(self, *command):
        done = self.run_command(*command)
        self.assertEqual(done.stderr, "")
        return done.stdout

    def typed(self, shell, line):
        """Types a line with tabs into a shell with the completion. Returns the output of the line.

        After each tab it waits for the answer of the line editor.
        """
        self.environment.update(TERM="dumb", PS1="", INPUTRC="/dev/null")
        options = ["--norc", "--noprofile", "-i"] if shell == "bash" else ["-f", "-i"]
        pid, terminal = pty.fork()
        if pid == 0:
            os.execvpe(shell, [shell, *options], self.environment)

        def send(text, pause):
            os.write(terminal, text.encode())
            end, quiet = time.monotonic() + 20, time.monotonic() + pause
            while time.monotonic() < min(end, quiet):
                if select.select([terminal], [], [], 0.05)[0]:
                    os.read(terminal, 4096)
                    quiet = time.monotonic() + pause
        if shell == "bash":
            send(f'source "{FOLDER}/orvikprefs.bash"\n', 0.3)
        else:
            send(f'fpath=("{FOLDER}" $fpath); autoload -U compinit; compinit -u -D; '
                 "setopt noautomenu\n", 0.5)
        send("orvikprefs ", 0.1)
        first, *others = line.split("\t")
        send(first, 0.05)
        for part in others:
            send("\t", 0.7)
            send(part, 0.05)
        os.write(terminal, b' > "$HOME/found"; exit\n')
        try:
            while os.read(terminal, 4096):
                pass
        except OSError:
            pass
        os.waitpid(pid, 0)
        os.close(terminal)
        return (self.home / "found").read_text()

    def test_bash_completes_from_the_table_and_the_store(self):
        self.prefs("set 'Software/My Vendor/$(touch x)' \"it's\" v")
        self.prefs("set 'Software/My Vendor' 'Top Value' v")
        self.prefs("--domain com.example set K n v")
        self.prefs("--domain com.example set -- K -n v")
        cases = (
            (["--quiet", "de"], {"delete", "delete-key"}),
            (["get", "--de"], {"--default"}),
            (["get", ""], {"Software/"}),
            (["get", "Software/My\\ V"], {"Software/My Vendor/"}),
            (["set", '"Software/My Vendor/'],
             {"Software/My Vendor/App", "Software/My Vendor/$(touch x)"}),
            (["get", "Software/My\\ Vendor", ""], {"App", "$(touch x)", "Top Value"}),
            (["get", "'Software/My Vendor/$(touch x)'", "it"], {"it's"}),
            (["get", "Software/No", ""], set()),
            (["--scope", ""], {"shared", "user", "machine", *"012345"}),
            (["--scope", "=", "us"], {"user"}),
            (["--domain", "com."], {"com.orviktech.Registry", "com.example"}),
            (["--scope", "user", "--domain", ""], {"com.user"}),
            (["--scope", "user", "--domain", "com.user", "list", ""], {"Unique/"}),
            (["export", "--format", ""], {"json", "xml", "binary"}),
            (["find", "x", "--type", "da"], {"date", "data"}),
            (["copy", "--to-scope", "user", "--to-domain", ""], {"com.user"}),
            (["copy", "--to-scope=user", "--to-domain", "com.user", "K", "n", ""], {"Unique/"}),
            (["--domain", "com.example", "get", "K", ""], {"n"}),
            (["--domain", "com.example", "get", "--", "K", ""], {"n", "-n"}),
            (["where", ""], set()),
            (["get", "--", "--"], set()))
        for words, offered in cases:
            with self.subTest(words):
                found = self.output("bash", "-c", BASH, FOLDER / "orvikprefs.bash", "orvikprefs", *words)
                self.assertEqual(set(found.splitlines()), offered)

    def test_shells_put_quoted_words_on_the_command_line(self):
        """The line editors quote the offered words, which come from the store that the options name."""
        image = self.folder / "image"
        image.mkdir()
        self.prefs(f"--root {image} set 'Image Key' n 'of the image'")
        lines = (("get Sof\tMy\tA\t th\t", "/x/y\n"),
                 ("--scope user --domain com.u\t get Un\tK\t n\t", "of the user\n"),
                 (f"--root {image} get Im\t n", "of the image\n"),
                 ("--scope=us\t --domain=com.user get Unique/K\t n", "of the user\n"))
        for shell in filter(shutil.which, ("bash", "zsh")):
            for line, printed in lines:
                with self.subTest((shell, line)):
                    self.assertEqual(self.typed(shell, line), printed)

    def test_fish_completes_from_the_store(self):
        """Asks fish itself for its offers."""
        self.need("fish")
        for line, offered in (("de", "delete\ndelete-key\n"),
                              ('tree "Software/My ', "Software/My Vendor/\n"),
                              ("get Software/My\\ Vendor/App ", "the path\n"),
                              ("--scope=us", "--scope=user\n"),
                              ("import /usr/incl", "/usr/include/\n")):
            found = self.output(
                "fish", "--no-config", "-c",
                'source $argv[1]; set -x PATH $argv[2] $PATH; complete -C "orvikprefs $argv[3]"',
                FOLDER / "orvikprefs.fish", PROGRAMS, line)
            self.assertEqual(found, offered, line)


if __name__ == "__main__":
    unittest.main()
