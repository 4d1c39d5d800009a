"""Puts faults into small trees and expects scripts/check-floors to name their places."""

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
    "src/Platform/Power/Fuse.cpp": '#include <kiv/Fuse.h>\n',
    "include/kiv/Fuse.h": "#pragma once\n",
    "include/kiv/KIVDate.h": "#include <chrono>\n",
    "src/Core/Facade.cpp": '#include "KIVBuildConfig.h"\n#include "Model/Shade.h"\n#include <kiv/Lamp.h>\n',
    "tools/kiv/Main.cpp": '#include "serve/Service.h"\n',
    "tools/kiv/Terminal.cpp": '#include "Command.h"\n#include "Platform/Wire.h"\n',
    "tools/kiv/serve/Service.cpp": '#include "Command.h"\n#include "config/Payload.h"\n#include "serve/Service.h"\n',
}


def run(changes):
    """Exit code and messages for the sound tree, in which `changes` replaces or adds files."""
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
            "src/KivxLanguage/Values/Sum.cpp:1": '#include "KivxLanguage/Parser.h"\n',
            "src/Platform/Wire.cpp:3": "\n\n  #  include <kiv/Lamp.h>\n",
            "src/Network/Deep/Socket.h:1": '#include "Analytics/Queue.h"\n',
            "src/Model/Shade.h:1": '#include "Wire.h"\n',
            "src/Cellar/Rack.h:1": "\n",
            "src/Model/Bulb.cpp:1": "#include <kiv/Bulb.h>\n",
            "include/kiv/Lamp.h:2": "#pragma once\n#include <boost/json.hpp>\n",
            "include/kiv/KIVDate.h:1": "#include <kiv/Lamp.h>\n",
            "include/kiv/Orphan.h:1": "#pragma once\n",
            "include/kiv/Fuse.h:1": "#include <kiv/Lamp.h>\n",
            "tools/kiv/config/Payload.h:2": '#pragma once\n#include "serve/Service.h"\n',
            "tools/kiv/split/Split.cpp:2": '#include "Command.h"\n#include "shell/Session.h"\n',
            "tools/kiv/Terminal.cpp:1": '#include "expression/Words.h"\n',
            "tools/kiv/service/Service.cpp:1": "\n",
        }.items():
            with self.subTest(place):
                code, messages = run({place.rpartition(":")[0]: text})
                self.assertEqual(code, 1)
                self.assertEqual([line.partition(": ")[0] for line in messages.splitlines()], [place])


if __name__ == "__main__":
    unittest.main()
