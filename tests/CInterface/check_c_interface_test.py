"""Changes a small header in each way that a program would notice, and expects check-c-interface to name the change."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).parent / "check-c-interface"

HEADER = """
#pragma once
#ifdef __cplusplus
extern "C" {
#endif
/// A pair; with a semicolon.
typedef struct kiv_pair { int32_t first; ///< one
    int32_t second; } kiv_pair;
enum { KIV_A = 0, KIV_B = 1 };
KIV_C_API int kiv_get(const kiv_pair* pair);
#ifdef __cplusplus
}
#endif
"""


class CheckCInterface(unittest.TestCase):
    def check(self, header, source="int kiv_get(const void* pair) { return pair != 0; }"):
        """Exit code and messages, for a list of HEADER and a library of the source."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            (root / "c.h").write_text(HEADER)
            command = [sys.executable, SCRIPT, root / "c.h", root / "list"]
            subprocess.run([*command, "--write"], check=True, capture_output=True)
            (root / "c.h").write_text(header)
            (root / "a.c").write_text(source)
            library = root / "libkiv.so"
            subprocess.run([os.environ["CC"], "-shared", "-fPIC", "-x", "c", "-Wl,-soname,libkiv.so.5", "-o", library,
                            root / "a.c"], check=True)
            result = subprocess.run([*command, "--library", library], capture_output=True, text=True)
            return result.returncode, result.stderr.strip()

    def test_the_same_header_passes(self):
        self.assertEqual(self.check(HEADER), (0, ""))
        self.assertEqual(self.check(HEADER.replace("A pair", "Two").replace("pair* pair", "pair*\n    pair")), (0, ""))

    def test_changes_are_named(self):
        for old, new in {"int32_t second": "int64_t second", "KIV_B = 1": "KIV_B = 2", "int kiv_get": "long kiv_get",
                         "KIV_C_API int kiv_get(const kiv_pair* pair);": ""}.items():
            with self.subTest(new):
                code, messages = self.check(HEADER.replace(old, new))
                self.assertEqual(code, 1)
                self.assertIn("the header lacks or changes: ", messages)
        self.assertIn("the list lacks: int x", self.check(HEADER + "int x;")[1])

    def test_the_library_has_the_functions_and_no_others(self):
        self.assertEqual(self.check(HEADER, "int other;"), (1, "libkiv.so has no kiv_get"))
        more = "int kiv_get; int kiv_more(void) { return 1; }"
        self.assertEqual(self.check(HEADER, more), (1, "libkiv.so has kiv_more, which is not in the list"))


if __name__ == "__main__":
    unittest.main()
