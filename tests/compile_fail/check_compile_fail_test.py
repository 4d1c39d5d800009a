"""Runs check-compile-fail over small snippets for which the right verdict is known."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent / "check-compile-fail"
PRELUDE = "struct Lamp { Lamp() = delete; explicit Lamp(int); };\nLamp right{1};\n"


def run(text):
    with tempfile.TemporaryDirectory() as folder:
        snippet = pathlib.Path(folder, "snippet.cpp")
        snippet.write_text(PRELUDE + text)
        command = [sys.executable, SCRIPT, "--compiler", os.environ.get("CXX", "c++"), "--include", folder, snippet]
        result = subprocess.run(command, capture_output=True, text=True)
    return result.returncode, result.stderr


class CheckCompileFail(unittest.TestCase):
    def test_refused_misuse_passes(self):
        self.assertEqual(run("// refused: Lamp dark;\n    // refused: Lamp text{\"text\"};\n")[0], 0)

    def test_faults_are_found(self):
        for text, message in {
            "// refused: Lamp bright{2};\n": ":3: compiles, but must be refused",
            "// refused: Lamp right{2};\n": ":3: refused for a slip",
            "// refused: Lantern dark;\n": ":3: refused for a slip",
            "Lamp dark;\n// refused: Lamp none;\n": "the correct form does not compile",
            "": "no refused line",
        }.items():
            with self.subTest(text):
                code, messages = run(text)
                self.assertEqual(code, 1)
                self.assertIn(message, messages)


if __name__ == "__main__":
    unittest.main()
