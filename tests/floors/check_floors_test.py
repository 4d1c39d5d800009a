"""Plants faults in small trees and expects scripts/check-floors to name their places."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-floors"

SOUND = {
    "include/kiv/kiv.h": "#pragma once\n#include <kiv/Lamp.h>\n",
    "include/kiv/Lamp.h": "#pragma once\n#include <string>\n",
    "src/Model/Lamp.cpp": '#include <kiv/Lamp.h>\n#include "Platform/Wire.h"\n#include <zlib.h>\n',
    "src/Platform/Wire.h": "#pragma once\n#include <kiv/KIVDate.h>\n",
    "include/kiv/KIVDate.h": "#include <chrono>\n",
    "src/Core/Facade.cpp": '#include "KIVBuildConfig.h"\n#include "Model/Shade.h"\n#include <kiv/Lamp.h>\n',
}


def run(changes):
    """Exit code and messages for the sound tree with some files replaced."""
    with tempfile.TemporaryDirectory() as root:
        for name, text in {**SOUND, **changes}.items():
            path = pathlib.Path(root, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        result = subprocess.run([sys.executable, SCRIPT, "--root", root], capture_output=True, text=True)
    return result.returncode, result.stderr


class CheckFloors(unittest.TestCase):
    def test_sound_tree_passes(self):
        self.assertEqual(run({}), (0, ""))

    def test_planted_faults_are_named_with_their_place(self):
        for place, text in {
            "src/Platform/Wire.h:2": '#pragma once\n#include "Core/Facade.h"\n',
            "src/Platform/Wire.cpp:3": "\n\n  #  include <kiv/Lamp.h>\n",
            "src/Network/Deep/Socket.h:1": '#include "Analytics/Queue.h"\n',
            "src/Model/Shade.h:1": '#include "Wire.h"\n',
            "src/Cellar/Rack.h:1": "\n",
            "src/Model/Bulb.cpp:1": "#include <kiv/Bulb.h>\n",
            "include/kiv/Lamp.h:2": "#pragma once\n#include <boost/json.hpp>\n",
            "include/kiv/KIVDate.h:1": "#include <kiv/Lamp.h>\n",
            "include/kiv/Orphan.h:1": "#pragma once\n",
        }.items():
            with self.subTest(place):
                code, messages = run({place.rpartition(":")[0]: text})
                self.assertEqual(code, 1)
                self.assertEqual([line.partition(": ")[0] for line in messages.splitlines()], [place])


if __name__ == "__main__":
    unittest.main()
